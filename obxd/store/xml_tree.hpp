// The objects of published documents as one tree: a root's, with the services' mounted into it.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "store/xml_facets.hpp"

namespace obxd {

/// A document that is mounted, with what is looked up in it.
struct XmlSource {
    const XmlDocument* document;
    XmlTypes types;
};

/// Parameters of one document for an object.
struct XmlPart {
    const XmlObject* object;
    const XmlSource* source;
};

struct XmlNode {
    std::string name;  ///< the last component: "Host"
    bool table = false;
    const XmlObject* object = nullptr;  ///< null: nobody describes it, but something below it
    const XmlSource* source = nullptr;
    std::vector<XmlPart> parts;  ///< parameters that belong to it and stand elsewhere: right in a model
    std::vector<std::unique_ptr<XmlNode>> children;
};

struct XmlTree {
    std::vector<std::unique_ptr<XmlSource>> sources;
    XmlNode top;                                      ///< its children are the root objects
    std::unordered_map<std::string, XmlNode*> nodes;  ///< by path: "Device.Hosts.Host"
};

/// Adds a document: the root's first, then those of services (documents without a root object), whose objects
/// go below "Services." of the first root object, or of "Device." where there is none. The document must
/// outlive the tree. False with `error` that names file and line.
bool xml_tree_add(XmlTree& tree, const XmlDocument& document, std::string& error);
/// The node of that path, made with all above it where it is missing.
XmlNode* xml_tree_node(XmlTree& tree, std::string_view path);

/// "FILE:LINE: " for what stands there.
std::string xml_where(const XmlSource& source, unsigned long line);

}  // namespace obxd
