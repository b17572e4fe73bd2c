#include <stdlib.h>
#include <string.h>

#include "ox_str.hpp"
#include "ox_tr_list.hpp"
#include "ox_tr_names.hpp"
#include "ox_tr_node.hpp"
#include "ox_tr_page.hpp"
#include "ox_tr_path.hpp"

namespace {

enum { VALUE_COLUMN = 12, NARROWEST = 20 };

struct Page {
    ox_str text;
    size_t columns;  // of the screen
    size_t indent;   // of the rows that a text goes on in
    size_t column;   // behind what stands on the row
};

size_t columns_of(const char* text, size_t size) {
    size_t columns = 0;
    for (size_t i = 0; i < size; ++i) columns += (static_cast<unsigned char>(text[i]) & 0xC0) != 0x80;
    return columns;
}

void add(Page* page, const char* text, size_t size) {
    ox_str_add_n(&page->text, text, size);
    page->column += columns_of(text, size);
}

void fill_to(Page* page, size_t column) {
    while (page->column < column) add(page, " ", 1);
}

void end_row(Page* page) {
    ox_str_add_n(&page->text, "\n", 1);
    page->column = 0;
}

/// Adds a word, with a blank in front of it unless it is the first one of its row.
void add_word(Page* page, const char* word, size_t size) {
    bool first = page->column <= page->indent;
    if (!first && page->column + 1 + columns_of(word, size) > page->columns) {
        end_row(page);
        first = true;
    }
    fill_to(page, first ? page->indent : page->column + 1);
    add(page, word, size);
}

/// Adds a text word by word; each newline in it ends a row.
void add_text(Page* page, const char* text) {
    for (;;) {
        size_t size = strcspn(text, " \t\r\n");
        if (size > 0) add_word(page, text, size);
        text += size;
        if (*text == '\0') return;
        if (*text++ == '\n') end_row(page);
    }
}

void begin_row(Page* page, const char* label) {
    page->indent = VALUE_COLUMN;
    add(page, "  ", 2);
    add(page, label, strlen(label));
    fill_to(page, VALUE_COLUMN);
}

void add_row(Page* page, const char* label, const char* text) {
    if (!text || *text == '\0') return;
    begin_row(page, label);
    add_text(page, text);
    end_row(page);
}

/// A text that is put together.
class Text {
public:
    Text() : text_{} {}
    ~Text() { text_.clear(); }
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;

    void add(const char* text) { ox_str_add(&text_, text); }
    /// Begins an item of a list.
    void next(const char* separator) {
        if (ox_str_length(&text_) > 0) add(separator);
    }
    void item(const char* text, const char* separator = ", ") {
        next(separator);
        add(text);
    }
    /// A value as JSON writes it, a text in single quotes.
    void add_value(const json_t* value, int base);
    const char* get() const { return ox_dynarray_get(&text_); }

private:
    ox_str text_;
};

void Text::add_value(const json_t* value, int base) {
    if (json_is_string(value)) {
        ox_str_printf_append(&text_, "'%s'", json_string_value(value));
    } else if (json_is_integer(value) && (base == 8 || base == 16)) {
        auto number = static_cast<unsigned long long>(json_integer_value(value));
        ox_str_printf_append(&text_, base == 16 ? "0x%llx" : "0%llo", number);
    } else if (char* text = json_dumps(value, JSON_ENCODE_ANY)) {
        add(text);
        free(text);
    }
}

const char* text_of(const json_t* object, const char* name) {
    return json_string_value(json_object_get(object, name));
}

bool is_true(const json_t* attributes, const char* name) {
    return json_is_true(json_object_get(attributes, name));
}

int base_of(const json_t* attributes) {
    return static_cast<int>(json_integer_value(json_object_get(attributes, "base")));
}

/// "1 to 5", "at least 1", "at most 5", "exactly 5", or nothing.
void add_span(Text* text, const json_t* least, const json_t* most, int base) {
    if (!json_is_number(least) && !json_is_number(most)) return;
    text->next(", ");
    bool same = least && most && json_equal(least, most);
    if (same || !json_is_number(most) || !json_is_number(least)) {
        text->add(same ? "exactly " : json_is_number(least) ? "at least " : "at most ");
        text->add_value(json_is_number(least) ? least : most, base);
        return;
    }
    text->add_value(least, base);
    text->add(" to ");
    text->add_value(most, base);
}

void add_type(Page* page, const json_t* attributes) {
    static const struct {
        const char* member;
        const char* word;
    } marks[] = {
        {"multi", "multi-instance"}, {"ordered", "ordered"}, {"unique", "unique"}, {"async", "asynchronous"}};
    Text type;
    const char* name = text_of(attributes, "type");
    const char* access = text_of(attributes, "access");
    if (name) type.item(name);
    bool parameter = ox_tr_dm_type_is_parameter(ox_tr_dm_type_parse(name));
    if (parameter && access && strcmp(access, "readOnly") == 0) type.item("read-only");
    for (const auto& mark : marks) {
        if (is_true(attributes, mark.member)) type.item(mark.word);
    }
    add_row(page, "Type", type.get());
}

void add_spans(Page* page, const json_t* attributes) {
    static const struct {
        const char* label;
        const char* least;
        const char* most;
    } spans[] = {{"Length", "minLength", "maxLength"}, {"Count", "minCount", "maxCount"}};
    int base = base_of(attributes);
    Text range;
    size_t index;
    json_t* part;
    json_array_foreach(json_object_get(attributes, "ranges"), index, part) {
        add_span(&range, json_object_get(part, "min"), json_object_get(part, "max"), base);
        json_t* step = json_object_get(part, "step");
        if (!json_is_number(step)) continue;
        range.add(" in steps of ");
        range.add_value(step, base);
    }
    if (index == 0) {
        add_span(&range, json_object_get(attributes, "minInclusive"),
                 json_object_get(attributes, "maxInclusive"), base);
    }
    add_row(page, "Range", range.get());
    for (const auto& span : spans) {
        Text text;
        add_span(&text, json_object_get(attributes, span.least), json_object_get(attributes, span.most), 10);
        add_row(page, span.label, text.get());
    }
}

void add_values(Page* page, const json_t* attributes) {
    Text values;
    size_t index;
    json_t* value;
    json_array_foreach(json_object_get(attributes, "enum"), index, value) {
        values.next(", ");
        values.add_value(value, base_of(attributes));
    }
    add_row(page, "Values", values.get());
    Text initial;
    if (json_t* given = json_object_get(attributes, "default")) initial.add_value(given, base_of(attributes));
    add_row(page, "Default", initial.get());
}

void add_keys(Page* page, const json_t* attributes) {
    Text keys;
    size_t index;
    json_t* key;
    json_array_foreach(json_object_get(attributes, "keys"), index, key) {
        keys.next("; ");
        size_t place;
        json_t* name;
        json_array_foreach(key, place, name) {
            if (place > 0) keys.add(" + ");
            keys.add(json_is_string(name) ? json_string_value(name) : "?");
        }
    }
    add_row(page, "Keys", keys.get());
}

void add_referrers(Page* page, const json_t* referrers) {
    size_t index;
    json_t* path;
    json_array_foreach(referrers, index, path) {
        add_row(page, index == 0 ? "Used by" : "", json_string_value(path));
    }
}

void add_relations(Page* page, const json_t* attributes) {
    static const char* const verdicts[] = {"deny", "cascade", "clear", "continue"};
    size_t index;
    json_t* relation;
    json_array_foreach(json_object_get(attributes, "relations"), index, relation) {
        json_int_t verdict = json_integer_value(json_object_get(relation, "verdict"));
        const char* match = text_of(relation, "match");
        if (!match || verdict < 0 || verdict > 3) continue;
        Text text;
        text.add(match);
        text.add(": ");
        text.add(verdicts[verdict]);
        add_row(page, index == 0 ? "On delete" : "", text.get());
    }
}

/// The arguments of a method, a row each.
void add_inputs(Page* page, const json_t* inputs) {
    bool first = true;
    for (auto [name, element] : ox_tr_elements(inputs)) {
        const json_t* attributes = json_object_get(element, OX_TR_ATTRIBUTES);
        const char* type = text_of(attributes, "type");
        const char* input = strstr(name, OX_TR_INPUT);
        if (input) name = input + strlen(OX_TR_INPUT);
        if (*name == '.') ++name;
        bool parameter = ox_tr_dm_type_is_parameter(ox_tr_dm_type_parse(type));
        if (*name == '\0' || !parameter) continue;
        Text text;
        text.add(name);
        text.item(type, ": ");
        if (json_t* initial = json_object_get(attributes, "default")) {
            text.add(", default ");
            text.add_value(initial, base_of(attributes));
        }
        add_row(page, first ? "Arguments" : "", text.get());
        first = false;
    }
}

void add_paragraph(Page* page, const char* text, size_t indent) {
    page->indent = indent;
    add_text(page, text);
    end_row(page);
}

}  // namespace

char* ox_tr_page_new(const char* path, const json_t* attributes, const json_t* inputs,
                     const json_t* referrers, size_t columns) {
    Page page = {};
    page.columns = columns < NARROWEST ? static_cast<size_t>(NARROWEST) : columns;
    add(&page, path, strlen(path));
    end_row(&page);
    add_type(&page, attributes);
    add_spans(&page, attributes);
    add_row(&page, "Units", text_of(attributes, "units"));
    add_values(&page, attributes);
    add_row(&page, "Pattern", text_of(attributes, "regex"));
    add_keys(&page, attributes);
    add_row(&page, "Refers to", text_of(attributes, "foreign_key"));
    add_referrers(&page, referrers);
    add_relations(&page, attributes);
    add_inputs(&page, inputs);
    add_row(&page, "Since", text_of(attributes, "since"));
    add_row(&page, "Status", text_of(attributes, "status"));
    const char* description = text_of(attributes, "description");
    if (description && *description != '\0') {
        end_row(&page);
        add_paragraph(&page, description, 2);
    }
    size_t index;
    json_t* mapping;
    json_array_foreach(json_object_get(attributes, "mappings"), index, mapping) {
        if (index == 0) end_row(&page);
        if (json_is_string(mapping)) add_paragraph(&page, json_string_value(mapping), 4);
    }
    // The last newline is that of who prints it.
    size_t length = ox_str_length(&page.text);
    char* text = strndup(ox_dynarray_get(&page.text), length > 0 ? length - 1 : 0);
    page.text.clear();
    return text;
}
