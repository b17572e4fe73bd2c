#include "model/instance_fold.hpp"

#include <string.h>

#include "model/shared.hpp"
#include "ox_tr.hpp"

namespace {

enum : size_t { MEMBER_COST = 112, KNOWN_BYTES_MAX = 64 << 10, FREE_COST = size_t{32} << 20 };

void forget(InstanceText* text) {
    for (json_t* attributes : text->attributes) json_decref(attributes);
    text->attributes.size = 0;
    text->bytes.size = 0;
}

void release(InstanceText* text) {
    forget(text);
    text->attributes.clear();
    text->bytes.clear();
}

bool is_equal(const InstanceText& a, const InstanceText& b) {
    size_t count = a.attributes.size;
    if (a.bytes.size != b.bytes.size || count != b.attributes.size) return false;
    if (memcmp(a.bytes.data, b.bytes.data, a.bytes.size) != 0) return false;
    return memcmp(a.attributes.data, b.attributes.data, count * sizeof(json_t*)) == 0;
}

KnownInstance* find_known(InstanceFold* fold) {
    for (KnownInstance& known : fold->known) {
        if (known.node && is_equal(known.text, fold->open)) return &known;
    }
    return nullptr;
}

/// Adds the open instance's nodes to a tree whose root is the instance.
void add_nodes(InstanceFold* fold, NodeTree* tree) {
    const char* name = fold->open.bytes.data;
    for (json_t* attributes : fold->open.attributes) {
        node_tree_add(tree, name, attributes, fold->arrived);
        name += strlen(name) + 1;
    }
}

json_t* build(InstanceFold* fold) {
    NodeTree tree(nullptr);
    add_nodes(fold, &tree);
    json_object_set_new(tree.root, OX_TR_FETCHED, json_true());
    fold->cost += tree.cost;
    fold->full = fold->full || tree.full;
    return json_incref(tree.root);
}

/// Makes the open instance known, with its node (borrowed); its text goes there.
void remember(InstanceFold* fold, json_t* node) {
    if (fold->open.bytes.size > KNOWN_BYTES_MAX) return;
    KnownInstance* known = &fold->known[fold->next++ % KNOWN_INSTANCES];
    release(&known->text);
    json_decref(known->node);
    *known = {fold->open, json_incref(node)};
    fold->open = {};
}

/// More of an instance that was there before.
void merge(InstanceFold* fold, json_t* node) {
    for (KnownInstance& known : fold->known) {
        if (known.node != node) continue;
        json_decref(known.node);
        known.node = nullptr;
    }
    NodeTree tree(nullptr);
    json_decref(tree.root);
    tree.root = json_incref(node);
    add_nodes(fold, &tree);
    fold->cost += tree.cost;
    fold->full = fold->full || tree.full;
}

/// Adds what is known of the open instance, which is closed.
void add_open(InstanceFold* fold) {
    if (fold->key.size == 0) return;
    std::string_view key(fold->key.data, fold->key.size);
    fold->cost += MEMBER_COST + key.size();
    if (fold->cost > 2 * fold->arrived + FREE_COST) fold->full = true;
    json_t* before = fold->full ? nullptr : node_own_member(fold->instances, key);
    if (before) {
        merge(fold, before);
    } else if (!fold->full) {
        KnownInstance* known = find_known(fold);
        if (known) node_share(known->node);
        JsonRef node(known ? json_incref(known->node) : build(fold));
        if (!known) remember(fold, node);
        json_object_setn_new_nocheck(fold->instances, key.data(), key.size(), node.release());
    }
    forget(&fold->open);
    fold->key.size = 0;
}

/// Opens the instance of this key, unless it is open.
bool open_instance(InstanceFold* fold, std::string_view key) {
    bool same = fold->key.size == key.size() && memcmp(fold->key.data, key.data(), key.size()) == 0;
    if (same) return true;
    add_open(fold);
    return fold->key.append(key.data(), key.size());
}

void take(InstanceFold* fold, const ox_list_element* element) {
    const char* rest = element->name ? ox_tr_path_below(element->name, fold->base) : nullptr;
    if (!rest || fold->full) return;
    std::string_view key = *ox_tr_components(rest).begin();
    if (key.empty() || !ox_tr_is_child(key.data())) return;
    ++fold->elements;
    fold->arrived = element->arrived;
    if (!open_instance(fold, key)) return;
    const char* name = key.data() + key.size();
    InstanceText* open = &fold->open;
    if (open->bytes.size > KNOWN_BYTES_MAX) {
        add_open(fold);
        if (!fold->key.append(key.data(), key.size())) return;
    }
    if (!open->bytes.reserve(strlen(name) + 1) || !open->attributes.reserve(1)) return;
    open->bytes.append(name, strlen(name) + 1);
    json_t* attributes = json_incref(element->attributes);
    open->attributes.append(&attributes, 1);
}

void begin(InstanceFold* fold) {
    forget(&fold->open);
    fold->key.size = 0;
    json_object_clear(fold->instances);
    fold->elements = 0;
    fold->cost = 0;
    fold->full = false;
}

}  // namespace

InstanceFold::InstanceFold(const char* path)
    : ox_held([](ox_held* self) { static_cast<InstanceFold*>(self)->~InstanceFold(); }),
      instances(json_object()),
      base(path),
      key{},
      open{},
      known{},
      next(0),
      elements(0),
      cost(0),
      arrived(0),
      full(false) {}

InstanceFold::~InstanceFold() {
    json_decref(instances);
    key.clear();
    release(&open);
    for (KnownInstance& instance : known) {
        release(&instance.text);
        json_decref(instance.node);
    }
}

ox_list_taker instance_fold_taker(InstanceFold* fold) {
    return {[](void* context) { begin(static_cast<InstanceFold*>(context)); },
            [](void* context, const ox_list_element* element) {
                take(static_cast<InstanceFold*>(context), element);
            },
            fold};
}

json_t* instance_fold_take(InstanceFold* fold) {
    add_open(fold);
    json_t* instances = fold->instances;
    fold->instances = json_object();
    return instances;
}
