#include "names.hpp"

#include "ox_tr_names.hpp"
#include "store/params.hpp"
#include "store/walk.hpp"

namespace obxd {
namespace {

/// Whether anybody may set it, add to it or delete it.
bool is_writable(const Place& place) {
    if (place.pseudo != Pseudo::NONE) return place.pseudo == Pseudo::INDEX;
    const Schema* schema = place.schema;
    return schema->writable && (schema->kind == Schema::PARAMETER || schema->multi);
}

struct NamesVisitor {
    json_t* list;
    int rank;
    bool deep;

    bool enter(const Place& place, const std::string& path) const {
        leaf(place, path);
        return deep;
    }
    void leave(const Place&) const {}
    void leaf(const Place& place, const std::string& path) const {
        bool writable = is_writable(place) && rank >= place.schema->write_rank;
        json_object_set_new_nocheck(list_add(list, path), OX_TR_WRITABLE, json_boolean(writable));
    }
};

}  // namespace

Answer names_get(Model& model, const Caller& caller, const json_t* params) {
    Answer refused;
    const char* name = param_text(params, OX_TR_PARAMETER_PATH, refused);
    if (!name) return refused;
    bool next = param_flag(params, OX_TR_NEXT_LEVEL);
    JsonRef list(json_array());
    NamesVisitor visitor{list, caller_rank(caller), !next};
    bool found = places_each(place_top(model), name, [&](const Place& place, const std::string& path) {
        if (!place.is_object()) return visitor.leaf(place, path);
        if (!next) visitor.leaf(place, path.empty() ? "." : path);
        walk<Walk::VALUES>(visitor, place, path);
    });
    if (!found) return answer_fault(FAULT_INVALID_NAME, name);
    return answer_of(OX_TR_PARAMETER_LIST, list.release());
}

}  // namespace obxd
