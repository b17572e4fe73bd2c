// Reading a published data model document into records.
#pragma once

#include <string>

#include "store/xml_document.hpp"

namespace obxd {

/// Fills an empty document from a file. Elements that are not known, and what stands in foreign namespaces,
/// is passed over. False with `error` ("FILE:LINE: why") when the file is broken, is no data model, or is not
/// flattened: it imports others, uses components or is based on another model.
bool xml_document_read(const std::string& file, XmlDocument& document, std::string& error);

/// Whether an element of that name is a value type of the documents: "string", "unsignedInt", ...
bool xml_is_primitive(std::string_view name);

}  // namespace obxd
