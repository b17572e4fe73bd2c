// Descriptions of published documents as plain text.
//
// Paragraphs become lines of their own with an empty line between them, items of lists lines that begin with
// "* ", a number or blanks; quotes of markup go, and {{...}} is put into words.
#pragma once

#include <string>
#include <string_view>

#include "store/xml_facets.hpp"

namespace obxd {

/// What a description belongs to.
struct XmlSubject {
    const XmlDocument& document;
    const XmlTypes& types;
    std::string_view object;            ///< the object's name as it stands in the document
    std::string_view name;              ///< of a parameter, command or event; "" for the object itself
    const XmlMerged* merged = nullptr;  ///< of a parameter
    const XmlFacets* facets = nullptr;  ///< of a parameter
};

std::string xml_text_plain(const XmlSubject& subject, std::string_view text);

}  // namespace obxd
