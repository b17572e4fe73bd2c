#include "attributes.hpp"

#include <map>
#include <tuple>

#include "ox_tr_names.hpp"
#include "store/answer_text.hpp"
#include "store/params.hpp"
#include "store/place_attrs.hpp"
#include "store/walk.hpp"

namespace obxd {
namespace {

/// Lists to choose from leave out what is obsoleted, unless it was asked for by name.
struct AttributesVisitor {
    Model& model;
    ListText& list;
    KnownTexts& texts;
    bool deep, details;
    bool choosing = false;

    bool is_left_out(const Place& place) const {
        return choosing && place.schema->status >= Status::OBSOLETED;
    }
    bool enter(const Place& place, const std::string& path) const {
        leaf(place, path);
        return deep && !is_left_out(place) && !list.full();
    }
    void leave(const Place&) const {}
    void leaf(const Place& place, const std::string& path) const {
        if (!is_left_out(place)) add(place, path);
    }
    void add(const Place& place, const std::string& path) const {
        if (list.full()) return;
        JsonRef own = details ? attrs_detailed(model, place) : attrs_own(model, place);
        if (own)
            list.add(path, own);
        else
            list.add(path, texts.of(attrs_shared(model, place)));
    }
};

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

/// What was asked for of a place: itself, what is right below it, or all.
using Wanted = std::map<std::tuple<const Schema*, bool, Pseudo>, int>;

/// Notes a place and, for themselves, all above it.
void wanted_add(Wanted& wanted, const Place& place, int level) {
    auto [entry, fresh] = wanted.try_emplace({place.schema, place.item, place.pseudo}, level);
    if (!fresh && entry->second != ALL_BELOW && level != NOTHING_BELOW) entry->second = level;
    const Schema* schema = place.schema;
    Place above{schema->parent, nullptr, schema->parent && schema->parent->multi};
    if (place.pseudo != Pseudo::NONE)
        above = {place.schema, nullptr, place.pseudo != Pseudo::MAX_INSTANCE};
    else if (place.item)
        above = {place.schema};
    if (above.schema) wanted_add(wanted, above, NOTHING_BELOW);
}

struct ModelVisitor {
    const Model& model;
    TreeText& tree;
    KnownTexts& texts;
    const Wanted& wanted;
    std::vector<int> open;  ///< what is wanted of the objects that are open

    /// False when nothing is.
    bool find(const Place& place, int& level) const {
        level = open.back();
        if (level == ALL_BELOW) return true;
        auto found = wanted.find({place.schema, place.item, place.pseudo});
        if (found != wanted.end())
            level = found->second;
        else if (level == NEXT_LEVEL)
            level = NOTHING_BELOW;
        else
            return false;
        return true;
    }
    void begin(const Place& place) {
        tree.open(PlaceName(place).text());
        tree.member(OX_TR_ATTR).append(texts.of(attrs_shared(model, place)));
    }
    bool enter(const Place& place, const std::string&) {
        int level;
        if (tree.full() || !find(place, level)) return false;
        begin(place);
        open.push_back(level);
        return true;
    }
    void leave(const Place&) {
        tree.close();
        open.pop_back();
    }
    void leaf(const Place& place, const std::string&) {
        int level;
        if (tree.full() || !find(place, level)) return;
        begin(place);
        tree.close();
    }
};

}  // namespace

Answer attributes_get(Model& model, const Caller& caller, const json_t* params, size_t room) {
    Answer refused;
    int level;
    if (!level_read(params, level, refused)) return refused;
    bool ignore = param_flag(params, OX_TR_IGNORE_ACCESS_ERROR);
    int rank = caller_rank(caller);
    ListText list(OX_TR_PARAMETER_LIST, OX_TR_ATTRIBUTES, room);
    KnownTexts texts;
    AttributesVisitor visitor{model, list, texts, level == ALL_BELOW, param_flag(params, "Details")};
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
    return answer.code ? std::move(answer) : list.end();
}

Answer datamodel_get(Model& model, const json_t* params, size_t room) {
    Answer refused;
    int level;
    if (!level_read(params, level, refused)) return refused;
    Wanted wanted;
    Place top = place_of_schema(&model.root);
    wanted_add(wanted, top, NOTHING_BELOW);
    Answer answer = param_names(params, [&](const char* name) -> Answer {
        // What does not exist is answered as its nearest ancestor. A selector's path may begin with ":".
        if (*name == ':') name++;
        std::string path = path_reach(model, name);
        Place place;
        bool found = schema_find(model, path, place);
        while (!found && path_climb(path)) found = schema_find(model, path, place);
        if (!found) return answer_fault(FAULT_INVALID_NAME, name);
        wanted_add(wanted, place, place.pseudo == Pseudo::NONE ? level : NOTHING_BELOW);
        return {};
    });
    if (answer.code) return answer;
    TreeText tree(room);
    KnownTexts texts;
    tree.open();
    tree.open(OX_TR_DATAMODEL);
    tree.member(OX_TR_ATTR).append(texts.of(model.root.attrs));
    ModelVisitor visitor{model, tree, texts, wanted, {wanted[{&model.root, false, Pseudo::NONE}]}};
    walk_all<Walk::SCHEMA>(visitor, top);
    tree.close();
    tree.close();
    return tree.end();
}

}  // namespace obxd
