// Finding what a selector matches, once select_check.cpp has found that it fits the model.

#include <ctype.h>
#include <errno.h>
#include <stdlib.h>
#include <string.h>

#include "impl.hpp"
#include "selector.hpp"

namespace obxd {
namespace {

struct Matcher {
    Impl& impl;
    const Selector& selector;
    int rank;
    json_t* matches;
};

/// Where the digits of a number begin; null for a text that is none, such as "nan".
const char* digits_of(const std::string& text) {
    const char* digits = text.c_str() + (text[0] == '-' || text[0] == '+');
    bool fraction = digits[0] == '.' && isdigit(static_cast<unsigned char>(digits[1]));
    return isdigit(static_cast<unsigned char>(digits[0])) || fraction ? digits : nullptr;
}

bool integer_of(const std::string& text, json_int_t& number) {
    const char* digits = digits_of(text);
    if (!digits) return false;
    bool hexadecimal = digits[0] == '0' && tolower(static_cast<unsigned char>(digits[1])) == 'x';
    char* end;
    errno = 0;
    number = strtoll(text.c_str(), &end, hexadecimal ? 16 : 10);
    return !*end && !errno;
}

bool number_of(const std::string& text, double& number) {
    if (!digits_of(text)) return false;
    char* end;
    errno = 0;
    number = strtod(text.c_str(), &end);
    return !*end && !errno;
}

bool ordered_fits(Condition::Kind kind, int order) {
    switch (kind) {
        case Condition::EQ:
            return order == 0;
        case Condition::NE:
            return order != 0;
        case Condition::LT:
            return order < 0;
        case Condition::GT:
            return order > 0;
        case Condition::LE:
            return order <= 0;
        case Condition::GE:
            return order >= 0;
        default:
            return false;
    }
}

/// Numbers compare as numbers (integers exactly), everything else as text.
bool value_fits(const Condition& condition, const json_t* value) {
    CharsRef dump(json_is_string(value) ? nullptr : json_dumps(value, JSON_ENCODE_ANY | JSON_COMPACT));
    std::string text = dump ? dump.get() : json_string_value(value);
    if (condition.kind == Condition::CONTAINS) return text.find(condition.text) != std::string::npos;
    json_int_t integer;
    if (json_is_integer(value) && integer_of(condition.text, integer)) {
        json_int_t own = json_integer_value(value);
        return ordered_fits(condition.kind, own < integer ? -1 : own > integer);
    }
    double number;
    if (json_is_number(value) && number_of(condition.text, number)) {
        double own = json_number_value(value);
        return ordered_fits(condition.kind, own < number ? -1 : own > number);
    }
    return ordered_fits(condition.kind, text.compare(condition.text));
}

/// The parameter of a comparison below an instance; false when that has none of the name.
bool relative_find(Node* node, std::string_view name, Target& target) {
    std::vector<std::string_view> parts;
    if (!path_split(name, parts) || parts.empty() || name.back() == '.') return false;
    for (size_t i = 0; i + 1 < parts.size(); i++) {
        uint32_t number;
        if (is_table(node)) {
            node = instance_number(parts[i], number) ? instance_find(node, number) : nullptr;
        } else {
            Schema* child = schema_child(node->schema, parts[i]);
            node = child && child->kind == Schema::OBJECT ? node->objects[child->slot].get() : nullptr;
        }
        if (!node) return false;
    }
    std::string_view last = parts.back();
    target.node = node;
    if (is_table(node)) {
        target.pseudo = last == "max_instance" ? Pseudo::MAX_INSTANCE : Pseudo::NONE;
        return target.pseudo != Pseudo::NONE;
    }
    if (node->schema->ordered && (last == "order" || last == "index")) {
        target.pseudo = Pseudo::ORDER;
        return true;
    }
    target.schema = schema_child(node->schema, last);
    return target.schema && target.schema->kind == Schema::PARAMETER;
}

bool condition_holds(const Matcher& matcher, Node* node, const Condition& condition) {
    if (condition.kind == Condition::AND)
        return condition_holds(matcher, node, *condition.left) &&
               condition_holds(matcher, node, *condition.right);
    if (condition.kind == Condition::OR)
        return condition_holds(matcher, node, *condition.left) ||
               condition_holds(matcher, node, *condition.right);
    Target target;
    if (!relative_find(node, condition.name, target)) return false;
    // What may not be read must not be guessed through a filter either.
    int needed = target.schema ? target.schema->read_rank : target.node->schema->read_rank;
    if (matcher.rank < needed) return false;
    JsonRef value(target.schema ? json_incref(value_shown(target.node, target.schema, nullptr))
                                : pseudo_value(target));
    return value_fits(condition, value);
}

void match_add(Matcher& matcher, std::string path, json_t* value) {
    if (path.empty()) path = ".";
    if (path.size() > 1 && path.back() == '.') path.pop_back();
    json_object_set_new_nocheck(matcher.matches, path.c_str(), value);
}

/// Puts the named members of an object into `tree`, in the order in which they were named.
void members_pick(const Matcher& matcher, const std::string& path, json_t* tree) {
    for (const std::string& member : matcher.selector.members) {
        std::string full = path + member;
        target_each(matcher.impl, full, [&](const Target& target, const std::string& at) {
            json_t* value = nullptr;
            if (target.is_object()) {
                value = config_tree(target.node, matcher.rank, at);
            } else {
                const Schema* schema = target.schema ? target.schema : target.node->schema;
                if (matcher.rank < schema->read_rank) return;
                value = target.schema ? json_incref(value_shown(target.node, target.schema, &at))
                                      : pseudo_value(target);
            }
            std::string leaf;
            json_t* parent = config_parent(tree, at.substr(path.size()), leaf);
            json_object_set_new_nocheck(parent, leaf.c_str(), value);
        });
    }
}

void object_match(Matcher& matcher, Node* node, const std::string& path) {
    if (matcher.selector.members.empty())
        return match_add(matcher, path, config_tree(node, matcher.rank, path));
    JsonRef tree(json_object());
    members_pick(matcher, path, tree);
    match_add(matcher, path, tree.release());
}

void leaf_match(Matcher& matcher, Node* node, const std::string& path, const std::string& name) {
    Target target;
    std::string full = path + name;
    if (!target_find(matcher.impl, full, target)) return;
    const Schema* schema = target.schema ? target.schema : node->schema;
    if (matcher.rank < schema->read_rank) return;
    match_add(matcher, full,
              target.schema ? json_incref(value_shown(node, target.schema, &full)) : pseudo_value(target));
}

void steps_match(Matcher& matcher, Node* node, size_t at, const std::string& path);

void instance_match(Matcher& matcher, Node* instance, const Condition* filter, size_t next,
                    const std::string& path) {
    if (filter && !condition_holds(matcher, instance, *filter)) return;
    steps_match(matcher, instance, next, path + std::to_string(instance->number) + ".");
}

void instances_match(Matcher& matcher, Node* table, const Condition* filter, size_t next,
                     const std::string& path) {
    for (auto& instance : table->instances) instance_match(matcher, instance.get(), filter, next, path);
}

void table_match(Matcher& matcher, Node* table, size_t at, const std::string& path) {
    const SelectorStep& step = matcher.selector.steps[at];
    if (step.name == "*") return instances_match(matcher, table, step.filter.get(), at + 1, path);
    uint32_t number;
    if (!instance_number(step.name, number)) return leaf_match(matcher, table, path, step.name);
    // An instance that is not there may be there in another object: nothing matches.
    if (Node* instance = instance_find(table, number))
        instance_match(matcher, instance, step.filter.get(), at + 1, path);
}

void steps_match(Matcher& matcher, Node* node, size_t at, const std::string& path) {
    if (at == matcher.selector.steps.size()) return object_match(matcher, node, path);
    if (is_table(node)) return table_match(matcher, node, at, path);
    const SelectorStep& step = matcher.selector.steps[at];
    const Schema* child = schema_child(node->schema, step.name);
    if (!child || child->kind != Schema::OBJECT) return leaf_match(matcher, node, path, step.name);
    Node* next = node->objects[child->slot].get();
    std::string below = path + step.name + ".";
    if (step.filter) return instances_match(matcher, next, step.filter.get(), at + 1, below);
    steps_match(matcher, next, at + 1, below);
}

}  // namespace

Answer Store::select(const Caller& caller, const json_t* params) {
    const char* text = json_string_value(json_object_get(params, "Selector"));
    if (!text) return fault(FAULT_INVALID_ARGUMENTS, "Selector is no text");
    Selector selector;
    std::string error;
    if (!selector_parse(text, selector, error))
        return fault(FAULT_INVALID_ARGUMENTS, "bad selector: " + error);
    Answer answer = selector_check(selector, &impl_->root);
    if (answer.code) return answer;
    JsonRef matches(json_object());
    Matcher matcher{*impl_, selector, caller_rank(caller), matches};
    steps_match(matcher, impl_->top.get(), 0, "");
    answer.result = json_pack("{s:o}", "Matches", matches.release());
    return answer;
}

}  // namespace obxd
