// The elements of a syntax or a data type, each with the statement that it makes.
#pragma once

#include "store/xml_document.hpp"
#include "store/xml_reader.hpp"

namespace obxd {

/// Each adds what its element's attributes say.
void facet_used_type(const XmlAttributes& attributes, XmlFacets& facets);
void facet_list(const XmlAttributes& attributes, XmlFacets& facets);
void facet_list_size(const XmlAttributes& attributes, XmlFacets& facets);
void facet_size(const XmlAttributes& attributes, XmlFacets& facets);
void facet_range(const XmlAttributes& attributes, XmlFacets& facets);
void facet_pattern(const XmlAttributes& attributes, XmlFacets& facets);
void facet_choice(const XmlAttributes& attributes, XmlFacets& facets);
void facet_units(const XmlAttributes& attributes, XmlFacets& facets);
void facet_choices_from(const XmlAttributes& attributes, XmlFacets& facets);
void facet_path_ref(const XmlAttributes& attributes, XmlFacets& facets);
void facet_default(const XmlAttributes& attributes, XmlFacets& facets);

}  // namespace obxd
