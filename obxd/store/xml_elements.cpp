#include "xml_elements.hpp"

#include <algorithm>

namespace obxd {
namespace {

XmlSize size_of(const XmlAttributes& attributes) {
    return {std::string(attributes.token("minLength")), std::string(attributes.token("maxLength"))};
}

/// The names of a text in which they are separated by blanks.
std::vector<std::string> words_of(std::string_view text) {
    std::vector<std::string> words;
    while (!(text = xml_trim(text)).empty()) {
        size_t end = std::min(text.find_first_of(" \t\r\n"), text.size());
        words.emplace_back(text.substr(0, end));
        text.remove_prefix(end);
    }
    return words;
}

}  // namespace

void facet_used_type(const XmlAttributes& attributes, XmlFacets& facets) {
    std::string_view ref = attributes.token("ref");
    facets.base = ref.empty() ? attributes.token("base") : ref;
}

void facet_list(const XmlAttributes& attributes, XmlFacets& facets) {
    facets.kinds |= XML_LIST;
    facets.nested = attributes.token("nestedBrackets");
    facets.items = {std::string(attributes.token("minItems")), std::string(attributes.token("maxItems"))};
}

void facet_list_size(const XmlAttributes& attributes, XmlFacets& facets) {
    facets.kinds |= XML_LIST_SIZE;
    facets.list_sizes.push_back(size_of(attributes));
}

void facet_size(const XmlAttributes& attributes, XmlFacets& facets) {
    facets.kinds |= XML_SIZE;
    facets.sizes.push_back(size_of(attributes));
}

void facet_range(const XmlAttributes& attributes, XmlFacets& facets) {
    facets.kinds |= XML_RANGE;
    facets.ranges.push_back({std::string(attributes.token("minInclusive")),
                             std::string(attributes.token("maxInclusive")),
                             std::string(attributes.token("step"))});
}

void facet_pattern(const XmlAttributes& attributes, XmlFacets& facets) {
    const char* value = attributes.find("value");
    facets.kinds |= XML_PATTERN;
    facets.patterns.emplace_back(value ? value : "");
}

void facet_choice(const XmlAttributes& attributes, XmlFacets& facets) {
    const char* value = attributes.find("value");
    facets.kinds |= XML_CHOICE;
    XmlChoice& choice = facets.choices.emplace_back();
    choice.value = value ? value : "";
    choice.read_only = attributes.token("access") == "readOnly";
    choice.optional = xml_is_true(attributes.token("optional"));
    choice.status = attributes.token("status");
}

void facet_units(const XmlAttributes& attributes, XmlFacets& facets) {
    facets.kinds |= XML_UNITS;
    facets.units = attributes.token("value");
}

void facet_choices_from(const XmlAttributes& attributes, XmlFacets& facets) {
    facets.kinds |= XML_CHOICES_FROM;
    facets.choices_from = attributes.token("targetParam");
    facets.choices_scope = attributes.token("targetParamScope");
    const char* null_value = attributes.find("nullValue");
    facets.has_null_value = null_value != nullptr;
    facets.null_value = null_value ? null_value : "";
}

void facet_path_ref(const XmlAttributes& attributes, XmlFacets& facets) {
    facets.kinds |= XML_PATH_REF;
    facets.weak = attributes.token("refType") == "weak";
    facets.targets = words_of(attributes.token("targetParent"));
    facets.target_scope = attributes.token("targetParentScope");
    facets.target_type = attributes.token("targetType");
    facets.target_data_type = attributes.token("targetDataType");
}

void facet_default(const XmlAttributes& attributes, XmlFacets& facets) {
    const char* value = attributes.find("value");
    facets.kinds |= XML_DEFAULT;
    facets.initial = value ? value : "";
    facets.initial_type = attributes.token("type");
}

}  // namespace obxd
