#include "row_values.hpp"

#include <algorithm>
#include <set>
#include <unordered_set>

#include "ox_tr_path.hpp"
#include "store/keys.hpp"
#include "store/live.hpp"
#include "store/place.hpp"
#include "store/references.hpp"
#include "store/scopes.hpp"
#include "store/ties.hpp"
#include "store/value_check.hpp"
#include "store/value_form.hpp"
#include "store/value_text.hpp"
#include "store/walk.hpp"

namespace obxd {
namespace {

constexpr uint64_t TRIES = 512;       // values of a key that are tried before it is taken for used up
constexpr uint64_t TARGET_TRIES = 8;  // what a reference may name that is looked at

bool is_within(const Node* node, const Node* top) {
    while (top && node && node != top) node = node->parent;
    return node != nullptr;
}

/// What follows from other values by itself.
bool is_tied(const Schema* parameter) {
    return parameter->counts || parameter->mirrors_order || parameter->parent->alias == parameter;
}

bool is_link(const Schema* parameter) {
    return parameter->limits->type == OX_TR_PATH_REF || !parameter->limits->from.empty();
}

bool is_enable(const Schema* parameter) {
    return parameter == parameter->parent->enable ||
           (parameter->name == "Enable" && parameter->limits->type == OX_TR_BOOLEAN &&
            !parameter->limits->list);
}

/// What is there of that path, without final dots; of a table its rows.
std::vector<std::string> targets_gather(Model& model, const std::string& path) {
    std::vector<std::string> found;
    places_each(place_top(model), path, [&](const Place& place, const std::string& target) {
        std::string name = target;
        if (place.is_table()) {
            for (auto& instance : place.node->instances)
                found.push_back(name + std::to_string(instance->number));
            return;
        }
        if (place.is_method()) return;
        if (!name.empty() && name.back() == '.') name.pop_back();
        found.push_back(std::move(name));
    });
    return found;
}

/// In the place of targets, where a reference has none of its own.
constexpr char ANY_ROW[] = ".", ANY_PARAMETER[] = "..";

const std::vector<std::string>& targets_allowed(const Schema* parameter) {
    static const std::vector<std::string> row{ANY_ROW}, own{ANY_PARAMETER};
    const Limits& limits = *parameter->limits;
    if (!limits.targets.empty()) return limits.targets;
    return limits.target_type == TargetType::PARAMETER ? own : row;
}

/// Whether an object is an interface, as what stands on top of others is.
bool is_layer(const Schema* object) {
    return schema_child(object, "LowerLayers") != nullptr;
}

/// What a reference may name that may name anything: the rows of interfaces, or their states.
struct LayersVisitor {
    std::vector<std::string>& found;
    bool states;

    bool enter(const Place& place, const std::string& path) const {
        if (!place.is_instance() || !is_layer(place.schema)) return true;
        if (!states) found.push_back(path.substr(0, path.size() - 1));
        if (states && schema_child(place.schema, "Status")) found.push_back(path + "Status");
        return true;
    }
    void leave(const Place&) const {}
    void leaf(const Place&, const std::string&) const {}
};

/// The row that a node stands in, itself included, without the final dot; "" for none.
std::string row_path(const Node* node) {
    while (node && !node->number) node = node->parent;
    if (!node) return "";
    std::string path = node_path(node);
    path.pop_back();
    return path;
}

}  // namespace

bool RowValues::leaves(const Filled& filled, const Schema* parameter) const {
    if (is_tied(parameter)) return true;
    if (filled.row) return false;
    // What begins with a legal value keeps it, but for what others have the choices of.
    bool settled = parameter->writable && parameter->limits->from.empty();
    return parameter->has_default || settled ||
           !json_equal(filled.node->values[parameter->slot], parameter->initial);
}

void RowValues::put(Node* node, const Schema* parameter, json_t* value) {
    JsonRef made(value);
    if (made) slot_set(node, parameter, value_normal(parameter, made));
}

void RowValues::plain_fill(const Filled& filled) {
    Node* node = filled.node;
    for (const Schema* parameter : node->schema->parameters) {
        if (is_link(parameter) || leaves(filled, parameter)) continue;
        bool enable = filled.row && is_enable(parameter);
        put(node, parameter, enable ? json_true() : maker_.numbered(parameter, filled.number));
    }
    for (const Schema* parameter : node->schema->parameters)
        if (parameter->follower) status_follow(node, parameter);
}

void RowValues::links_fill(const Filled& filled) {
    for (const Schema* parameter : filled.node->schema->parameters)
        if (is_link(parameter) && !leaves(filled, parameter))
            put(filled.node, parameter, numbered(filled.node, parameter, filled.number));
}

const std::vector<std::string>& RowValues::targets_of(Node* node, const std::string& target) {
    bool anything = target == ANY_ROW || target == ANY_PARAMETER;
    std::string path = anything ? target : scope_path(node->schema, node, target);
    auto [place, fresh] = targets_.try_emplace(path);
    if (fresh && anything) {
        LayersVisitor visitor{place->second, target == ANY_PARAMETER};
        walk_all<Walk::VALUES>(visitor, place_top(model_));
    } else if (fresh) {
        place->second = targets_gather(model_, path);
    }
    return place->second;
}

uint64_t RowValues::targets_count(Node* node, const Schema* parameter) {
    uint64_t all = 0;
    for (const std::string& target : targets_allowed(parameter)) all += targets_of(node, target).size();
    return all;
}

/// One of the items of the parameter that has the choices.
json_t* RowValues::choice_from(Node* node, const Schema* parameter, uint64_t number) {
    const Limits& limits = *parameter->limits;
    Place place;
    if (!parameter_find(model_, scope_path(node->schema, node, limits.from), place)) return nullptr;
    const char* text = json_string_value(value_read(place.node, place.schema, nullptr));
    std::vector<std::string_view> items = list_items(text ? text : "");
    if (items.empty()) return nullptr;
    std::string item(items[static_cast<size_t>(number % items.size())]);
    JsonRef value(json_string(item.c_str()));
    std::string why;
    return value_check(model_, parameter, node, value, why) == 0 ? value.release() : nullptr;
}

bool RowValues::choice_begin(Node* node, const Schema* parameter) {
    const Limits& limits = *parameter->limits;
    if (limits.from.empty() || !parameter->writable || parameter->has_default) return false;
    const json_t* present = node->values[parameter->slot];
    std::string why;
    if (!json_equal(present, parameter->initial) || value_check(model_, parameter, node, present, why) == 0)
        return false;
    Place source;
    if (!parameter_find(model_, scope_path(node->schema, node, limits.from), source)) return false;
    const char* choices = json_string_value(value_read(source.node, source.schema, nullptr));
    if (choices && !*choices && !source.schema->writable && is_within(source.node, within_))
        put(source.node, source.schema, maker_.numbered(source.schema, 0));
    json_t* choice = choice_from(node, parameter, 0);
    put(node, parameter, choice);
    return choice != nullptr;
}

/// Something that is there, but not the row of the reference itself.
json_t* RowValues::reference(Node* node, const Schema* parameter, uint64_t number) {
    uint64_t count = targets_count(node, parameter);
    std::string own = row_path(node), why;
    for (uint64_t i = 0; i < std::min(count, TARGET_TRIES); i++) {
        uint64_t at = (number + i) % count;
        for (const std::string& target : targets_allowed(parameter)) {
            const std::vector<std::string>& found = targets_of(node, target);
            if (at >= found.size()) {
                at -= found.size();
                continue;
            }
            const std::string& path = found[static_cast<size_t>(at)];
            JsonRef value(json_string(path.c_str()));
            if (path != own && value_check(model_, parameter, node, value, why) == 0) return value.release();
            break;
        }
    }
    return nullptr;
}

json_t* RowValues::numbered(Node* node, const Schema* parameter, uint64_t number) {
    if (!parameter->limits->from.empty()) return choice_from(node, parameter, number);
    if (parameter->limits->type == OX_TR_PATH_REF) return reference(node, parameter, number);
    return maker_.numbered(parameter, number);
}

uint64_t RowValues::count(Node* node, const Schema* parameter) {
    if (parameter->limits->type == OX_TR_PATH_REF)
        return std::max<uint64_t>(targets_count(node, parameter), 1);
    return maker_.count(parameter);
}

/// Whether a row before this one has the same values of a key; those behind it will be looked at themselves.
/// Where nobody has given a key the daemon lets rows be equal; here one row at most is left so.
bool RowValues::key_clashes(Node* row, size_t key) {
    const Schema* enable = row->schema->enable;
    bool bound = !row->schema->keys[key].functional || !enable || json_is_true(row->values[enable->slot]);
    const Node* rival = bound ? key_rival(row, key) : nullptr;
    if (rival && rival->number < row->number) return true;
    auto blank = [key](const Node* node) {
        const std::vector<Schema*>& members = node->schema->keys[key].members;
        return std::all_of(members.begin(), members.end(), [node](const Schema* member) {
            return json_equal(node->values[member->slot], member->initial) != 0;
        });
    };
    if (!bound || !blank(row)) return false;
    auto [place, fresh] = blank_.try_emplace({row->parent, key}, row);
    if (!fresh && !blank(place->second)) place->second = row;
    return place->second != row;
}

/// Gives a row other values of a key that another row has too. False when there are none left.
bool RowValues::key_settle(const Filled& filled, size_t key) {
    Node* row = filled.node;
    if (!key_clashes(row, key)) return true;
    const Key& shared = row->schema->keys[key];
    bool left = exhausted_.count({row->parent, key}) == 0;
    for (uint64_t attempt = 0; left && attempt < TRIES; attempt++) {
        uint64_t rest = filled.number + attempt;
        for (const Schema* member : shared.members) {
            if (is_tied(member)) continue;
            uint64_t values = count(row, member);
            put(row, member, numbered(row, member, rest % values));
            rest /= values;
        }
        if (!key_clashes(row, key)) return true;
    }
    exhausted_.insert({row->parent, key});
    const Schema* enable = row->schema->enable;
    if (!shared.functional || !enable) return false;
    put(row, enable, json_false());
    if (enable->follower) status_follow(row, enable);
    return !key_clashes(row, key);
}

bool RowValues::keys_settle(const Filled& filled) {
    size_t keys = filled.node->schema->keys.size();
    for (size_t key = 0; key < keys; key++)
        if (!key_settle(filled, key)) return false;
    // What one key was given may have spoilt another.
    for (size_t key = 0; key < keys; key++)
        if (key_clashes(filled.node, key)) return false;
    return true;
}

/// Gives the rows that have to go no chance to be in the way of others until then.
void RowValues::keys_empty(Node* row) {
    for (const Key& key : row->schema->keys)
        for (const Schema* member : key.members) slot_set(row, member, json_incref(member->initial.get()));
}

void RowValues::drop(const std::vector<Node*>& rows) {
    std::vector<std::string> paths;
    for (Node* row : rows) paths.push_back(node_path(row));
    references_forget(model_, {paths.begin(), paths.end()});
    for (auto row = rows.rbegin(); row != rows.rend(); ++row) {
        Node* table = (*row)->parent;
        instance_take(table, *row);
        table->max_instance = table->instances.empty() ? 0 : table->instances.back()->number;
    }
}

void RowValues::fill() {
    for (const Filled& filled : nodes_) plain_fill(filled);
    for (const Filled& filled : nodes_) links_fill(filled);
    std::vector<Node*> spare;
    for (const Filled& filled : nodes_)
        if (filled.node->number && !keys_settle(filled)) {
            keys_empty(filled.node);
            spare.push_back(filled.node);
        }
    drop(spare);
    nodes_.clear();
}

}  // namespace obxd
