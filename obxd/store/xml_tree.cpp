#include "xml_tree.hpp"

namespace obxd {
namespace {

constexpr std::string_view INSTANCE = "{i}";
/// Where services are mounted, and the root whose they are where the documents have none.
constexpr const char *SERVICES = ".Services", *ROOT = "Device";

/// The path of an object's name: without instances and the final ".". False when it is none.
bool path_read(std::string_view name, std::string& path, bool& table) {
    while (name.starts_with('.')) name.remove_prefix(1);
    path.clear();
    table = false;
    while (!name.empty()) {
        size_t end = std::min(name.find('.'), name.size());
        std::string_view part = name.substr(0, end);
        if (part.empty() || (part == INSTANCE && (path.empty() || table))) return false;
        table = part == INSTANCE;
        if (!table) (path += path.empty() ? "" : ".") += part;
        name.remove_prefix(std::min(end + 1, name.size()));
    }
    return !path.empty();
}

/// The same with the place where a service is mounted in front.
std::string mounted(const std::string& mount, const std::string& path) {
    size_t root = mount.find('.');
    bool whole = mount.empty() || path.compare(0, root + 1, mount, 0, root + 1) == 0;
    return whole ? path : mount + "." + path;
}

bool fail(const XmlSource& source, const XmlObject& object, const std::string& what, std::string& error) {
    error = xml_where(source, object.line) + what;
    return false;
}

bool object_add(XmlTree& tree, const XmlSource& source, const std::string& mount, const XmlObject& object,
                std::string& error) {
    std::string path;
    bool table;
    if (!path_read(object.name, path, table))
        return fail(source, object, "bad name \"" + object.name + "\"", error);
    XmlNode* node = xml_tree_node(tree, mounted(mount, path));
    if (node->object) return fail(source, object, "\"" + object.name + "\" stands twice", error);
    node->object = &object;
    node->source = &source;
    node->table = node->table || table;
    return true;
}

/// Names below a table that nobody describes make it one all the same.
void tables_mark(XmlTree& tree, const std::string& mount, const XmlObject& object) {
    for (size_t at = object.name.find(INSTANCE); at != std::string::npos;
         at = object.name.find(INSTANCE, at + 1)) {
        std::string path;
        bool table;
        if (path_read(std::string_view(object.name).substr(0, at + INSTANCE.size()), path, table))
            xml_tree_node(tree, mounted(mount, path))->table = true;
    }
}

/// Whether a document describes a root object, one that no table's instance is.
bool has_root(const XmlDocument& document) {
    std::string path;
    bool table;
    for (const XmlObject& object : document.objects)
        if (path_read(object.name, path, table) && !table && path.find('.') == std::string::npos) return true;
    return false;
}

}  // namespace

bool xml_tree_add(XmlTree& tree, const XmlDocument& document, std::string& error) {
    std::string mount;
    if (!has_root(document))
        mount = (tree.top.children.empty() ? ROOT : tree.top.children.front()->name) + SERVICES;
    tree.sources.push_back(std::make_unique<XmlSource>(XmlSource{&document, xml_types(document)}));
    const XmlSource& source = *tree.sources.back();
    for (const XmlObject& object : document.objects) {
        if (!object_add(tree, source, mount, object, error)) return false;
        tables_mark(tree, mount, object);
    }
    if (!document.top.parameters.empty()) {
        XmlNode* node = mount.empty() ? &tree.top : xml_tree_node(tree, mount);
        node->parts.push_back({&document.top, &source});
    }
    return true;
}

XmlNode* xml_tree_node(XmlTree& tree, std::string_view path) {
    if (path.empty()) return &tree.top;
    XmlNode*& node = tree.nodes[std::string(path)];
    if (node) return node;
    size_t dot = path.rfind('.');
    XmlNode* parent = xml_tree_node(tree, path.substr(0, dot == std::string_view::npos ? 0 : dot));
    auto fresh = std::make_unique<XmlNode>();
    fresh->name = path.substr(dot == std::string_view::npos ? 0 : dot + 1);
    XmlNode* made = fresh.get();
    parent->children.push_back(std::move(fresh));
    return tree.nodes[std::string(path)] = made;
}

std::string xml_where(const XmlSource& source, unsigned long line) {
    return source.document->file + ":" + std::to_string(line) + ": ";
}

}  // namespace obxd
