#include "undo.hpp"

#include <algorithm>

#include "bounds.hpp"
#include "ox_tr_path.hpp"

namespace obxd {
namespace {

using Entry = UndoLog::Entry;

constexpr size_t ENTRY_SIZE = 256, VALUE_SIZE = 64;

/// Whether it stands in a row that came with the change, and goes with it.
bool is_new(const UndoLog& log, std::string_view path) {
    if (log.added.empty()) return false;
    for (std::string_view name : ox_tr_components(path)) {
        size_t end = static_cast<size_t>(name.data() - path.data()) + name.size() + 1;
        if (log.added.count(path.substr(0, end))) return true;
    }
    return false;
}

UndoLog::Entries::iterator note(UndoLog& log, Entry entry) {
    entry.size += ENTRY_SIZE + 2 * entry.path.size();
    log.size += entry.size;
    return log.entries.insert(log.entries.end(), std::move(entry));
}

UndoLog::Entries::iterator forget(UndoLog& log, UndoLog::Entries::iterator entry) {
    if (entry->kind == Entry::VALUE) log.values.erase(entry->path);
    if (entry->kind == Entry::MOVED) log.orders.erase(entry->path);
    if (entry->kind == Entry::ADDED) log.added.erase(entry->path);
    log.size -= entry->size;
    return log.entries.erase(entry);
}

void forget_at(UndoLog& log, const std::unordered_map<std::string, UndoLog::Entries::iterator>& places,
               const std::string& path) {
    auto found = places.find(path);
    if (found != places.end()) forget(log, found->second);
}

void note_value(UndoLog& log, const std::string& path, json_t* before) {
    if (log.values.count(path) || is_new(log, path)) return;
    log.values[path] =
        note(log, {Entry::VALUE, path, JsonRef(json_incref(before)), {}, {}, undo_size(before)});
}

/// Whether a tree of values says what is at the path: a value there, or the table of a row or an order.
bool tree_names(const json_t* tree, const Entry& entry) {
    std::string_view path = entry.path, leaf = ox_tr_path_leaf(path);
    bool row = entry.kind == Entry::ADDED || entry.kind == Entry::DELETED;
    for (std::string_view name : ox_tr_components(path)) {
        if (row && name.data() == leaf.data()) break;
        tree = json_object_get(tree, std::string(name).c_str());
    }
    return tree != nullptr;
}

bool is_kept(const std::vector<std::string>& keep, std::string_view path) {
    return std::any_of(keep.begin(), keep.end(), [path](std::string_view kept) {
        bool below = !kept.empty() && kept.back() == '.' && path.starts_with(kept);
        return below || path == kept;
    });
}

}  // namespace

size_t undo_size(const json_t* before) {
    return VALUE_SIZE + json_string_length(before);
}

size_t undo_size(const Node* row) {
    size_t size = ENTRY_SIZE;
    for (const json_t* value : row->values) size += undo_size(value);
    for (auto& object : row->objects) size += undo_size(object.get());
    for (auto& instance : row->instances) size += undo_size(instance.get());
    return size;
}

bool undo_has_room(const Model& model, size_t size) {
    return !model.undo || !model.undo->mine || model.undo->size + size <= CHANGE_SHARE;
}

void undo_value(Model& model, const Node* node, const Schema* parameter, json_t* before) {
    if (!model.undo) return;
    std::string path = node_path(node) + parameter->name;
    if (model.undo->mine)
        note_value(*model.undo, path, before);
    else
        forget_at(*model.undo, model.undo->values, path);
}

void undo_consequence(Model& model, const Node* node, const Schema* parameter, json_t* before) {
    if (model.undo && model.undo->mine) undo_value(model, node, parameter, before);
}

void undo_added(Model& model, const Node* row) {
    if (!model.undo || !model.undo->mine) return;
    std::string path = node_path(row);
    if (is_new(*model.undo, path)) return;
    note(*model.undo, {Entry::ADDED, path});
    model.undo->added.insert(std::move(path));
}

void undo_deleted(Model& model, const std::string& path, std::unique_ptr<Node> row) {
    if (!model.undo || !model.undo->mine || is_new(*model.undo, path)) return;
    size_t size = undo_size(row.get());
    note(*model.undo, {Entry::DELETED, path, JsonRef(), std::move(row), {}, size});
}

void undo_moved(Model& model, const Node* table) {
    if (!model.undo) return;
    UndoLog& log = *model.undo;
    std::string path = node_path(table);
    if (!log.mine) return forget_at(log, log.orders, path);
    if (log.orders.count(path) || is_new(log, path)) return;
    std::vector<uint32_t> order(table->instances.size());
    for (auto& row : table->instances) order[row->order - 1] = row->number;
    size_t size = order.size() * sizeof order[0];
    log.orders[path] = note(log, {Entry::MOVED, path, JsonRef(), {}, std::move(order), size});
}

void undo_overrule(Model& model, const json_t* tree, const std::vector<std::string>& keep) {
    if (!model.undo) return;
    UndoLog& log = *model.undo;
    for (auto entry = log.entries.begin(); entry != log.entries.end();) {
        bool said = tree ? tree_names(tree, *entry) : !is_kept(keep, entry->path);
        entry = said ? forget(log, entry) : std::next(entry);
    }
}

}  // namespace obxd
