#include "json_reader.hpp"

#include <string.h>

#include "json_cost.hpp"
#include "json_folds.hpp"
#include "json_text.hpp"
#include "ox_tr_names.hpp"

namespace {

enum {
    LEVELS_MAX = 2048,
    FOLD_MAX = 4096,       ///< longer objects are not compared
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

constexpr char RESULT[] = "result";

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

template <size_t N>
bool is_key(const JsonReader* reader, const char (&name)[N]) {
    return reader->key.size == N - 1 && memcmp(reader->key.data, name, N - 1) == 0;
}

/// Whether the container is the stand-in of an element that is handed on.
bool is_element(const JsonReader* reader, const json_t* container) {
    return container && container == reader->elements.box;
}

/// Counts `bytes` of memory. False when they are too many.
bool count_cost(JsonReader* reader, size_t bytes) {
    reader->cost += bytes;
    return json_cost_fits(reader->cost, reader->arrived);
}

/// Where a result, or a list of its, begins, what was handed on before is void: the last one counts.
void note_result(JsonReader* reader) {
    JsonElements* elements = &reader->elements;
    size_t depth = reader->open.size;
    if (!elements->choose || depth > 2) return;
    bool result = depth == 1 && is_key(reader, RESULT);
    if (result) elements->taker = elements->choose(elements->context, reader->root);
    bool list = depth == 2 && elements->in_result && is_key(reader, OX_TR_PARAMETER_LIST);
    if (elements->taker && (result || list)) elements->taker->begin(elements->taker->context);
}

bool put_value(JsonReader* reader, json_t* container, json_t* value) {
    if (is_element(reader, container)) return json_elements_value(&reader->elements, reader->key, value);
    note_result(reader);
    if (container == reader->elements.list && !json_is_object(value) && !json_is_array(value)) {
        json_decref(value);  // nobody takes it
        return true;
    }
    if (json_is_array(container)) return json_array_append_new(container, value) == 0;
    return json_object_setn_new_nocheck(container, reader->key.data, reader->key.size, value) == 0;
}

/// Puts a value (taken over, null when memory ran out) where it belongs, at a cost.
json_reader_state add_counted(JsonReader* reader, json_t* value, size_t cost) {
    reader->expected = EXPECT_NEXT;
    if (!value || !put_value(reader, container_of(reader), value)) return JSON_READER_BROKEN;
    return count_cost(reader, cost) ? JSON_READER_MORE : JSON_READER_LARGE;
}

json_reader_state add_value(JsonReader* reader, json_t* value) {
    return add_counted(reader, value, json_cost_of(value, container_of(reader), reader->key.size));
}

json_reader_state push_container(JsonReader* reader, json_t* container) {
    reader->expected = json_is_object(container) ? EXPECT_KEY_OR_END : EXPECT_VALUE_OR_END;
    return reader->open.append(&container, 1) ? JSON_READER_MORE : JSON_READER_BROKEN;
}

/// The result and its list are known by where they stand.
void note_list(JsonReader* reader, json_t* container) {
    JsonElements* elements = &reader->elements;
    size_t depth = reader->open.size;
    if (depth == 1) elements->in_result = elements->taker && is_key(reader, RESULT);
    bool list = depth == 2 && elements->in_result && json_is_object(container_of(reader));
    if (!list || !json_is_array(container) || !is_key(reader, OX_TR_PARAMETER_LIST)) return;
    elements->list = container;
    reader->element_cost = reader->cost;
}

json_reader_state open_container(JsonReader* reader, json_t* container) {
    json_reader_state state = JSON_READER_MORE;
    if (!reader->root) {
        reader->root = container;
    } else {
        state = add_value(reader, container);
    }
    if (!container || state != JSON_READER_MORE)
        return state != JSON_READER_MORE ? state : JSON_READER_BROKEN;
    note_list(reader, container);
    return push_container(reader, container);
}

json_reader_state open_element(JsonReader* reader) {
    json_t* box = json_elements_open(&reader->elements);
    reader->element_cost = reader->cost;
    return box ? push_container(reader, box) : JSON_READER_BROKEN;
}

/// Lets go of what is handed on, and of what nobody takes.
void leave_list(JsonReader* reader, const json_t* closed) {
    JsonElements* elements = &reader->elements;
    if (is_element(reader, closed)) {
        json_elements_close(elements, reader->arrived);
    } else if (container_of(reader) == elements->list) {
        json_array_clear(elements->list);
    } else {
        if (closed == elements->list) elements->list = nullptr;
        return;
    }
    reader->cost = reader->element_cost;
}

json_reader_state close_container(JsonReader* reader, char bracket) {
    json_t* closed = container_of(reader);
    if (json_is_object(closed) != (bracket == '}')) return JSON_READER_BROKEN;
    reader->expected = EXPECT_NEXT;
    --reader->open.size;
    if (reader->elements.list) leave_list(reader, closed);
    return reader->open.size > 0 ? JSON_READER_MORE : JSON_READER_WHOLE;
}

/// Finds the end of the string at the window's begin. More: it is not there yet, and `searched` tells how far
/// the search came. Whole: `*close` is its closing quote.
json_reader_state find_close(JsonReader* reader, const Window& window, const char** close) {
    const char* first = window.at + 1;
    const char* at = first + reader->searched;
    for (;; ++at) {
        at = json_text_plain(at, window.end);
        if (at == window.end || *at == '"') break;
        auto byte = static_cast<unsigned char>(*at);
        if (byte < 0x20) return JSON_READER_BROKEN;
        reader->special = true;
        if (byte >= 0x80) {
            while (at + 1 < window.end && static_cast<unsigned char>(at[1]) >= 0x80) ++at;
        }
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
    if (state != JSON_READER_WHOLE) return state;
    if (!is_element(reader, container_of(reader)))
        return add_value(reader, json_stringn_nocheck(bytes, size));
    reader->expected = EXPECT_NEXT;
    bool put = json_elements_text(&reader->elements, reader->key, bytes, size);
    return put ? JSON_READER_MORE : JSON_READER_BROKEN;
}

json_reader_state add_integer(JsonReader* reader, json_int_t number) {
    if (!is_element(reader, container_of(reader))) return add_value(reader, json_integer(number));
    reader->expected = EXPECT_NEXT;
    json_elements_integer(&reader->elements, reader->key, number);
    return JSON_READER_MORE;
}

json_reader_state read_number(JsonReader* reader, Window* window) {
    const char* end = window->at + reader->searched;
    // NOLINTNEXTLINE(bugprone-not-null-terminated-result): five characters, no zero among them
    while (end < window->end && (is_digit(*end) || memchr("+-.eE", *end, 5))) ++end;
    auto size = static_cast<size_t>(end - window->at);
    reader->searched = size;
    if (end == window->end) return JSON_READER_MORE;
    json_error_t error = {};
    json_int_t number = 0;
    bool small = json_text_integer(window->at, size, &number);
    json_t* value = small ? nullptr : json_loadb(window->at, size, JSON_DECODE_ANY, &error);
    if (!small && !value && json_error_code(&error) == json_error_numeric_overflow) return JSON_READER_NUMBER;
    window->at = end;
    reader->searched = 0;
    return small ? add_integer(reader, number) : add_value(reader, value);
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
    return reader->levels == 0 && json_is_object(container_of(reader)) &&
           (is_key(reader, OX_TR_ATTRIBUTES) || is_key(reader, OX_TR_ATTR));
}

/// An object of its own text, inside of what is read, and what it takes.
json_t* read_apart(const JsonReader* reader, const char* text, size_t size, json_reader_state* state,
                   size_t* cost) {
    JsonReader apart = {};
    apart.levels = reader->open.size;
    size_t taken = 0;
    *state = json_reader_feed(&apart, text, size, &taken);
    *cost = apart.cost;
    json_t* object = *state == JSON_READER_WHOLE ? json_reader_take(&apart) : nullptr;
    json_reader_reset(&apart);
    return object;
}

/// The same as the ones before that have the same text.
json_reader_state read_folded(JsonReader* reader, Window* window, size_t size) {
    size_t cost = json_cost_of(nullptr, container_of(reader), reader->key.size);
    json_t* object = json_folds_find(reader->folds, window->at, size);
    if (!object) {
        json_reader_state state = JSON_READER_MORE;
        size_t own = 0;
        object = read_apart(reader, window->at, size, &state, &own);
        if (!object) return state == JSON_READER_NUMBER ? state : JSON_READER_BROKEN;
        json_folds_add(&reader->folds, window->at, size, object, own);
        cost += own;
    }
    window->at += size;
    return add_counted(reader, object, cost);
}

/// The begin of an object whose end has not arrived: broken, when nothing that may follow makes it one.
json_reader_state look_at_begin(const JsonReader* reader, const char* text, size_t size) {
    json_reader_state state = JSON_READER_MORE;
    size_t cost = 0;
    json_decref(read_apart(reader, text, size, &state, &cost));
    return state;
}

json_reader_state read_foldable(JsonReader* reader, Window* window, size_t there) {
    size_t size = 0;
    json_t* object = json_folds_guess(reader->folds, window->at, there, &size);
    if (object) {
        window->at += size;
        return add_counted(reader, object, json_cost_of(nullptr, container_of(reader), reader->key.size));
    }
    size = json_folds_length(window->at, there < FOLD_MAX ? there : size_t{FOLD_MAX});
    if (size > 0) return read_folded(reader, window, size);
    if (there < FOLD_MAX) return look_at_begin(reader, window->at, there);
    ++window->at;
    return open_container(reader, json_object());
}

json_reader_state read_object(JsonReader* reader, Window* window) {
    if (is_foldable(reader))
        return read_foldable(reader, window, static_cast<size_t>(window->end - window->at));
    ++window->at;
    bool element = container_of(reader) == reader->elements.list;
    return element ? open_element(reader) : open_container(reader, json_object());
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
    size_t before = reader->arrived;
    reader->arrived = before + size;
    for (;;) {
        while (window.at < window.end && is_blank(*window.at)) ++window.at;
        const char* token = window.at;
        if (token < window.end) state = read_token(reader, &window);
        *taken = static_cast<size_t>(window.at - data);
        if (state == JSON_READER_MORE && window.at != token) continue;
        reader->arrived = before + *taken;
        return state;
    }
}

json_t* json_reader_take(JsonReader* reader) {
    json_t* root = reader->root;
    reader->root = nullptr;
    if (reader->key.capacity + reader->text.capacity > KEPT_CAPACITY) {
        reader->key.clear();
        reader->text.clear();
    }
    const JsonElements& elements = reader->elements;
    if (elements.taker || elements.box || elements.list || elements.in_result)
        json_elements_reset(&reader->elements);
    json_folds_sweep(reader->folds);
    reader->open.size = 0;
    reader->expected = EXPECT_BEGIN;
    reader->arrived = reader->cost = 0;
    return root;
}

void json_reader_reset(JsonReader* reader) {
    json_decref(reader->root);
    reader->open.clear();
    reader->key.clear();
    reader->text.clear();
    json_elements_reset(&reader->elements);
    json_folds_free(reader->folds);
    JsonElements elements = reader->elements;
    *reader = JsonReader{};
    reader->elements.choose = elements.choose;
    reader->elements.context = elements.context;
}
