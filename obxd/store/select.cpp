#include "select.hpp"

#include <ctype.h>
#include <errno.h>
#include <stdlib.h>

#include <algorithm>
#include <set>

#include "ox_tr_names.hpp"
#include "store/config.hpp"
#include "store/live.hpp"
#include "store/params.hpp"
#include "store/select_check.hpp"
#include "store/selector.hpp"

namespace obxd {
namespace {

struct Matcher {
    const Selector& selector;
    int rank;
    TreeText& matches;
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
bool operand_find(const Place& instance, std::string_view name, Place& place) {
    place = instance;
    return place_follow(place, name) && place.node && place.is_parameter() && name.back() != '.';
}

bool condition_holds(const Matcher& matcher, const Place& instance, const Condition& condition) {
    if (condition.kind == Condition::AND)
        return condition_holds(matcher, instance, *condition.left) &&
               condition_holds(matcher, instance, *condition.right);
    if (condition.kind == Condition::OR)
        return condition_holds(matcher, instance, *condition.left) ||
               condition_holds(matcher, instance, *condition.right);
    Place place;
    if (!operand_find(instance, condition.name, place)) return false;
    // What may not be read must not be guessed through a filter either.
    if (matcher.rank < place.schema->read_rank) return false;
    JsonRef value(place_value(place, nullptr));
    return value_fits(condition, value);
}

/// The name of a match: its path without the final ".".
std::string_view match_name(std::string_view path) {
    if (path.empty()) return ".";
    if (path.size() > 1 && path.back() == '.') path.remove_suffix(1);
    return path;
}

/// Puts the named members of an object into `tree`, in the order in which they were named.
void members_pick(const Matcher& matcher, const Place& object, const std::string& path, json_t* tree) {
    for (const std::string& member : matcher.selector.members) {
        places_each(object, member, [&](const Place& place, const std::string& at) {
            if (!place.is_object() && matcher.rank < place.schema->read_rank) return;
            std::string full = path + at;
            config_put(
                tree, at,
                place.is_object() ? config_tree(place, matcher.rank, full) : place_value(place, &full));
        });
    }
}

/// True when no two members begin alike, so that none leads back into what another one opened.
bool members_apart(const std::vector<std::string>& members) {
    std::set<std::string_view> begins;
    return std::all_of(members.begin(), members.end(), [&begins](const std::string& member) {
        return begins.insert(std::string_view(member).substr(0, member.find('.'))).second;
    });
}

/// The same as text.
void members_write(const Matcher& matcher, const Place& object, const std::string& path) {
    TreeText& tree = matcher.matches;
    PathWriter way(tree);
    for (const std::string& member : matcher.selector.members) {
        places_each(object, member, [&](const Place& place, const std::string& at) {
            if (tree.full() || (!place.is_object() && matcher.rank < place.schema->read_rank)) return;
            std::string full = path + at;
            std::string_view name = way.go(at);
            if (!place.is_object()) return tree.value(name, JsonRef(place_value(place, &full)));
            tree.open(name);
            config_text(place, matcher.rank, full, tree);
            tree.close();
        });
    }
    way.end();
}

void object_match(const Matcher& matcher, const Place& place, const std::string& path) {
    if (matcher.matches.full()) return;
    const std::vector<std::string>& members = matcher.selector.members;
    if (!members_apart(members)) {
        JsonRef tree(json_object());
        members_pick(matcher, place, path, tree);
        return matcher.matches.value(match_name(path), tree);
    }
    matcher.matches.open(match_name(path));
    if (members.empty())
        config_text(place, matcher.rank, path, matcher.matches);
    else
        members_write(matcher, place, path);
    matcher.matches.close();
}

void leaf_match(const Matcher& matcher, const Place& place, const std::string& path) {
    if (matcher.rank < place.schema->read_rank || matcher.matches.full()) return;
    matcher.matches.value(match_name(path), JsonRef(place_value(place, &path)));
}

void steps_match(const Matcher& matcher, const Place& place, size_t at, const std::string& path);

void instances_match(const Matcher& matcher, const Place& table, const Condition* filter, size_t next,
                     const std::string& path) {
    for (auto& node : table.node->instances) {
        Place instance = place_of(node.get());
        if (!filter || condition_holds(matcher, instance, *filter))
            steps_match(matcher, instance, next, path + PlaceName(instance).text() + ".");
    }
}

void steps_match(const Matcher& matcher, const Place& place, size_t at, const std::string& path) {
    if (at == matcher.selector.steps.size()) return object_match(matcher, place, path);
    const SelectorStep& step = matcher.selector.steps[at];
    const Condition* filter = step.filter.get();
    if (place.is_table() && step.name == "*") return instances_match(matcher, place, filter, at + 1, path);
    Place next = place;
    // An instance that is not there may be there in another object: nothing matches.
    if (!place_step(next, step.name)) return;
    std::string below = path + step.name;
    if (!next.is_object()) return leaf_match(matcher, next, below);
    below += '.';
    if (filter && next.is_table()) return instances_match(matcher, next, filter, at + 1, below);
    if (!filter || condition_holds(matcher, next, *filter)) steps_match(matcher, next, at + 1, below);
}

}  // namespace

Answer selection_get(Model& model, const Caller& caller, const json_t* params, size_t room) {
    Answer answer;
    const char* text = param_text(params, OX_TR_SELECTOR, answer);
    if (!text) return answer;
    Selector selector;
    std::string error;
    if (!selector_parse(text, selector, error))
        return answer_fault(FAULT_INVALID_ARGUMENTS, "bad selector: " + error);
    answer = selector_check(selector, &model.root);
    if (answer.code) return answer;
    TreeText matches(room);
    matches.open();
    matches.open(OX_TR_MATCHES);
    Matcher matcher{selector, caller_rank(caller), matches};
    steps_match(matcher, place_top(model), 0, "");
    matches.close();
    matches.close();
    return matches.end();
}

}  // namespace obxd
