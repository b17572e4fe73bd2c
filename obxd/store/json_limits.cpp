#include "json_limits.hpp"

#include <string.h>

#include <algorithm>
#include <iterator>

#include "store/json_members.hpp"

namespace obxd {
namespace {

/// The built-in type texts.
const char* const TYPES[] = {"string",       "boolean",  "int",        "unsignedInt", "long",
                             "unsignedLong", "decimal",  "dateTime",   "base64",      "hexBinary",
                             "IPAddress",    "IPPrefix", "MACAddress", "URL",         "Alias",
                             "UUID",         "list",     "json",       "pathRef",     "flag"};

struct Reader {
    Model& model;
    const json_t* types;
    std::string& why;

    bool fail(const std::string& text) const {
        why = text;
        return false;
    }

    /// Follows named data types down to a built-in one (a "TYPE[]" is a list with these items), adding their
    /// members that `merged` does not have. Null with `why`.
    const char* base_type(const char* type, json_t* merged, uint8_t& family) const {
        for (int depth = 0; depth < 8; depth++) {
            if (std::any_of(std::begin(TYPES), std::end(TYPES),
                            [type](const char* t) { return strcmp(t, type) == 0; }))
                return type;
            if (std::string_view(type).ends_with("[]")) {
                if (json_object_get(merged, "items")) {
                    fail(std::string("\"items\" beside ") + type);
                    return nullptr;
                }
                json_object_set_new(merged, "items", json_stringn(type, strlen(type) - 2));
                return "list";
            }
            if (!family) family = type_family(type);
            json_t* definition = json_object_get(types, type);
            const char* base = member_text(definition, "type");
            if (!base) break;
            if (!members_check(definition, why)) return nullptr;
            json_object_update_missing(merged, definition);
            type = base;
        }
        fail(std::string("no such type \"") + type + "\"");
        return nullptr;
    }

    /// The members of an array of objects with these members alone, all of them numbers.
    bool rows_check(const json_t* rows, const char* name, std::initializer_list<const char*> members) const {
        for (size_t i = 0; i < json_array_size(rows); i++) {
            json_t* row = json_array_get(rows, i);
            const char* key;
            json_t* value;
            bool fine = json_is_object(row);
            json_object_foreach(row, key, value) {
                auto same = [key](const char* member) { return strcmp(member, key) == 0; };
                fine &= json_is_number(value) && std::any_of(members.begin(), members.end(), same);
            }
            if (!fine) return fail(std::string("\"") + name + "\" is an array of objects of numbers");
        }
        return true;
    }

    /// A bound that JSON has no integers beyond is the type's own.
    static bool is_bound(const json_t* value) {
        return value && (!json_is_integer(value) || json_integer_value(value) != INT64_MAX);
    }

    template <typename Number>
    static Range<Number> range_of(const json_t* min, const json_t* max, const json_t* step) {
        auto number = [](const json_t* value) {
            return json_is_integer(value) ? static_cast<Number>(json_integer_value(value))
                                          : static_cast<Number>(json_real_value(value));
        };
        return {number(min), number(max), min != nullptr, is_bound(max), number(step)};
    }

    template <typename Number>
    static void ranges_read(const json_t* given, std::vector<Range<Number>>& ranges) {
        const json_t* rows = json_object_get(given, "ranges");
        for (size_t i = 0; i < json_array_size(rows); i++) {
            const json_t* row = json_array_get(rows, i);
            ranges.push_back(range_of<Number>(json_object_get(row, "min"), json_object_get(row, "max"),
                                              json_object_get(row, "step")));
        }
        const json_t *min = json_object_get(given, "minInclusive"),
                     *max = json_object_get(given, "maxInclusive");
        if (!rows && (min || max)) ranges.push_back(range_of<Number>(min, max, nullptr));
    }

    static Size size_of(const json_t* min, const json_t* max) {
        return {json_integer_value(min), max ? json_integer_value(max) : -1};
    }

    static void sizes_read(const json_t* given, const char* name, std::vector<Size>& sizes) {
        const json_t* rows = json_object_get(given, name);
        for (size_t i = 0; i < json_array_size(rows); i++) {
            const json_t* row = json_array_get(rows, i);
            sizes.push_back(size_of(json_object_get(row, "min"), json_object_get(row, "max")));
        }
    }

    bool bounds_read(const json_t* given, Limits& limits) const {
        if (!rows_check(json_object_get(given, "ranges"), "ranges", {"min", "max", "step"}) ||
            !rows_check(json_object_get(given, "sizes"), "sizes", {"min", "max"}) ||
            !rows_check(json_object_get(given, "listSizes"), "listSizes", {"min", "max"}))
            return false;
        if (limits.type == OX_TR_DECIMAL)
            ranges_read(given, limits.decimal_ranges);
        else
            ranges_read(given, limits.ranges);
        sizes_read(given, "sizes", limits.sizes);
        sizes_read(given, "listSizes", limits.list_sizes);
        const json_t *min = json_object_get(given, "minLength"), *max = json_object_get(given, "maxLength");
        if (limits.sizes.empty() && (min || max)) limits.sizes.push_back(size_of(min, max));
        limits.items = size_of(json_object_get(given, "minCount"), json_object_get(given, "maxCount"));
        return true;
    }

    bool choices_read(const json_t* list, Limits& limits) const {
        for (size_t i = 0; i < json_array_size(list); i++) {
            json_t* entry = json_array_get(list, i);
            Choice choice;
            choice.value.reset(json_incref(entry));
            if (json_is_object(entry)) {
                choice.value.reset(json_incref(json_object_get(entry, "value")));
                const char* description = member_text(entry, "description");
                choice.description = model.texts.keep(description ? description : "");
                const char* access = member_text(entry, "access");
                choice.read_only = access && strcmp(access, "readOnly") == 0;
                choice.optional = member_flag(entry, "optional");
                if (!choice.value || !status_parse(member_text(entry, "status"), choice.status))
                    return fail("\"enum\" holds what has no \"value\", or a bad \"status\"");
                if (choice.status == Status::DELETED && !model.show_all) continue;
            }
            limits.choices.push_back(std::move(choice));
        }
        return true;
    }

    bool patterns_read(const json_t* given, Limits& limits) const {
        if (const char* regex = member_text(given, "regex"))
            limits.patterns.push_back({regex, Syntax::POSIX, nullptr});
        const json_t* list = json_object_get(given, "patterns");
        for (size_t i = 0; i < json_array_size(list); i++) {
            const char* text = json_string_value(json_array_get(list, i));
            if (!text) return fail("\"patterns\" is an array of texts");
            limits.patterns.push_back({text, Syntax::XML_SCHEMA, nullptr});
        }
        return true;
    }

    bool references_read(const json_t* given, Limits& limits) const {
        if (const char* from = member_text(given, "from")) limits.from = from;
        if (const char* none = member_text(given, "nullValue")) limits.null_value = none;
        if (const char* targets = member_text(given, "foreign_key")) limits.targets = targets_split(targets);
        limits.weak = member_flag(given, "weak");
        if (const char* type = member_text(given, "targetDataType")) limits.target_data_type = type;
        const char* target = member_text(given, "target");
        static const char* const WORDS[] = {"any", "object", "row", "single", "parameter"};
        auto word = std::find_if(std::begin(WORDS), std::end(WORDS),
                                 [target](const char* w) { return target && strcmp(w, target) == 0; });
        if (word != std::end(WORDS)) limits.target_type = static_cast<TargetType>(word - WORDS);
        return !target || word != std::end(WORDS) ||
               fail("\"target\" is \"any\", \"object\", \"row\", \"single\" or \"parameter\"");
    }

    bool brackets_read(const json_t* given, Limits& limits) const {
        const char* text = member_text(given, "brackets");
        if (!text || strcmp(text, "legacy") == 0) return true;
        limits.brackets = Brackets::REQUIRED;
        if (strcmp(text, "required") == 0) return true;
        limits.brackets = Brackets::PROHIBITED;
        return strcmp(text, "prohibited") == 0 ||
               fail("\"brackets\" is \"legacy\", \"required\" or \"prohibited\"");
    }

    /// The items of a list: their type's members are the list's, but for those that are about lists.
    bool items_read(json_t* given, Limits& limits) const {
        static const char* const OF_LIST[] = {"minCount", "maxCount", "listSizes", "brackets", "items"};
        const char* items = member_text(given, "items");
        JsonRef own(json_object());
        json_object_set_new(own, "type", json_string(items ? items : "string"));
        JsonRef kept(json_copy(given));
        for (const char* name : OF_LIST) json_object_del(kept, name);
        json_object_update_missing(own, kept);
        auto inner = std::make_shared<Limits>();
        if (!read(own, *inner)) return false;
        if (inner->type == OX_TR_JSON) return fail("a list holds no JSON");
        limits.type = inner->type;
        limits.family = inner->family;
        for (const char* name : OF_LIST) json_object_del(own, name);
        json_object_update_missing(given, own);
        if (inner->list) limits.inner = std::move(inner);
        return true;
    }

    bool read(json_t* given, Limits& limits) const {
        const char* base = base_type(member_text(given, "type"), given, limits.family);
        if (!base) return false;
        limits.type = ox_tr_dm_type_parse(base);
        limits.list = limits.type == OX_TR_LIST;
        if (limits.list && !items_read(given, limits)) return false;
        const char* standard = member_text(given, "default");
        if (standard && !*standard) limits.taken.reset(json_string(""));
        // A published one is never refused.
        DefaultKind kind;
        default_kind_parse(member_text(given, "defaultType"), kind);
        if (kind != DefaultKind::NONE && kind != DefaultKind::MADE)
            limits.taken.reset(json_incref(json_object_get(given, "default")));
        return bounds_read(given, limits) && choices_read(json_object_get(given, "enum"), limits) &&
               patterns_read(given, limits) && references_read(given, limits) && brackets_read(given, limits);
    }
};

}  // namespace

bool json_limits_read(Model& model, const json_t* types, json_t* given, Limits& limits, std::string& why) {
    return Reader{model, types, why}.read(given, limits);
}

}  // namespace obxd
