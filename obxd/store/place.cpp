#include "place.hpp"

#include <charconv>

#include "ox_tr_names.hpp"
#include "ox_tr_path.hpp"

namespace obxd {
namespace {

struct Expansion {
    bool partial;  ///< the path ends in ".", so it names an object
    const PlaceVisit& visit;
};

/// Takes the first component off an exact path.
std::string_view take(std::string_view& rest) {
    std::string_view name = rest.substr(0, rest.find('.'));
    rest.remove_prefix(std::min(name.size() + 1, rest.size()));
    return name;
}

bool is_wildcard(std::string_view part) {
    return part == OX_TR_TEMPLATE || part == "*";
}

/// True when the rest of the path could exist below an instance that isn't there.
bool known_below(const Expansion& job, Schema* table, std::string_view rest) {
    Place place{table, nullptr, true};
    while (!rest.empty())
        if (!place_step(place, place_any(take(rest)))) return false;
    return !place.schema->argument && (place.is_object() || !job.partial);
}

bool expand(const Expansion& job, const Place& place, std::string_view rest, std::string& path);

bool expand_table(const Expansion& job, const Place& place, std::string_view rest, std::string& path) {
    if (place.node->instances.empty()) return known_below(job, place.schema, rest);
    bool found = false;
    size_t length = path.size();
    for (auto& instance : place.node->instances) {
        path_add(path, instance->number);
        path += '.';
        found |= expand(job, {place.schema, instance.get(), true}, rest, path);
        path.resize(length);
    }
    return found;
}

bool expand(const Expansion& job, const Place& place, std::string_view rest, std::string& path) {
    if (rest.empty()) {
        job.visit(place, path);
        return true;
    }
    std::string_view part = take(rest);
    if (place.is_table() && is_wildcard(part)) return expand_table(job, place, rest, path);
    Place next = place;
    if (!place_step(next, part) || !next.node) return false;
    bool leaf = !next.is_object();
    if (leaf && (job.partial || !rest.empty())) return false;
    size_t length = path.size();
    path += part;
    if (!leaf) path += '.';
    bool found = expand(job, next, rest, path);
    path.resize(length);
    return found;
}

bool step_into_table(Place& place, std::string_view name) {
    if (name == OX_TR_MAX_INSTANCE && !place.schema->argument) {
        place.pseudo = Pseudo::MAX_INSTANCE;
        return true;
    }
    uint32_t number;
    Node* instance = nullptr;
    if (name != OX_TR_TEMPLATE) {
        if (!ox_tr_instance_number(name, &number)) return false;
        // Where there are no values, any number stands for the template.
        if (place.node && !(instance = instance_find(place.node, number))) return false;
    }
    place.node = instance;
    place.item = true;
    return true;
}

}  // namespace

PlaceName::PlaceName(const Place& place) {
    static const char* const PSEUDO[] = {"", OX_TR_MAX_INSTANCE, OX_TR_ORDER, OX_TR_INDEX};
    text_ = place.schema->name.c_str();
    if (place.pseudo != Pseudo::NONE) {
        text_ = PSEUDO[static_cast<size_t>(place.pseudo)];
    } else if (place.item && !place.node) {
        text_ = OX_TR_TEMPLATE;
    } else if (place.item) {
        *std::to_chars(digits_, digits_ + sizeof digits_ - 1, place.node->number).ptr = '\0';
        text_ = digits_;
    }
}

Place place_top(Model& model) {
    return {&model.root, model.top.get()};
}

Place place_of_schema(Schema* top) {
    return {top};
}

Place place_of(Node* node) {
    return {node->schema, node, node->number != 0};
}

bool place_step(Place& place, std::string_view name) {
    Schema* schema = place.schema;
    if (place.is_parameter()) return false;
    if (place.is_table()) return step_into_table(place, name);
    if (schema->kind == Schema::METHOD) {
        if (name != OX_TR_INPUT || !schema->input) return false;
        place = {schema->input.get()};
        return true;
    }
    if (schema->ordered && (name == OX_TR_ORDER || name == OX_TR_INDEX)) {
        place.pseudo = name == OX_TR_ORDER ? Pseudo::ORDER : Pseudo::INDEX;
        return true;
    }
    Schema* child = schema_child(schema, name);
    if (!child) return false;
    Node* node = place.node;
    if (node && child->kind == Schema::OBJECT) node = node->objects[child->slot].get();
    place = {child, node};
    return true;
}

bool place_follow(Place& place, std::string_view path) {
    if (!ox_tr_path_is_exact(path)) return false;
    Place at = place;
    for (std::string_view name : ox_tr_components(path))
        if (!place_step(at, name)) return false;
    place = at;
    return true;
}

std::string_view place_any(std::string_view name) {
    return name == "*" ? std::string_view(OX_TR_TEMPLATE) : name;
}

bool place_find(Model& model, std::string_view path, Place& place) {
    place = place_top(model);
    return place_follow(place, path) && place.node && (place.is_object() || path.back() != '.');
}

bool parameter_find(Model& model, std::string_view path, Place& place) {
    return place_find(model, path, place) && place.schema->kind == Schema::PARAMETER;
}

bool places_each(const Place& from, std::string_view path, const PlaceVisit& visit) {
    if (!ox_tr_path_is_exact(path)) return false;
    std::string way;
    return expand({path.back() == '.', visit}, from, path == "." ? "" : path, way);
}

std::string path_reach(Model& model, std::string_view path) {
    Place place = place_of_schema(&model.root);
    if (!ox_tr_path_is_exact(path)) return std::string(path);
    for (std::string_view name : ox_tr_components(path)) {
        if (place_step(place, place_any(name))) continue;
        path = path.substr(0, static_cast<size_t>(name.data() - path.data()));
        break;
    }
    return path.empty() ? "." : std::string(path);
}

bool path_climb(std::string& path) {
    if (!ox_tr_path_is_exact(path)) return false;
    std::string_view leaf = ox_tr_path_leaf(path);
    if (leaf.empty()) return false;
    path.resize(static_cast<size_t>(leaf.data() - path.data()));
    if (path.empty()) path.push_back('.');
    return true;
}

void path_add(std::string& path, uint32_t number) {
    char digits[12];
    path.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
}

}  // namespace obxd
