#include "attributes.hpp"

#include <string.h>

#include "ox_tr_names.hpp"
#include "store/params.hpp"
#include "store/place_attrs.hpp"
#include "store/walk.hpp"

namespace obxd {
namespace {

/// Lists to choose from leave out what is obsoleted, unless it was asked for by name.
struct AttributesVisitor {
    Model& model;
    json_t* list;
    bool deep, details;
    bool choosing = false;

    bool is_left_out(const Place& place) const {
        return choosing && place.schema->status >= Status::OBSOLETED;
    }
    bool enter(const Place& place, const std::string& path) const {
        leaf(place, path);
        return deep && !is_left_out(place);
    }
    void leave(const Place&) const {}
    void leaf(const Place& place, const std::string& path) const {
        if (!is_left_out(place)) add(place, path);
    }
    void add(const Place& place, const std::string& path) const {
        JsonRef own = details ? attrs_detailed(model, place) : attrs_own(model, place);
        json_t* shown = own ? own.get() : attrs_shared(model, place);
        json_object_set_nocheck(list_add(list, path), OX_TR_ATTRIBUTES, shown);
    }
};

json_t* model_node(json_t* attrs) {
    json_t* node = json_object();
    json_object_set_nocheck(node, OX_TR_ATTR, attrs);
    return node;
}

struct ModelVisitor {
    const Model& model;
    bool deep;
    std::vector<json_t*> open;  ///< borrowed, each held by the one before it

    json_t* add(const Place& place) {
        json_t* node = model_node(attrs_shared(model, place));
        json_object_set_new_nocheck(open.back(), PlaceName(place).text(), node);
        return node;
    }
    bool enter(const Place& place, const std::string&) {
        json_t* node = add(place);
        if (deep) open.push_back(node);
        return deep;
    }
    void leave(const Place&) { open.pop_back(); }
    void leaf(const Place& place, const std::string&) { add(place); }
};

/// The place inside the answer, made with its attributes and with all above it where it is missing.
json_t* model_place(const Model& model, json_t* root, const Place& place) {
    Schema* schema = place.schema;
    if (place.pseudo == Pseudo::NONE && !place.item && !schema->parent) return root;
    Place above{schema->parent, nullptr, schema->parent && schema->parent->multi};
    if (place.pseudo != Pseudo::NONE) above = {schema, nullptr, place.pseudo != Pseudo::MAX_INSTANCE};
    if (place.pseudo == Pseudo::NONE && place.item) above = {schema};
    json_t* parent = model_place(model, root, above);
    PlaceName name(place);
    json_t* node = json_object_get(parent, name.text());
    if (!node)
        json_object_set_new_nocheck(parent, name.text(), node = model_node(attrs_shared(model, place)));
    return node;
}

void model_merge(json_t* into, json_t* from) {
    const char* key;
    json_t* value;
    json_object_foreach(from, key, value) {
        json_t* present = strcmp(key, OX_TR_ATTR) == 0 ? nullptr : json_object_get(into, key);
        if (present)
            model_merge(present, value);
        else
            json_object_set_nocheck(into, key, value);
    }
}

enum { NOTHING_BELOW = 0, NEXT_LEVEL = 1, ALL_BELOW = -1 };

bool level_read(const json_t* params, int& level, Answer& refused) {
    const json_t* given = json_object_get(params, OX_TR_LEVEL);
    json_int_t value = given ? json_integer_value(given) : json_int_t{ALL_BELOW};
    level = static_cast<int>(value);
    if ((!given || json_is_integer(given)) && value >= ALL_BELOW && value <= NEXT_LEVEL) return true;
    refused = answer_fault(FAULT_INVALID_ARGUMENTS, "Level is 0, 1 or -1");
    return false;
}

/// A path as the wire spells it: what is an object ends in ".".
std::string wire_path(const Place& place, std::string path) {
    if (path.back() == '.') path.pop_back();
    if (place.is_object()) path += '.';
    return path;
}

bool schema_find(Model& model, const std::string& path, Place& place) {
    place = place_top(model);
    return place_follow(place, path);
}

}  // namespace

Answer attributes_get(Model& model, const Caller& caller, const json_t* params) {
    Answer refused;
    int level;
    if (!level_read(params, level, refused)) return refused;
    bool ignore = param_flag(params, OX_TR_IGNORE_ACCESS_ERROR);
    int rank = caller_rank(caller);
    JsonRef list(json_array());
    AttributesVisitor visitor{model, list, level == ALL_BELOW, param_flag(params, "Details")};
    Answer answer = param_names(params, [&](const char* name) -> Answer {
        Place place;
        if (!schema_find(model, name, place)) return answer_fault(FAULT_INVALID_NAME, name);
        std::string path = wire_path(place, name);
        if (place.schema->kind == Schema::PARAMETER && rank < place.schema->read_rank)
            return ignore ? Answer() : answer_fault(FAULT_REQUEST_DENIED, path);
        visitor.add(place, path);
        bool whole = level == ALL_BELOW && !place.item;
        visitor.choosing = !whole && place.schema->status < Status::OBSOLETED && !model.show_all;
        if (level != NOTHING_BELOW && place.pseudo == Pseudo::NONE)
            walk<Walk::SCHEMA>(visitor, place, path == "." ? "" : path);
        return {};
    });
    return answer.code ? answer : answer_of(OX_TR_PARAMETER_LIST, list.release());
}

Answer datamodel_get(Model& model, const json_t* params) {
    Answer refused;
    int level;
    if (!level_read(params, level, refused)) return refused;
    JsonRef root(model_node(model.root.attrs));
    Answer answer = param_names(params, [&](const char* name) -> Answer {
        // What does not exist is answered as its nearest ancestor. A selector's path may begin with ":".
        if (*name == ':') name++;
        std::string path = name;
        Place place;
        bool found = schema_find(model, path, place);
        while (!found && path_climb(path)) found = schema_find(model, path, place);
        if (!found) return answer_fault(FAULT_INVALID_NAME, name);
        place.node = nullptr;
        json_t* node = model_place(model, root, place);
        if (level == NOTHING_BELOW || place.pseudo != Pseudo::NONE) return {};
        JsonRef tree(json_object());
        ModelVisitor visitor{model, level == ALL_BELOW, {tree}};
        walk_all<Walk::SCHEMA>(visitor, place);
        model_merge(node, tree);
        return {};
    });
    return answer.code ? answer : answer_of(OX_TR_DATAMODEL, root.release());
}

}  // namespace obxd
