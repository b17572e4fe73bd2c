#include "names.hpp"

#include "ox_tr_names.hpp"
#include "store/answer_text.hpp"
#include "store/params.hpp"
#include "store/ties.hpp"
#include "store/walk.hpp"

namespace obxd {
namespace {

/// Whether anybody may set it, add to it or delete it.
bool is_writable(const Place& place) {
    if (place.pseudo != Pseudo::NONE) return place.pseudo == Pseudo::INDEX;
    const Schema* schema = place.schema;
    if (schema->kind == Schema::PARAMETER && place.node && is_spent(place.node, schema)) return false;
    return schema->writable && (schema->kind == Schema::PARAMETER || schema->multi);
}

struct NamesVisitor {
    ListText& list;
    int rank;
    bool deep;

    bool enter(const Place& place, const std::string& path) const {
        leaf(place, path);
        return deep && !list.full();
    }
    void leave(const Place&) const {}
    void leaf(const Place& place, const std::string& path) const {
        if (list.full()) return;
        bool writable = is_writable(place) && rank >= place.schema->write_rank;
        list.add(path, writable ? "true" : "false");
    }
};

}  // namespace

Answer names_get(Model& model, const Caller& caller, const json_t* params, size_t room) {
    Answer refused;
    const char* name = param_text(params, OX_TR_PARAMETER_PATH, refused);
    if (!name) return refused;
    bool next = param_flag(params, OX_TR_NEXT_LEVEL);
    ListText list(OX_TR_PARAMETER_LIST, OX_TR_WRITABLE, room);
    NamesVisitor visitor{list, caller_rank(caller), !next};
    bool found = places_each(place_top(model), name, [&](const Place& place, const std::string& path) {
        if (!place.is_object()) return visitor.leaf(place, path);
        if (!next) visitor.leaf(place, path.empty() ? "." : path);
        walk<Walk::VALUES>(visitor, place, path);
    });
    if (!found) return answer_fault(FAULT_INVALID_NAME, name);
    return list.end();
}

}  // namespace obxd
