// What the store's files share: the tree of values, paths into it, faults.
#pragma once

#include <map>
#include <set>
#include <unordered_set>

#include "schema.hpp"
#include "store.hpp"

namespace obxd {

/// The instances of a table by the hash of what a lookup compares, those with equal hashes by their numbers.
/// Instances that nobody has given a key yet are not in it.
using Lookup = std::set<std::pair<uint64_t, uint32_t>>;

/// A place that holds values: a single object, a multi-instance object (whose instances are nodes again), or
/// an instance.
struct Node {
    Schema* schema = nullptr;
    Node* parent = nullptr;
    uint32_t number = 0;                           ///< of an instance, else 0
    uint32_t order = 0;                            ///< place of an instance of an ordered object, from 1
    uint32_t max_instance = 0;                     ///< of a multi-instance object: highest number handed out
    std::vector<json_t*> values;                   ///< by parameter slot, owned
    std::vector<std::unique_ptr<Node>> objects;    ///< by object slot
    std::vector<std::unique_ptr<Node>> instances;  ///< of a multi-instance object, by ascending number
    std::vector<Lookup> lookups;                   ///< of a multi-instance object, as its schema has them

    Node(Schema* node_schema, Node* node_parent) : schema(node_schema), parent(node_parent) {}
    ~Node() {
        for (json_t* value : values) json_decref(value);
    }
    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;
};

enum class Pseudo : uint8_t { NONE, MAX_INSTANCE, ORDER, INDEX };

/// What a path names. `node` is the object itself or the parameter's or method's owner.
struct Target {
    Node* node = nullptr;
    Schema* schema = nullptr;  ///< the parameter or method, or null for an object
    Pseudo pseudo = Pseudo::NONE;

    bool is_object() const { return !schema && pseudo == Pseudo::NONE; }
    bool is_parameter() const {
        return (schema && schema->kind == Schema::PARAMETER) || pseudo != Pseudo::NONE;
    }
};

/// A place in the schema, as requests for attributes name it.
struct SchemaTarget {
    Schema* schema = nullptr;
    bool item = false;  ///< an instance or template of the multi-instance `schema`
    Pseudo pseudo = Pseudo::NONE;
    std::string path;      ///< in the wire's spelling
    Node* node = nullptr;  ///< of an object that holds values; null below a template or a method
};

/// A parameter whose values refer to objects, and the objects on the way to it from the top.
struct Reference {
    const Schema* parameter;
    std::vector<const Schema*> chain;
};

/// What holds a reference to something that is to go.
struct Referrer {
    Node* node;
    const Schema* parameter;
    Verdict verdict;
};

struct Store::Impl {
    Schema root;
    std::unique_ptr<Node> top;
    JsonRef pristine;  ///< the "values" member of the model file
    JsonRef max_attrs, order_attrs, index_attrs;
    std::vector<Reference> references;
    std::function<void(const Change&)> listener;
};
using Impl = Store::Impl;

// Faults (impl.cpp)
const char* fault_text(int code);
Answer fault(int code, std::string detail = {});

// The tree of values (tree.cpp)
std::unique_ptr<Node> node_new(Schema* schema, Node* parent, bool instance);
/// A new instance at the end (`number` 0: the next free one); null when the number is taken or none is left.
Node* instance_new(Node* table, uint32_t number);
Node* instance_find(const Node* table, uint32_t number);
/// Takes the instance out and closes the gap in the order.
std::unique_ptr<Node> instance_take(Node* table, Node* instance);
/// Moves an instance of an ordered object; `place` is 1 to the number of instances.
void instance_move(Node* instance, uint32_t place);
inline bool is_table(const Node* node) {
    return node->schema->multi && node->number == 0;
}
void node_path(const Node* node, std::string& out);
std::string node_path(const Node* node);
/// Takes over `value`. Every change of a value goes through here, so that lookups stay right.
void slot_set(Node* node, const Schema* parameter, json_t* value);
/// Puts the status that belongs to an "Enable" right. True when it was another one.
bool status_follow(Node* node, const Schema* enable);

// Paths (path.cpp)
/// What a path without "#template" names; false when nothing.
bool target_find(Impl& impl, std::string_view path, Target& target);
/// Calls `visit` with everything a path names, "#template" and "*" standing for every instance. False when
/// the model has no such name.
bool target_each(Impl& impl, std::string_view path,
                 const std::function<void(const Target&, const std::string& path)>& visit);
bool schema_find(Impl& impl, std::string_view path, SchemaTarget& target);
/// Cuts the last component off a path, down to "." for the top; false when there is none, or the text is no
/// path.
bool path_climb(std::string& path);

// Reading (read.cpp)
/// The present value of a parameter, borrowed; computed ones are refreshed. `path` may be null.
json_t* value_read(Node* node, const Schema* parameter, const std::string* path);
/// What a request is shown: hidden ones read as "". Borrowed.
json_t* value_shown(Node* node, const Schema* parameter, const std::string* path);
/// A new reference to a pseudo-parameter's value.
json_t* pseudo_value(const Target& target);
/// The values below an object as a nested object, without what `rank` may not read; a new reference.
json_t* config_tree(Node* node, int rank, const std::string& path);
/// The object (created where missing) at the parent of the path's last component inside a configuration
/// tree; `leaf` is the last component.
json_t* config_parent(json_t* tree, const std::string& path, std::string& leaf);

// Validation (validate.cpp)
/// Checks a value against a parameter's type and bounds: 0, or the fault code with `why` filled.
/// `node` is the owner (null: no check that depends on other values).
int value_check(Impl& impl, const Schema* parameter, const Node* node, const json_t* value, std::string& why);
/// The value in the form in which it is kept (an integer for a decimal becomes real, ...); a new reference.
json_t* value_normal(const Schema* parameter, json_t* value);
/// A text as a value of the parameter's type: 0, or the fault code with `why` filled.
int value_from_text(const Schema* parameter, const char* text, JsonRef& value, std::string& why);

// Telling others (read.cpp, write.cpp)
void hooks_run(const Schema* parameter, const std::string& path, json_t* value);
/// Tells of the places `from` to `to` of an ordered object.
void orders_tell(Impl& impl, Node* table, uint32_t from, uint32_t to);

// Unique keys (keys.cpp)
/// Takes an instance out of its table's lookups and puts it in again, around a change of `parameter` (null:
/// of all).
void lookups_leave(Node* instance, const Schema* parameter);
void lookups_enter(Node* instance, const Schema* parameter);
/// The first other instance (by number) with the same values of a key, or null: also while all of them are at
/// their defaults.
Node* key_rival(Node* instance, size_t key);
/// Whether an instance of the table has that alias.
bool alias_taken(const Node* table, const json_t* alias);
std::string key_names(const std::vector<Schema*>& key);
bool keys_fit(Impl& impl, Node* node, std::string& error);

// References (references.cpp)
/// Takes notice of a parameter of the model that may hold references.
void reference_note(Impl& impl, const Schema* parameter);
/// What refers to the instance of that path or to something below it.
std::vector<Referrer> referrers_of(Impl& impl, const std::string& deleted);
/// Empties the reference, or takes it out of the list; tells the listener.
void reference_clear(Impl& impl, const Referrer& referrer, const std::string& deleted);
/// Empties every reference to one of these instances (paths that end in ".") or to something below.
void references_forget(Impl& impl, const std::unordered_set<std::string_view>& gone);

// Configuration trees (snapshot.cpp)
/// Checks a tree of values against the schema, references left out. False with `error`.
bool tree_check(Impl& impl, const json_t* values, std::string& error);
/// Applies a checked tree. With `only_config`, to what requests can change and what the tree names; else to
/// everything, the model's initial values standing where the tree has none. `keep` names what is left alone.
void tree_apply(Impl& impl, const json_t* values, bool only_config, const std::vector<std::string>& keep);

}  // namespace obxd
