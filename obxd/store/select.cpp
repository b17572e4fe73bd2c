// Finding what a selector matches.

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
    Answer wrong;  ///< why the selector does not fit the model
};

bool number_of(const std::string& text, double& number) {
    if (text.empty()) return false;
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
    char* end;
    errno = 0;
    json_int_t integer = strtoll(condition.text.c_str(), &end, 0);
    if (json_is_integer(value) && !*end && !errno && !condition.text.empty()) {
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

/// The parameter of a comparison below an instance; false when the model has none of that name.
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

/// Whether the model knows a parameter of that name below any instance.
bool relative_known(const Schema* schema, std::string_view name) {
    std::vector<std::string_view> parts;
    if (!path_split(name, parts) || parts.empty() || name.back() == '.') return false;
    bool item = true;
    for (size_t i = 0; i < parts.size(); i++) {
        bool last = i + 1 == parts.size();
        uint32_t number;
        if (schema->multi && !item) {
            if (last) return parts[i] == "max_instance";
            if (!instance_number(parts[i], number)) return false;
            item = true;
            continue;
        }
        if (last && schema->ordered && (parts[i] == "order" || parts[i] == "index")) return true;
        schema = schema_child(schema, parts[i]);
        item = false;
        if (!schema || (schema->kind == Schema::OBJECT) == last) return false;
    }
    return schema->kind == Schema::PARAMETER;
}

bool condition_known(const Schema* schema, const Condition& condition, Answer& wrong) {
    if (condition.left)
        return condition_known(schema, *condition.left, wrong) &&
               condition_known(schema, *condition.right, wrong);
    if (relative_known(schema, condition.name)) return true;
    wrong = fault(FAULT_INVALID_ARGUMENTS,
                  "no parameter \"" + condition.name + "\" in an instance of " + schema->name);
    return false;
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

bool wrong_name(Matcher& matcher, const std::string& path, const std::string& name) {
    matcher.wrong = fault(FAULT_INVALID_NAME, path + name);
    return false;
}

void match_add(Matcher& matcher, std::string path, json_t* value) {
    if (path.empty()) path = ".";
    if (path.size() > 1 && path.back() == '.') path.pop_back();
    json_object_set_new_nocheck(matcher.matches, path.c_str(), value);
}

/// Puts the named members of an object into `tree`, in the order in which they were named.
bool members_pick(Matcher& matcher, Node* node, const std::string& path, json_t* tree) {
    for (const std::string& member : matcher.selector.members) {
        std::string full = path + member;
        bool found = target_each(matcher.impl, full, [&](const Target& target, const std::string& at) {
            json_t* value = nullptr;
            if (target.is_object()) {
                value = config_tree(target.node, matcher.rank, at);
            } else {
                const Schema* schema = target.schema ? target.schema : target.node->schema;
                if (schema->kind == Schema::METHOD || matcher.rank < schema->read_rank) return;
                value = target.schema ? json_incref(value_shown(target.node, target.schema, &at))
                                      : pseudo_value(target);
            }
            std::string leaf;
            json_t* parent = config_parent(tree, at.substr(path.size()), leaf);
            json_object_set_new_nocheck(parent, leaf.c_str(), value);
        });
        // A path through an instance that only other objects have is no mistake.
        if (!found && !relative_known(node->schema, member) && !schema_child(node->schema, member))
            return wrong_name(matcher, path, member);
    }
    return true;
}

bool object_match(Matcher& matcher, Node* node, const std::string& path) {
    if (matcher.selector.members.empty()) {
        match_add(matcher, path, config_tree(node, matcher.rank, path));
        return true;
    }
    JsonRef tree(json_object());
    if (!members_pick(matcher, node, path, tree)) return false;
    match_add(matcher, path, tree.release());
    return true;
}

bool leaf_match(Matcher& matcher, Node* node, const std::string& path, const std::string& name) {
    Target target;
    if (!target_find(matcher.impl, path + name, target) || !target.is_parameter())
        return wrong_name(matcher, path, name);
    if (!matcher.selector.members.empty()) {
        matcher.wrong = fault(FAULT_INVALID_ARGUMENTS, path + name + " has no members to pick");
        return false;
    }
    const Schema* schema = target.schema ? target.schema : node->schema;
    if (matcher.rank < schema->read_rank) return true;
    std::string full = path + name;
    match_add(matcher, full,
              target.schema ? json_incref(value_shown(node, target.schema, &full)) : pseudo_value(target));
    return true;
}

bool steps_match(Matcher& matcher, Node* node, size_t at, const std::string& path);

bool instance_match(Matcher& matcher, Node* instance, const Condition* filter, size_t next,
                    const std::string& path) {
    if (filter && !condition_holds(matcher, instance, *filter)) return true;
    return steps_match(matcher, instance, next, path + std::to_string(instance->number) + ".");
}

/// Whether the rest of the selector names something below an instance of `schema`: an object without
/// instances must not hide a misspelling.
bool rest_known(Matcher& matcher, const Schema* schema, size_t at, const std::string& path) {
    const auto& steps = matcher.selector.steps;
    bool item = true;
    for (; at < steps.size(); at++) {
        uint32_t number;
        if (schema->multi && !item) {
            if (steps[at].name == "max_instance") return true;
            if (steps[at].name != "*" && !instance_number(steps[at].name, number))
                return wrong_name(matcher, path, steps[at].name);
            item = true;
            continue;
        }
        if (schema->ordered && (steps[at].name == "order" || steps[at].name == "index")) return true;
        const Schema* child = schema_child(schema, steps[at].name);
        if (!child || child->kind == Schema::METHOD) return wrong_name(matcher, path, steps[at].name);
        schema = child;
        item = false;
    }
    return true;
}

bool table_match(Matcher& matcher, Node* table, size_t at, const std::string& path) {
    const SelectorStep& step = matcher.selector.steps[at];
    if (step.filter && !condition_known(table->schema, *step.filter, matcher.wrong)) return false;
    if (step.name == "*") {
        if (table->instances.empty()) return rest_known(matcher, table->schema, at + 1, path + "*.");
        for (auto& instance : table->instances)
            if (!instance_match(matcher, instance.get(), step.filter.get(), at + 1, path)) return false;
        return true;
    }
    uint32_t number;
    if (!instance_number(step.name, number)) {
        if (step.name == "max_instance" && !step.filter && at + 1 == matcher.selector.steps.size())
            return leaf_match(matcher, table, path, step.name);
        return wrong_name(matcher, path, step.name);
    }
    // An instance that is not there may be there in another object: nothing matches.
    Node* instance = instance_find(table, number);
    if (!instance) return rest_known(matcher, table->schema, at + 1, path + step.name + ".");
    return instance_match(matcher, instance, step.filter.get(), at + 1, path);
}

bool steps_match(Matcher& matcher, Node* node, size_t at, const std::string& path) {
    const auto& steps = matcher.selector.steps;
    if (at == steps.size()) return object_match(matcher, node, path);
    if (is_table(node)) return table_match(matcher, node, at, path);
    const SelectorStep& step = steps[at];
    if (step.name == "*") {
        matcher.wrong = fault(FAULT_INVALID_ARGUMENTS, (path.empty() ? "." : path) + " has no instances");
        return false;
    }
    Schema* child = schema_child(node->schema, step.name);
    if (!child || child->kind != Schema::OBJECT) {
        if (at + 1 < steps.size()) return wrong_name(matcher, path, step.name);
        if (step.filter) {
            matcher.wrong = fault(FAULT_INVALID_ARGUMENTS, path + step.name + " has no instances to filter");
            return false;
        }
        return leaf_match(matcher, node, path, step.name);
    }
    Node* next = node->objects[child->slot].get();
    std::string below = path + step.name + ".";
    if (!step.filter) return steps_match(matcher, next, at + 1, below);
    if (!is_table(next)) {
        matcher.wrong = fault(FAULT_INVALID_ARGUMENTS, below + " has no instances to filter");
        return false;
    }
    if (!condition_known(child, *step.filter, matcher.wrong)) return false;
    for (auto& instance : next->instances)
        if (!instance_match(matcher, instance.get(), step.filter.get(), at + 1, below)) return false;
    return !next->instances.empty() || rest_known(matcher, child, at + 1, below);
}

}  // namespace

Answer Store::select(const Caller& caller, const json_t* params) {
    const char* text = json_string_value(json_object_get(params, "Selector"));
    if (!text) return fault(FAULT_INVALID_ARGUMENTS, "Selector is no text");
    Selector selector;
    std::string error;
    if (!selector_parse(text, selector, error))
        return fault(FAULT_INVALID_ARGUMENTS, "bad selector: " + error);
    JsonRef matches(json_object());
    Matcher matcher{*impl_, selector, caller_rank(caller), matches, {}};
    if (!steps_match(matcher, impl_->top.get(), 0, "")) return matcher.wrong;
    Answer answer;
    answer.result = json_pack("{s:o}", "Matches", matches.release());
    return answer;
}

}  // namespace obxd
