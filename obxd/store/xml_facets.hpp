// What a parameter's syntax comes to, once the data types that it names are followed.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "store/limits.hpp"
#include "store/xml_document.hpp"

namespace obxd {

/// The data types of a document by name; it must outlive this.
using XmlTypes = std::unordered_map<std::string_view, const XmlType*>;
XmlTypes xml_types(const XmlDocument& document);

/// The statements that hold for a parameter: of each kind the nearest ones, its own before those of its type.
/// Null where nobody says anything.
struct XmlMerged {
    const XmlFacets* list = nullptr;
    const XmlFacets* inner = nullptr;  ///< of a list of lists: the inner one
    const XmlFacets *list_sizes = nullptr, *sizes = nullptr, *ranges = nullptr, *patterns = nullptr;
    const XmlFacets *choices = nullptr, *choices_from = nullptr, *path_ref = nullptr, *units = nullptr;
    std::string_view primitive = "string";
    std::string_view named;  ///< the data type that is used, or ""
    int type = OX_TR_STRING;
    uint8_t family = 0;  ///< as Limits has it
};

/// False with `why` when a type is named that the document lacks, or types are based on each other in a ring.
bool xml_merge(const XmlTypes& types, const XmlFacets& facets, XmlMerged& merged, std::string& why);

/// The type's text as clients see it: "unsignedInt", "StatsCounter32", "string[]", ...
std::string xml_type_text(const XmlMerged& merged, const XmlFacets& facets);
/// Makes the description of a choice a text of the model; null for none.
using XmlDescribe = std::function<const char*(const std::string&)>;
/// What that bounds, choices that were deleted left out unless `show_all`. False with `why` for a
/// bound that is no number.
bool xml_limits(const XmlMerged& merged, bool show_all, const XmlDescribe& describe, Limits& limits,
                std::string& why);
/// The value that a default's text means for such a parameter, brackets around a list dropped: a new
/// reference; null when it means none.
json_t* xml_initial(const Limits& limits, std::string text);

Status xml_status(std::string_view text);

}  // namespace obxd
