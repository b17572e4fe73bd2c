#include "take_back.hpp"

#include <algorithm>

#include "store/keys.hpp"
#include "store/live.hpp"
#include "store/place.hpp"
#include "store/references.hpp"
#include "store/snapshot.hpp"
#include "store/tell.hpp"
#include "store/ties.hpp"
#include "store/undo.hpp"

namespace obxd {
namespace {

/// Something that is as it was before the change again.
struct Restored {
    std::string path;
    bool row;                     ///< one that had been deleted; else a value
    JsonRef present = JsonRef();  ///< a value: what it was set to by the change
};

struct TakeBack {
    Model& model;
    std::vector<Restored> restored;
    std::vector<std::unique_ptr<Node>> spare;  ///< rows that are in nobody's way any more
    std::vector<std::string> tables;           ///< whose rows came, went or moved
    std::vector<std::string> left;

    void value(UndoLog::Entry& entry);
    void added(UndoLog::Entry& entry);
    void deleted(UndoLog::Entry& entry);
    void moved(const UndoLog::Entry& entry);
    bool fits(const Restored& back);
    void give_up(const Restored& back);
    bool tidy();
    void settle();
    void tell_values();
};

/// The path of a row's table.
std::string table_of(std::string row) {
    path_climb(row);
    return row;
}

bool row_find(Model& model, const std::string& path, Place& place) {
    return place_find(model, path, place) && place.is_instance();
}

void TakeBack::value(UndoLog::Entry& entry) {
    Place place;
    if (!parameter_find(model, entry.path, place)) return;
    json_t*& slot = place.node->values[place.schema->slot];
    if (json_equal(slot, entry.value)) return;
    restored.push_back({entry.path, false, JsonRef(json_incref(slot))});
    slot_set(place.node, place.schema, entry.value.release());
}

void TakeBack::added(UndoLog::Entry& entry) {
    Place place;
    if (!row_find(model, entry.path, place)) return;
    spare.push_back(instance_take(place.node->parent, place.node));
    tables.push_back(table_of(entry.path));
}

void TakeBack::deleted(UndoLog::Entry& entry) {
    Place place;
    if (!place_find(model, table_of(entry.path), place) || !place.is_table()) return;
    if (!instance_put(place.node, std::move(entry.row))) return;
    tables.push_back(table_of(entry.path));
    restored.push_back({entry.path, true});
}

/// The rows that were there come into the order that they had, in the places that they have together.
void TakeBack::moved(const UndoLog::Entry& entry) {
    Place place;
    if (!place_find(model, entry.path, place) || !place.is_table()) return;
    std::vector<Node*> rows;
    std::vector<uint32_t> places;
    for (uint32_t number : entry.order)
        if (Node* row = instance_find(place.node, number)) {
            rows.push_back(row);
            places.push_back(row->order);
        }
    std::sort(places.begin(), places.end());
    for (size_t i = 0; i < rows.size(); i++) rows[i]->order = places[i];
    tables.push_back(entry.path);
}

bool keys_differ(Node* row, const Few<uint32_t>* members) {
    size_t keys = row->schema->keys.size();
    for (size_t key = 0; key < keys; key++) {
        bool asked = !members || std::find(members->begin(), members->end(), key) != members->end();
        if (asked && key_rival(row, key)) return false;
    }
    return true;
}

bool TakeBack::fits(const Restored& back) {
    Place place;
    if (back.row) {
        if (!row_find(model, back.path, place)) return true;
        return keys_differ(place.node, nullptr) &&
               place.node->parent->instances.size() <= place.schema->max_count;
    }
    if (!parameter_find(model, back.path, place)) return true;
    return keys_differ(place.node, &place.schema->looked_up_by);
}

void TakeBack::give_up(const Restored& back) {
    Place place;
    left.push_back(back.path);
    if (back.row && row_find(model, back.path, place))
        spare.push_back(instance_take(place.node->parent, place.node));
    else if (!back.row && parameter_find(model, back.path, place))
        slot_set(place.node, place.schema, json_incref(back.present.get()));
}

/// Takes out of the references in a row what names nothing.
bool row_tidy(Model& model, Node* node) {
    bool changed = false;
    for (const Schema* parameter : node->schema->parameters)
        changed |= !is_table(node) && reference_tidy(model, node, parameter);
    for (auto& object : node->objects) changed |= row_tidy(model, object.get());
    for (auto& instance : node->instances) changed |= row_tidy(model, instance.get());
    return changed;
}

/// Targets of references may be gone by now. True when one was.
bool TakeBack::tidy() {
    bool changed = false;
    for (const Restored& back : restored) {
        Place place;
        if (back.row && row_find(model, back.path, place))
            changed |= row_tidy(model, place.node);
        else if (!back.row && parameter_find(model, back.path, place))
            changed |= reference_tidy(model, place.node, place.schema);
    }
    return changed;
}

/// What is given up may be what something else is in the way of: in the end all is as it is now, which fits.
void TakeBack::settle() {
    for (bool settled = false; !settled;) {
        settled = true;
        for (auto back = restored.begin(); back != restored.end();) {
            if (fits(*back)) {
                ++back;
                continue;
            }
            give_up(*back);
            back = restored.erase(back);
            settled = false;
        }
    }
}

void TakeBack::tell_values() {
    struct Told {
        std::string path;
        const Schema* schema;
        JsonRef value;
    };
    std::vector<Told> changed;
    auto add = [&changed](const std::string& path, const Node* node, const Schema* schema) {
        changed.push_back({path, schema, JsonRef(json_incref(node->values[schema->slot]))});
    };
    for (const Restored& back : restored) {
        Place place;
        if (back.row || !parameter_find(model, back.path, place)) continue;
        add(back.path, place.node, place.schema);
        if (status_follow(place.node, place.schema))
            add(node_path(place.node) + place.schema->follower->name, place.node, place.schema->follower);
    }
    for (Told& told : changed)
        value_tell(model, told.path, told.schema->hidden ? value_nothing(told.schema) : told.value.get());
    for (Told& told : changed) hooks_run(told.schema, told.path, told.value);
}

void tables_tell(Model& model, std::vector<std::string>& tables) {
    std::sort(tables.begin(), tables.end());
    tables.erase(std::unique(tables.begin(), tables.end()), tables.end());
    for (const std::string& path : tables) {
        Place place;
        if (!place_find(model, path, place) || !place.is_table()) continue;
        counter_tell(model, place.node);
        if (place.schema->ordered) orders_tell(model, place.node, 1, UINT32_MAX);
    }
}

}  // namespace

std::vector<std::string> take_back(Model& model) {
    std::unique_ptr<UndoLog> log = std::move(model.undo);
    if (!log || log->entries.empty()) return {};
    TakeBack back{model, {}, {}, {}, {}};
    std::vector<std::string> before = instances_of(model);
    for (auto entry = log->entries.rbegin(); entry != log->entries.rend(); ++entry) {
        if (entry->kind == UndoLog::Entry::VALUE) back.value(*entry);
        if (entry->kind == UndoLog::Entry::ADDED) back.added(*entry);
        if (entry->kind == UndoLog::Entry::DELETED) back.deleted(*entry);
        if (entry->kind == UndoLog::Entry::MOVED) back.moved(*entry);
    }
    do {
        back.settle();
    } while (back.tidy());
    instances_settle(model, before);
    tables_tell(model, back.tables);
    back.tell_values();
    return std::move(back.left);
}

}  // namespace obxd
