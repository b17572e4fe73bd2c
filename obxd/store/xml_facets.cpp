#include "xml_facets.hpp"

#include <errno.h>
#include <math.h>
#include <stdlib.h>

#include <algorithm>
#include <iterator>

#include "store/xml_reader.hpp"

namespace obxd {
namespace {

constexpr int MAX_BASES = 16;

/// Data types of the documents that the wire has a type of its own for.
constexpr const char* WIRE_TYPES[] = {"IPAddress", "IPPrefix", "MACAddress", "URL", "Alias", "UUID"};

bool is_wire_type(std::string_view name) {
    return std::any_of(std::begin(WIRE_TYPES), std::end(WIRE_TYPES),
                       [name](const char* type) { return name == type; });
}

void take(const XmlFacets*& slot, const XmlFacets& facets, uint16_t kind) {
    if (!slot && (facets.kinds & kind)) slot = &facets;
}

/// Adds what one member of the chain says, nearest first.
void merge_one(XmlMerged& merged, const XmlFacets& facets) {
    if (facets.kinds & XML_LIST) {
        if (!merged.list)
            merged.list = &facets;
        else if (!merged.inner)
            merged.inner = &facets;
    }
    take(merged.list_sizes, facets, XML_LIST_SIZE);
    take(merged.sizes, facets, XML_SIZE);
    take(merged.ranges, facets, XML_RANGE);
    take(merged.patterns, facets, XML_PATTERN);
    take(merged.choices, facets, XML_CHOICE);
    take(merged.choices_from, facets, XML_CHOICES_FROM);
    take(merged.path_ref, facets, XML_PATH_REF);
    take(merged.units, facets, XML_UNITS);
}

/// The type of the values: the wire's own for addresses and the like, else the primitive one. What is no text
/// refers to nothing.
void type_settle(XmlMerged& merged, std::string_view wire_type) {
    if (merged.primitive != "string") merged.path_ref = nullptr;
    if (merged.path_ref)
        merged.type = OX_TR_PATH_REF;
    else if (!wire_type.empty() && merged.primitive == "string")
        merged.type = ox_tr_dm_type_parse(std::string(wire_type).c_str());
    else
        merged.type = ox_tr_dm_type_parse(std::string(merged.primitive).c_str());
    if (merged.type != OX_TR_IP_ADDRESS && merged.type != OX_TR_IP_PREFIX) merged.family = 0;
}

/// A bound of an integer; one beyond JSON's integers is none.
bool integer_read(const std::string& text, json_int_t& bound, bool& has, std::string& why) {
    if (text.empty()) return true;
    char* end = nullptr;
    errno = 0;
    bound = strtoll(text.c_str(), &end, 10);
    has = errno == 0;
    if (!*end) return true;
    why = "\"" + text + "\" is no integer";
    return false;
}

bool decimal_read(const std::string& text, double& bound, bool& has, std::string& why) {
    if (text.empty()) return true;
    char* end = nullptr;
    bound = strtod(text.c_str(), &end);
    has = true;
    if (!*end && isfinite(bound)) return true;
    why = "\"" + text + "\" is no number";
    return false;
}

bool ranges_read(const XmlMerged& merged, Limits& limits, std::string& why) {
    if (!merged.ranges) return true;
    bool has_step;
    for (const XmlRange& given : merged.ranges->ranges) {
        if (limits.type == OX_TR_DECIMAL) {
            DecimalRange& range = limits.decimal_ranges.emplace_back();
            if (!decimal_read(given.min, range.min, range.has_min, why) ||
                !decimal_read(given.max, range.max, range.has_max, why) ||
                !decimal_read(given.step, range.step, has_step, why))
                return false;
        } else if (type_is_integer(limits.type)) {
            IntegerRange& range = limits.ranges.emplace_back();
            if (!integer_read(given.min, range.min, range.has_min, why) ||
                !integer_read(given.max, range.max, range.has_max, why) ||
                !integer_read(given.step, range.step, has_step, why))
                return false;
        }
    }
    return true;
}

bool size_read(const std::string& min, const std::string& max, Size& size, std::string& why) {
    bool has_min = false, has_max = false;
    if (!integer_read(min, size.min, has_min, why)) return false;
    if (max == "unbounded") return true;
    json_int_t most = 0;
    if (!integer_read(max, most, has_max, why)) return false;
    if (has_max) size.max = most;
    return true;
}

bool sizes_read(const std::vector<XmlSize>& given, std::vector<Size>& sizes, std::string& why) {
    for (const XmlSize& one : given) {
        Size size;
        if (!size_read(one.min, one.max, size, why)) return false;
        sizes.push_back(size);
    }
    return true;
}

Brackets brackets_of(std::string_view text) {
    if (text == "required") return Brackets::REQUIRED;
    return text == "prohibited" ? Brackets::PROHIBITED : Brackets::LEGACY;
}

void references_read(const XmlMerged& merged, Limits& limits) {
    if (const XmlFacets* from = merged.choices_from) {
        bool model = from->choices_scope == "model" && !from->choices_from.starts_with('.');
        limits.from = (model ? "." : "") + from->choices_from;
        if (from->has_null_value) limits.null_value = from->null_value;
    }
    const XmlFacets* path_ref = merged.path_ref;
    if (!path_ref) return;
    for (const std::string& target : path_ref->targets) {
        bool model = path_ref->target_scope == "model" && !target.starts_with('.');
        limits.targets.push_back((model ? "." : "") + target);
    }
    constexpr struct {
        const char* text;
        TargetType type;
    } TARGETS[] = {{"row", TargetType::ROW},
                   {"single", TargetType::SINGLE},
                   {"object", TargetType::OBJECT},
                   {"table", TargetType::OBJECT},
                   {"parameter", TargetType::PARAMETER}};
    for (const auto& row : TARGETS)
        if (path_ref->target_type == row.text) limits.target_type = row.type;
    limits.target_data_type = path_ref->target_data_type;
    limits.weak = path_ref->weak;
}

void choices_read(const XmlMerged& merged, bool show_all, const XmlDescribe& describe, Limits& limits) {
    for (const XmlChoice& given : merged.choices->choices) {
        Status status = xml_status(given.status);
        if (status == Status::DELETED && !show_all) continue;
        Choice& choice = limits.choices.emplace_back();
        choice.value.reset(json_string(given.value.c_str()));
        choice.description = describe(given.description);
        choice.status = status;
        choice.read_only = given.read_only;
        choice.optional = given.optional;
    }
}

/// What is said of a value, or of each item of a list.
bool items_read(const XmlMerged& merged, bool show_all, const XmlDescribe& describe, Limits& limits,
                std::string& why) {
    limits.type = merged.type;
    limits.family = merged.family;
    if (!ranges_read(merged, limits, why)) return false;
    if (merged.sizes && !sizes_read(merged.sizes->sizes, limits.sizes, why)) return false;
    if (merged.patterns)
        for (const std::string& pattern : merged.patterns->patterns)
            limits.patterns.push_back({pattern, Syntax::XML_SCHEMA, nullptr});
    if (merged.choices) choices_read(merged, show_all, describe, limits);
    references_read(merged, limits);
    return true;
}

/// Without the one pair of brackets that holds the whole list. Of a list of lists "[1,2]" is an item.
std::string_view brackets_drop(std::string_view text, bool items_have_brackets) {
    if (text.empty() || text.front() != '[') return text;
    int depth = 0;
    size_t end = 0;
    for (; end < text.size(); end++) {
        if (text[end] == '[') depth++;
        if (text[end] == ']' && --depth == 0) break;
    }
    if (end + 1 != text.size()) return text;
    std::string_view inside = xml_trim(text.substr(1, end - 1));
    bool is_item = items_have_brackets && !inside.empty() && inside.front() != '[';
    return is_item ? text : inside;
}

}  // namespace

XmlTypes xml_types(const XmlDocument& document) {
    XmlTypes types;
    for (const XmlType& type : document.types) types.emplace(type.name, &type);
    return types;
}

bool xml_merge(const XmlTypes& types, const XmlFacets& facets, XmlMerged& merged, std::string& why) {
    merged.named = facets.base;
    std::string_view wire_type;
    const XmlFacets* at = &facets;
    merge_one(merged, facets);
    for (int depth = 0; at->type.empty() && !at->base.empty(); depth++) {
        auto found = types.find(at->base);
        if (found == types.end() || depth == MAX_BASES) {
            why = found == types.end() ? "there is no data type \"" + at->base + "\""
                                       : "data type \"" + at->base + "\" has no end of bases";
            return false;
        }
        if (wire_type.empty() && is_wire_type(at->base)) wire_type = at->base;
        if (!merged.family) merged.family = type_family(at->base);
        at = &found->second->facets;
        merge_one(merged, *at);
    }
    if (!at->type.empty()) merged.primitive = at->type;
    type_settle(merged, wire_type);
    return true;
}

std::string xml_type_text(const XmlMerged& merged, const XmlFacets& facets) {
    std::string text(merged.named);
    if (text.empty()) text = merged.path_ref ? "pathRef" : merged.primitive;
    return facets.kinds & XML_LIST ? text + "[]" : text;
}

bool xml_limits(const XmlMerged& merged, bool show_all, const XmlDescribe& describe, Limits& limits,
                std::string& why) {
    if (!items_read(merged, show_all, describe, limits, why)) return false;
    if (!merged.list) return true;
    if (merged.inner) {
        auto inner = std::make_shared<Limits>();
        inner->list = true;
        if (!items_read(merged, show_all, describe, *inner, why) ||
            !size_read(merged.inner->items.min, merged.inner->items.max, inner->items, why) ||
            !limits_finish(*inner, why))
            return false;
        limits.inner = std::move(inner);
    }
    limits.list = true;
    limits.brackets = brackets_of(merged.list->nested);
    if (!size_read(merged.list->items.min, merged.list->items.max, limits.items, why)) return false;
    return !merged.list_sizes || sizes_read(merged.list_sizes->list_sizes, limits.list_sizes, why);
}

json_t* xml_initial(const Limits& limits, std::string text) {
    if (limits.list) {
        std::string_view whole = brackets_drop(xml_trim(text), limits.inner != nullptr);
        return json_stringn(whole.empty() ? "" : whole.data(), whole.size());
    }
    std::string word(xml_trim(text));
    if (type_is_boolean(limits.type)) {
        if (word == "true" || word == "1") return json_true();
        return word == "false" || word == "0" ? json_false() : nullptr;
    }
    char* end = nullptr;
    errno = 0;
    if (type_is_integer(limits.type)) {
        json_int_t number = strtoll(word.c_str(), &end, 10);
        return word.empty() || *end || errno ? nullptr : json_integer(number);
    }
    if (limits.type == OX_TR_DECIMAL) {
        double number = strtod(word.c_str(), &end);
        return word.empty() || *end || !isfinite(number) ? nullptr : json_real(number);
    }
    return json_string(text.c_str());
}

Status xml_status(std::string_view text) {
    if (text == "deleted") return Status::DELETED;
    if (text == "obsoleted") return Status::OBSOLETED;
    return text == "deprecated" ? Status::DEPRECATED : Status::CURRENT;
}

}  // namespace obxd
