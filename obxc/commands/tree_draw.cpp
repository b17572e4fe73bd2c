#include "commands/tree_draw.hpp"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "commands/print.hpp"
#include "model/cache.hpp"
#include "model/current.hpp"
#include "model/node.hpp"
#include "model/resolve.hpp"
#include "ox_array.hpp"
#include "ox_out.hpp"
#include "ox_screen.hpp"
#include "ox_tr.hpp"
#include "session/interrupt.hpp"

namespace {

/// Branch states: one for each depth of the line being drawn.
enum TreeBranch : unsigned char {
    BRANCH_CONTINUES = 0,  ///< an ancestor continues below
    BRANCH_CHILD = 1,      ///< a child that is not the last
    BRANCH_LAST = 2,       ///< the last child
    BRANCH_BLANK = 3,      ///< below a last child
};
/// One drawn line.
struct TreeNode {
    const json_t* value;        ///< the node being drawn, borrowed
    const json_t* scheme;       ///< the matching schema node, borrowed, or null
    const char* name;           ///< the text drawn: the key, or the path for the root
    unsigned depth;             ///< 0 for the root
    unsigned printed_children;  ///< children drawn so far
    unsigned child_count;       ///< children that will be drawn
    size_t name_width;          ///< width to which the children's names are padded
    bool has_max_instance;      ///< a child key is "max_instance": it is drawn last
    unsigned char* branches;    ///< TREE_DEPTH_LIMIT states, shared by the whole tree
};

const char* const line_glyphs[] = {"│   ", "├── ", "└── ", "    "};
const char* const plain_glyphs[] = {"|   ", "|-- ", "|__ ", "    "};

/// What is known of one value of the drawn document. The entries stand in the order of a walk over the
/// document, so the entry behind a value's last descendant is its next sibling's. Emptiness is found once for
/// each value that way; asking at every level again would cost the depth times the size.
struct ValueEntry {
    uint32_t size : 30;      ///< entries of the value and all below it
    uint32_t empty : 1;      ///< an empty subtree
    uint32_t parameter : 1;  ///< its schema node is a parameter; known once its parent's leaves are drawn
};

/// One drawing: what is shared by all its lines.
struct Drawing : ox_held {
    ox_array<ValueEntry> entries = {};
    const char* const* glyphs = nullptr;
    unsigned char branches[TREE_DEPTH_LIMIT] = {};
    Drawing() : ox_held([](ox_held* self) { static_cast<Drawing*>(self)->~Drawing(); }) {}
    ~Drawing() { entries.clear(); }
};

bool is_attr(const char* key) {
    return !ox_tr_is_child(key) && strcmp(key, OX_TR_ATTR) == 0;
}

bool is_max_instance(const char* key, size_t length) {
    return std::string_view(key, length) == OX_TR_MAX_INSTANCE;
}

/// Adds the entries of a value and all below it; returns whether it is an empty subtree.
bool measure(Drawing* drawing, const json_t* value, unsigned depth) {
    size_t own = drawing->entries.size;
    drawing->entries.push({});
    bool empty = json_is_object(value);
    if (depth >= TREE_DEPTH_LIMIT) {
        empty = json_is_object_tree(value);  // too deep to be drawn
    } else {
        const char* key;
        json_t* member;
        json_object_foreach(const_cast<json_t*>(value), key, member) {
            bool member_empty =
                is_attr(key) ? json_is_object_tree(member) : measure(drawing, member, depth + 1);
            empty = empty && member_empty;
        }
    }
    drawing->entries[own].empty = empty & 1;
    drawing->entries[own].size = (drawing->entries.size - own) & 0x3FFFFFFF;
    return empty;
}

/// Fills the counters of a line whose value has the entry `own`. At the bound of the depth nothing below was
/// measured, and nothing is drawn.
void count_children(const Drawing* drawing, TreeNode* node, size_t own) {
    if (node->depth >= TREE_DEPTH_LIMIT) return;
    size_t at = own + 1;
    const char* key;
    size_t length;
    json_t* member;
    json_object_keylen_foreach(const_cast<json_t*>(node->value), key, length, member) {
        if (is_attr(key)) continue;
        if (!drawing->entries[at].empty) node->child_count++;
        if (!json_is_object(member)) {
            size_t size = ox_out_size(key, static_cast<long>(length));
            if (size > node->name_width) node->name_width = size;
        }
        at += drawing->entries[at].size;
    }
}

void draw_branches(const Drawing* drawing, TreeNode* parent) {
    unsigned char* state = parent->branches + parent->depth;
    *state = ++parent->printed_children < parent->child_count ? BRANCH_CHILD : BRANCH_LAST;
    for (unsigned depth = 0; depth <= parent->depth; depth++) {
        fputs(drawing->glyphs[parent->branches[depth]], stdout);
    }
    *state = *state == BRANCH_LAST ? BRANCH_BLANK : BRANCH_CONTINUES;
}

void draw_line(const Drawing* drawing, const TreeNode* node, TreeNode* parent) {
    if (node->depth > 0) draw_branches(drawing, parent);
    print_padded(node->name, strlen(node->name), parent->name_width);
    if (!json_is_object(node->value)) print_value(node->value, node->scheme);
    putc('\n', stdout);
    interrupt_point();
}

void tree_draw_node(Drawing* drawing, TreeNode* node, TreeNode* parent, size_t own);

void draw_child(Drawing* drawing, TreeNode* parent, const char* name, const json_t* value,
                const json_t* scheme, size_t own) {
    TreeNode child = {.value = value,
                      .scheme = scheme,
                      .name = name,
                      .depth = parent->depth + 1,
                      .branches = parent->branches};
    count_children(drawing, &child, own);
    tree_draw_node(drawing, &child, parent, own);
}

/// Draws the children whose schema node is a parameter, or all others.
void draw_children(Drawing* drawing, TreeNode* node, size_t own, bool parameters) {
    size_t at = own + 1;
    const char* key;
    size_t length;
    json_t* member;
    json_object_keylen_foreach(const_cast<json_t*>(node->value), key, length, member) {
        if (is_attr(key)) continue;
        size_t child = at;
        at += drawing->entries[child].size;
        if (is_max_instance(key, length)) {
            node->has_max_instance = true;
            continue;
        }
        if (drawing->entries[child].empty || (!parameters && drawing->entries[child].parameter)) continue;
        const json_t* scheme = node_child_find(node->scheme, key, length);
        if (parameters) drawing->entries[child].parameter = node_is_parameter(scheme) & 1;
        if (parameters == drawing->entries[child].parameter) {
            draw_child(drawing, node, key, member, scheme, child);
        }
    }
}

/// Where the entry of a member stands.
size_t member_entry(const Drawing* drawing, const TreeNode* node, size_t own, const json_t* wanted) {
    size_t at = own + 1;
    const char* key;
    json_t* member;
    json_object_foreach(const_cast<json_t*>(node->value), key, member) {
        if (member == wanted) break;
        if (!is_attr(key)) at += drawing->entries[at].size;
    }
    return at;
}

void draw_max_instance(Drawing* drawing, TreeNode* node, size_t own) {
    const char* name = OX_TR_MAX_INSTANCE;
    const json_t* value = json_object_get(node->value, name);
    const json_t* scheme = node_child_find(node->scheme, name, strlen(name));
    TreeNode child = {
        .value = value, .scheme = scheme, .name = name, .depth = node->depth + 1, .branches = node->branches};
    tree_draw_node(drawing, &child, node, member_entry(drawing, node, own, value));
}

void tree_draw_node(Drawing* drawing, TreeNode* node, TreeNode* parent, size_t own) {
    if (drawing->entries[own].empty) return;
    draw_line(drawing, node, parent);
    if (!json_is_object(node->value) || node->depth == TREE_DEPTH_LIMIT) return;
    draw_children(drawing, node, own, true);
    draw_children(drawing, node, own, false);
    if (node->has_max_instance) draw_max_instance(drawing, node, own);
}

}  // namespace

json_t* tree_descend(json_t* root, const char* path) {
    json_t* node = root;
    for (std::string_view component : ox_tr_components(path)) {
        json_t* child = node_child_find(node, component.data(), component.size());
        if (!child) break;
        node = child;
    }
    return node;
}

void tree_draw_root(const json_t* value, const json_t* scheme, const char* name) {
    Drawing drawing;
    drawing.glyphs = ox_rl_get_terminal_capabilities(nullptr)->line_drawing ? line_glyphs : plain_glyphs;
    measure(&drawing, value, 0);
    TreeNode root = {.value = value, .scheme = scheme, .name = name, .branches = drawing.branches};
    count_children(&drawing, &root, 0);
    tree_draw_node(&drawing, &root, &root, 0);
}
