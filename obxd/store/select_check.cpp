#include "select_check.hpp"

#include "ox_tr_names.hpp"
#include "ox_tr_path.hpp"
#include "store/place.hpp"

namespace obxd {
namespace {

bool step_to(Place& place, std::string_view name) {
    return place_step(place, place_any(name)) && !place.is_method();
}

/// Whether the relative name stands for something; `any`: it may stand for several things at once.
bool names_something(Place& place, std::string_view name, bool any) {
    if (!ox_tr_path_is_exact(name)) return false;
    for (std::string_view part : ox_tr_components(name)) {
        if (!any && place_any(part) == OX_TR_TEMPLATE) return false;
        if (!step_to(place, part)) return false;
    }
    return place.is_object() || name.back() != '.';
}

Answer condition_check(const Condition& condition, Schema* schema) {
    if (condition.left) {
        Answer answer = condition_check(*condition.left, schema);
        return answer.code ? std::move(answer) : condition_check(*condition.right, schema);
    }
    Place place{schema, nullptr, true};
    if (names_something(place, condition.name, false) && place.is_parameter()) return {};
    return answer_fault(FAULT_INVALID_ARGUMENTS,
                        "no parameter \"" + condition.name + "\" in an instance of " + schema->name);
}

/// One step with its filter; `path` is what it led to so far.
Answer step_check(const SelectorStep& step, Place& place, std::string& path) {
    if (step.name == "*" && place.is_object() && !place.is_table())
        return answer_fault(FAULT_INVALID_ARGUMENTS, (path.empty() ? "." : path) + " has no instances");
    if (!place.is_object()) path += '.';
    path += step.name;
    if (!step_to(place, step.name)) return answer_fault(FAULT_INVALID_NAME, path);
    if (place.is_object()) path += '.';
    if (!step.filter) return {};
    if (!place.is_object() || !place.schema->multi)
        return answer_fault(FAULT_INVALID_ARGUMENTS, path + " has no instances to filter");
    if (!place.item) path += "*.";
    place.item = true;
    return condition_check(*step.filter, place.schema);
}

}  // namespace

Answer selector_check(const Selector& selector, Schema* top) {
    Place place = place_of_schema(top);
    std::string path;
    for (const SelectorStep& step : selector.steps) {
        Answer answer = step_check(step, place, path);
        if (answer.code) return answer;
    }
    if (!place.is_object() && !selector.members.empty())
        return answer_fault(FAULT_INVALID_ARGUMENTS, path + " has no members to pick");
    for (const std::string& member : selector.members) {
        Place below = place;
        if (!names_something(below, member, true)) return answer_fault(FAULT_INVALID_NAME, path + member);
    }
    return {};
}

}  // namespace obxd
