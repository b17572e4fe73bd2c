#include "json_reader.hpp"

#include <string.h>

#include "json_folds.hpp"
#include "json_text.hpp"
#include "ox_tr_names.hpp"

namespace {

enum {
    LEVELS_MAX = 2048,
    FOLD_MAX = 4096,  ///< longer objects are not compared
    SAFE_DIGITS = 18,
    KEPT_CAPACITY = 4096,  ///< a reader that waits for its next text keeps no more than this
};

enum {
    EXPECT_BEGIN,
    EXPECT_VALUE,
    EXPECT_VALUE_OR_END,
    EXPECT_KEY,
    EXPECT_KEY_OR_END,
    EXPECT_COLON,
    EXPECT_NEXT
};

/// What stands between the token that is looked at and the end of what has arrived.
struct Window {
    const char* at;
    const char* end;
};

bool is_blank(char c) {
    return c == ' ' || c == '\n' || c == '\r' || c == '\t';
}

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

json_t* container_of(const JsonReader* reader) {
    return reader->open.size > 0 ? reader->open[reader->open.size - 1] : nullptr;
}

/// Puts a value (taken over, null when memory ran out) where it belongs.
json_reader_state add_value(JsonReader* reader, json_t* value) {
    json_t* container = container_of(reader);
    int rc = json_is_object(container)
                 ? json_object_setn_new_nocheck(container, reader->key.data, reader->key.size, value)
                 : json_array_append_new(container, value);
    reader->expected = EXPECT_NEXT;
    return rc == 0 ? JSON_READER_MORE : JSON_READER_BROKEN;
}

json_reader_state open_container(JsonReader* reader, json_t* container) {
    json_reader_state state = JSON_READER_MORE;
    if (!reader->root) {
        reader->root = container;
    } else {
        state = add_value(reader, container);
    }
    if (!container || state != JSON_READER_MORE) return JSON_READER_BROKEN;
    reader->expected = json_is_object(container) ? EXPECT_KEY_OR_END : EXPECT_VALUE_OR_END;
    return reader->open.append(&container, 1) ? JSON_READER_MORE : JSON_READER_BROKEN;
}

json_reader_state close_container(JsonReader* reader, char bracket) {
    if (json_is_object(container_of(reader)) != (bracket == '}')) return JSON_READER_BROKEN;
    reader->expected = EXPECT_NEXT;
    return --reader->open.size > 0 ? JSON_READER_MORE : JSON_READER_WHOLE;
}

/// Finds the end of the string at the window's begin. More: it is not there yet, and `searched` tells how far
/// the search came. Whole: `*close` is its closing quote.
json_reader_state find_close(JsonReader* reader, const Window& window, const char** close) {
    const char* first = window.at + 1;
    const char* at = first + reader->searched;
    for (; at < window.end && *at != '"'; ++at) {
        auto byte = static_cast<unsigned char>(*at);
        if (byte < 0x20) return JSON_READER_BROKEN;
        if (byte != '\\' && byte < 0x80) continue;
        reader->special = true;
        if (byte != '\\') continue;
        if (at + 1 == window.end) break;
        ++at;
    }
    reader->searched = static_cast<size_t>(at - first);
    *close = at;
    return at < window.end && *at == '"' ? JSON_READER_WHOLE : JSON_READER_MORE;
}

/// Takes the string at the window's begin: its bytes, which last until the next string.
json_reader_state take_string(JsonReader* reader, Window* window, const char** bytes, size_t* size) {
    const char* close = nullptr;
    json_reader_state state = find_close(reader, *window, &close);
    if (state != JSON_READER_WHOLE) return state;
    *bytes = window->at + 1;
    *size = reader->searched;
    if (reader->special) {
        reader->text.size = 0;
        if (!reader->text.reserve(1) || !json_text_decode(*bytes, *size, &reader->text))
            return JSON_READER_BROKEN;
        *bytes = reader->text.data;
        *size = reader->text.size;
    }
    window->at = close + 1;
    reader->searched = 0;
    reader->special = false;
    return JSON_READER_WHOLE;
}

json_reader_state read_key(JsonReader* reader, Window* window) {
    const char* bytes = nullptr;
    size_t size = 0;
    json_reader_state state = take_string(reader, window, &bytes, &size);
    if (state != JSON_READER_WHOLE) return state;
    if (memchr(bytes, '\0', size)) return JSON_READER_BROKEN;
    reader->key.size = 0;
    reader->expected = EXPECT_COLON;
    return reader->key.reserve(1) && reader->key.append(bytes, size) ? JSON_READER_MORE : JSON_READER_BROKEN;
}

json_reader_state read_string(JsonReader* reader, Window* window) {
    const char* bytes = nullptr;
    size_t size = 0;
    json_reader_state state = take_string(reader, window, &bytes, &size);
    return state == JSON_READER_WHOLE ? add_value(reader, json_stringn_nocheck(bytes, size)) : state;
}

/// The value of a short plain integer, or null.
json_t* small_integer(const char* text, size_t size) {
    bool negative = text[0] == '-';
    const char* digits = text + negative;
    size_t count = size - negative;
    if (count == 0 || count > SAFE_DIGITS || (digits[0] == '0' && count > 1)) return nullptr;
    json_int_t sum = 0;
    for (size_t i = 0; i < count; ++i) {
        if (!is_digit(digits[i])) return nullptr;
        sum = sum * 10 + (digits[i] - '0');
    }
    return json_integer(negative ? -sum : sum);
}

json_reader_state read_number(JsonReader* reader, Window* window) {
    const char* end = window->at + reader->searched;
    // NOLINTNEXTLINE(bugprone-not-null-terminated-result): five characters, no zero among them
    while (end < window->end && (is_digit(*end) || memchr("+-.eE", *end, 5))) ++end;
    auto size = static_cast<size_t>(end - window->at);
    reader->searched = size;
    if (end == window->end) return JSON_READER_MORE;
    json_error_t error = {};
    json_t* value = small_integer(window->at, size);
    if (!value) value = json_loadb(window->at, size, JSON_DECODE_ANY, &error);
    if (!value && json_error_code(&error) == json_error_numeric_overflow) return JSON_READER_NUMBER;
    window->at = end;
    reader->searched = 0;
    return add_value(reader, value);
}

json_reader_state read_word(JsonReader* reader, Window* window) {
    static const struct {
        const char* word;
        size_t size;
        json_t* (*make)();
    } words[] = {{"true", 4, json_true}, {"false", 5, json_false}, {"null", 4, json_null}};
    auto there = static_cast<size_t>(window->end - window->at);
    for (const auto& row : words) {
        if (memcmp(window->at, row.word, there < row.size ? there : row.size) != 0) continue;
        if (there < row.size) return JSON_READER_MORE;
        window->at += row.size;
        return add_value(reader, row.make());
    }
    return JSON_READER_BROKEN;
}

bool is_foldable(const JsonReader* reader) {
    constexpr size_t size = sizeof(OX_TR_ATTRIBUTES) - 1;
    return reader->levels == 0 && json_is_object(container_of(reader)) && reader->key.size == size &&
           memcmp(reader->key.data, OX_TR_ATTRIBUTES, size) == 0;
}

/// An object of its own text, inside of what is read.
json_t* read_apart(const JsonReader* reader, const char* text, size_t size, json_reader_state* state) {
    JsonReader apart = {};
    apart.levels = reader->open.size;
    size_t taken = 0;
    *state = json_reader_feed(&apart, text, size, &taken);
    json_t* object = *state == JSON_READER_WHOLE ? json_reader_take(&apart) : nullptr;
    json_reader_reset(&apart);
    return object;
}

/// The same as the ones before that have the same text.
json_reader_state read_folded(JsonReader* reader, Window* window, size_t size) {
    json_t* object = json_folds_find(reader->folds, window->at, size);
    if (!object) {
        json_reader_state state = JSON_READER_MORE;
        object = read_apart(reader, window->at, size, &state);
        if (!object) return state == JSON_READER_NUMBER ? state : JSON_READER_BROKEN;
        json_folds_add(&reader->folds, window->at, size, object);
    }
    window->at += size;
    return add_value(reader, object);
}

json_reader_state read_object(JsonReader* reader, Window* window) {
    if (is_foldable(reader)) {
        auto there = static_cast<size_t>(window->end - window->at);
        size_t size = json_folds_length(window->at, there < FOLD_MAX ? there : size_t{FOLD_MAX});
        if (size > 0) return read_folded(reader, window, size);
        if (there < FOLD_MAX) return JSON_READER_MORE;
    }
    ++window->at;
    return open_container(reader, json_object());
}

json_reader_state read_value(JsonReader* reader, Window* window) {
    if (reader->levels + reader->open.size >= LEVELS_MAX) return JSON_READER_BROKEN;
    switch (*window->at) {
        case '{':
            return read_object(reader, window);
        case '[':
            ++window->at;
            return open_container(reader, json_array());
        case '"':
            return read_string(reader, window);
        default:
            bool number = *window->at == '-' || is_digit(*window->at);
            return number ? read_number(reader, window) : read_word(reader, window);
    }
}

json_reader_state read_next(JsonReader* reader, Window* window) {
    char c = *window->at++;
    if (c == '}' || c == ']') return close_container(reader, c);
    if (c != ',') return JSON_READER_BROKEN;
    reader->expected = json_is_object(container_of(reader)) ? EXPECT_KEY : EXPECT_VALUE;
    return JSON_READER_MORE;
}

/// Takes the token at the window's begin. More, and nothing is taken: its end is not there yet.
json_reader_state read_token(JsonReader* reader, Window* window) {
    char c = *window->at;
    switch (reader->expected) {
        case EXPECT_BEGIN:
            ++window->at;
            return c == '{' ? open_container(reader, json_object()) : JSON_READER_BROKEN;
        case EXPECT_KEY_OR_END:
        case EXPECT_VALUE_OR_END:
            if (c == '}' || c == ']') return read_next(reader, window);
            if (reader->expected == EXPECT_VALUE_OR_END) return read_value(reader, window);
            [[fallthrough]];
        case EXPECT_KEY:
            return c == '"' ? read_key(reader, window) : JSON_READER_BROKEN;
        case EXPECT_COLON:
            ++window->at;
            reader->expected = EXPECT_VALUE;
            return c == ':' ? JSON_READER_MORE : JSON_READER_BROKEN;
        case EXPECT_VALUE:
            return read_value(reader, window);
        default:
            return read_next(reader, window);
    }
}

}  // namespace

json_reader_state json_reader_feed(JsonReader* reader, const char* data, size_t size, size_t* taken) {
    Window window = {data, data + size};
    json_reader_state state = JSON_READER_MORE;
    for (;;) {
        while (window.at < window.end && is_blank(*window.at)) ++window.at;
        const char* token = window.at;
        if (token < window.end) state = read_token(reader, &window);
        *taken = static_cast<size_t>(window.at - data);
        if (state != JSON_READER_MORE || window.at == token) return state;
    }
}

json_t* json_reader_take(JsonReader* reader) {
    json_t* root = reader->root;
    reader->root = nullptr;
    if (reader->key.capacity + reader->text.capacity > KEPT_CAPACITY) {
        json_reader_reset(reader);
        return root;
    }
    json_folds_free(reader->folds);
    reader->folds = nullptr;
    reader->open.size = 0;
    reader->expected = EXPECT_BEGIN;
    return root;
}

void json_reader_reset(JsonReader* reader) {
    json_decref(reader->root);
    reader->open.clear();
    reader->key.clear();
    reader->text.clear();
    json_folds_free(reader->folds);
    *reader = JsonReader{};
}
