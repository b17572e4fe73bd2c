// Whether a selector fits the model, whatever instances there are: one without a match must not hide a
// misspelling.

#include "impl.hpp"
#include "selector.hpp"

namespace obxd {
namespace {

/// Where the names so far lead in the schema.
struct Place {
    const Schema* schema;
    bool item = false;  ///< an instance of the multi-instance `schema`
    bool leaf = false;  ///< a parameter or pseudo-parameter

    bool is_table() const { return !leaf && !item && schema->multi; }
};

bool step_to(Place& place, std::string_view name) {
    uint32_t number;
    if (place.leaf) return false;
    if (place.is_table()) {
        place.leaf = name == "max_instance";
        place.item = name == "*" || name == "#template" || instance_number(name, number);
        return place.leaf || place.item;
    }
    if (place.schema->ordered && (name == "order" || name == "index")) return place.leaf = true;
    const Schema* child = schema_child(place.schema, name);
    if (!child || child->kind == Schema::METHOD) return false;
    place = {child, false, child->kind == Schema::PARAMETER};
    return true;
}

/// Whether the relative name stands for something; `any`: it may stand for several things at once.
bool names_something(Place& place, std::string_view name, bool any) {
    std::vector<std::string_view> parts;
    if (!path_split(name, parts)) return false;
    for (std::string_view part : parts) {
        if (!any && (part == "*" || part == "#template")) return false;
        if (!step_to(place, part)) return false;
    }
    return !place.leaf || name.back() != '.';
}

Answer condition_check(const Condition& condition, const Schema* schema) {
    if (condition.left) {
        Answer answer = condition_check(*condition.left, schema);
        return answer.code ? answer : condition_check(*condition.right, schema);
    }
    Place place{schema, true};
    if (names_something(place, condition.name, false) && place.leaf) return {};
    return fault(FAULT_INVALID_ARGUMENTS,
                 "no parameter \"" + condition.name + "\" in an instance of " + schema->name);
}

/// One step with its filter; `path` is what it led to so far.
Answer step_check(const SelectorStep& step, Place& place, std::string& path) {
    if (step.name == "*" && !place.leaf && !place.is_table())
        return fault(FAULT_INVALID_ARGUMENTS, (path.empty() ? "." : path) + " has no instances");
    if (place.leaf) path += '.';
    path += step.name;
    if (!step_to(place, step.name)) return fault(FAULT_INVALID_NAME, path);
    if (!place.leaf) path += '.';
    if (!step.filter) return {};
    if (place.leaf || !place.schema->multi)
        return fault(FAULT_INVALID_ARGUMENTS, path + " has no instances to filter");
    if (!place.item) path += "*.";
    place.item = true;
    return condition_check(*step.filter, place.schema);
}

}  // namespace

Answer selector_check(const Selector& selector, const Schema* top) {
    Place place{top};
    std::string path;
    for (const SelectorStep& step : selector.steps) {
        Answer answer = step_check(step, place, path);
        if (answer.code) return answer;
    }
    if (place.leaf && !selector.members.empty())
        return fault(FAULT_INVALID_ARGUMENTS, path + " has no members to pick");
    for (const std::string& member : selector.members) {
        Place below = place;
        if (!names_something(below, member, true)) return fault(FAULT_INVALID_NAME, path + member);
    }
    return {};
}

}  // namespace obxd
