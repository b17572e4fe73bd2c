#include "lua/value_printer.hpp"

#include <math.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "lua/value_strings.hpp"
#include "ox_colors.hpp"
#include "ox_out.hpp"
#include "ox_raii.hpp"
#include "session/interrupt.hpp"

LuaPrinter lua_printer = {nullptr, 0, 0, 0, 0, 80, LUA_NOREF, LUA_NOREF, false, false, false};

namespace {

const char* bold_on(void) {
    return ox_colors_enabled() ? "\x1b[1m" : "";
}

const char* bold_off(void) {
    return ox_colors_enabled() ? "\x1b[22m" : "";
}

// The C locale's classes, whatever locale the line editor has chosen.
bool is_letter(unsigned char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool is_digit(unsigned char c) {
    return c >= '0' && c <= '9';
}

/// Appends a short formatted text as one atom.
__attribute__((format(printf, 1, 2))) void append_format(const char* format, ...) {
    char* text = nullptr;
    va_list args;
    va_start(args, format);
    int length = vasprintf(&text, format, args);
    va_end(args);
    if (length < 0) return;
    printer_append(text, static_cast<size_t>(length));
    free(text);
}

void print_number(lua_State* L, int index) {
    lua_pushvalue(L, index);
    size_t length = 0;
    const char* text = lua_tolstring(L, -1, &length);
    printer_append(text, length);
    lua_pop(L, 1);
}

bool has_equality(lua_State* L, int index) {
    if (luaL_getmetafield(L, index, "__eq") == LUA_TNIL) return false;
    lua_pop(L, 1);
    return true;
}

/// The place of the last one of the `count` ancestors that equals the table, 0 when none does.
lua_Integer find_ancestor(lua_State* L, int table, int list, lua_Integer count) {
    if (lua_printer.any_equality || has_equality(L, table)) {
        for (lua_Integer place = count; place > 0; --place) {
            lua_rawgeti(L, list, place);
            bool same = lua_compare(L, table, -1, LUA_OPEQ) != 0;
            lua_pop(L, 1);
            if (same) return place;
        }
        return 0;
    }
    // A table is equal to itself alone. The list grows with every nested table, so it is not searched.
    lua_rawgeti(L, LUA_REGISTRYINDEX, lua_printer.places_ref);
    lua_pushvalue(L, table);
    lua_rawget(L, -2);
    lua_Integer place = lua_tointeger(L, -1);
    lua_rawgeti(L, list, place);
    bool there = place <= count && lua_rawequal(L, table, -1) != 0;
    lua_pop(L, 3);
    return there ? place : 0;
}

void add_ancestor(lua_State* L, int table, int list, lua_Integer place) {
    lua_pushvalue(L, table);
    lua_rawseti(L, list, place);
    if (has_equality(L, table)) lua_printer.any_equality = true;
    lua_rawgeti(L, LUA_REGISTRYINDEX, lua_printer.places_ref);
    lua_pushvalue(L, table);
    lua_rawget(L, -2);
    // A place behind the first is never given up.
    if (lua_tointeger(L, -1) < place) {
        lua_pushvalue(L, table);
        lua_pushinteger(L, place);
        lua_rawset(L, -4);
    }
    lua_pop(L, 2);
}

/// Whether the key at the top was already shown in an array part of `length` elements.
bool in_array_part(lua_State* L, int key, lua_Integer length) {
    if (lua_type(L, key) != LUA_TNUMBER) return false;
    lua_Integer integer = lua_tointegerx(L, key, nullptr);
    auto number = static_cast<float>(lua_tonumberx(L, key, nullptr));
    return fabsf(number - static_cast<float>(integer)) < 1e-6F && integer > 0 && integer <= length;
}

bool is_bare_key(const char* text, size_t length) {
    for (size_t i = 0; i < length; ++i) {
        auto c = static_cast<unsigned char>(text[i]);
        if (!is_letter(c) && c != '_' && !(is_digit(c) && i > 0)) return false;
    }
    return true;
}

void print_key(lua_State* L, int key) {
    if (lua_type(L, key) == LUA_TSTRING) {
        size_t length = 0;
        const char* text = lua_tolstring(L, key, &length);
        if (is_bare_key(text, length)) {
            append_format("%s%s%s", bold_on(), text, bold_off());
            return;
        }
    }
    printer_write("[");
    lua_value_to_text(L, key);
    printer_write("]");
}

/// A long print is left between two entries when the person asks for it.
void stop_point(lua_State* L) {
    if (interrupt_pending()) luaL_error(L, "interrupted!");
}

/// Returns whether the table takes more than one line.
bool print_array_part(lua_State* L, int table, lua_Integer length) {
    bool multi_line = false;
    bool line_ended = false;
    for (lua_Integer k = 1; k <= length; ++k) {
        stop_point(L);
        lua_pushinteger(L, k);
        lua_gettable(L, table);
        bool nested = lua_istable(L, -1);
        if (nested) {
            if (!line_ended) printer_newline();
            multi_line = true;
        }
        lua_value_to_text(L, -1);
        printer_write(", ");
        line_ended = nested && k != length;
        if (line_ended) printer_newline();
        lua_pop(L, 1);
    }
    return multi_line;
}

bool print_hash_part(lua_State* L, int table, lua_Integer length) {
    bool multi_line = false;
    lua_pushnil(L);
    while (lua_next(L, table) != 0) {
        int value = lua_gettop(L);
        if (in_array_part(L, value - 1, length)) {
            lua_pop(L, 1);
            continue;
        }
        stop_point(L);
        printer_newline();
        print_key(L, value - 1);
        printer_write(" = ");
        lua_value_to_text(L, value);
        printer_write(",");
        multi_line = true;
        lua_pop(L, 1);
    }
    return multi_line;
}

void print_table(lua_State* L, int table) {
    if (lua_printer.indent > lua_printer.line_width * 8 / 10) {
        append_format("{ %s...%s }", bold_on(), bold_off());
        return;
    }
    lua_rawgeti(L, LUA_REGISTRYINDEX, lua_printer.seen_ref);
    int list = lua_gettop(L);
    auto count = static_cast<lua_Integer>(lua_rawlen(L, list));
    lua_Integer same = find_ancestor(L, table, list, count);
    if (same > 0) {
        append_format("{ %s[%d]...%s }", bold_on(), static_cast<int>(same - count - 1), bold_off());
        return;
    }
    add_ancestor(L, table, list, count + 1);

    printer_write("{ ");
    size_t saved_indent = lua_printer.indent;
    lua_printer.indent = lua_printer.column;
    auto length = static_cast<lua_Integer>(lua_rawlen(L, table));
    bool multi_line = print_array_part(L, table, length);
    if (print_hash_part(L, table, length)) multi_line = true;

    // This clears the first element, not the one added above: nested tables stay in the list, and deeper
    // cycles end at the depth limit. The printed form, which scripts may compare, depends on it.
    lua_pushnil(L);
    lua_rawseti(L, list, 1);
    lua_printer.indent = saved_indent;
    if (!multi_line) {
        printer_write(" }");
        return;
    }
    printer_newline();
    printer_write("}");
}

/// Prints by the value's own "__tostring"; false when it has none. What a Lua function gives stands as it is,
/// with its colours; a binding's text, and an error, may quote the daemon.
bool print_by_metafield(lua_State* L, int index) {
    if (luaL_getmetafield(L, index, "__tostring") == LUA_TNIL) return false;
    bool foreign = lua_iscfunction(L, -1) != 0;
    lua_pushvalue(L, index);
    if (lua_pcallk(L, 1, 1, 0, 0, nullptr) != LUA_OK) foreign = true;
    size_t length = 0;
    const char* text = lua_tolstring(L, -1, &length);
    if (text) (foreign ? printer_append_foreign : printer_append)(text, length);
    lua_pop(L, 1);
    return true;
}

void print_pointer(lua_State* L, int index) {
    append_format("<%s%s:%s %p>", bold_on(), lua_typename(L, lua_type(L, index)), bold_off(),
                  lua_topointer(L, index));
}

}  // namespace

size_t visible_width(const char* text, size_t length) {
    size_t width = 0;
    bool escape = false;
    for (size_t i = 0; i < length; ++i) {
        if (escape) {
            escape = text[i] != 'm';
        } else if (text[i] == '\x1b') {
            escape = true;
        } else {
            ++width;
        }
    }
    return width;
}

bool printer_reserve(size_t count) {
    if (lua_printer.full) return false;
    if (lua_printer.length + count < lua_printer.capacity) return true;
    size_t capacity = lua_printer.length + count + 1;
    auto* text = static_cast<char*>(realloc(lua_printer.text, capacity));
    lua_printer.full = !text;
    if (!text) return false;
    lua_printer.capacity = capacity;
    lua_printer.text = text;
    return true;
}

void printer_write_n(const char* text, size_t length) {
    if (!printer_reserve(length)) return;
    memcpy(lua_printer.text + lua_printer.length, text, length);
    lua_printer.length += length;
    lua_printer.text[lua_printer.length] = 0;
    lua_printer.column += visible_width(text, length);
}

void printer_write(const char* text) {
    printer_write_n(text, strlen(text));
}

void printer_newline(void) {
    if (!printer_reserve(lua_printer.indent + 1)) return;
    char* end = lua_printer.text + lua_printer.length;
    *end = '\n';
    memset(end + 1, ' ', lua_printer.indent);
    lua_printer.length += lua_printer.indent + 1;
    lua_printer.column = lua_printer.indent;
}

void printer_append(const char* text, size_t length) {
    size_t width = visible_width(text, length);
    if (lua_printer.column + width > lua_printer.line_width &&
        lua_printer.indent + width <= lua_printer.line_width) {
        printer_newline();
    }
    printer_write_n(text, length);
}

void printer_append_foreign(const char* text, size_t length) {
    if (!lua_printer.escapes) {
        printer_append(text, length);
        return;
    }
    StrRef shown(ox_out_escape_lines(text, length));
    printer_append(ox_dynarray_get(shown), ox_str_length(shown));
}

void lua_printer_begin(lua_State* L) {
    lua_printer.length = 0;
    lua_printer.column = 0;
    lua_printer.indent = 0;
    lua_printer.line_width = 80;
    lua_printer.escapes = false;
    lua_printer.full = false;
    if (printer_reserve(0)) lua_printer.text[0] = 0;
    lua_newtable(L);
    lua_printer.seen_ref = luaL_ref(L, LUA_REGISTRYINDEX);
    lua_newtable(L);
    lua_printer.places_ref = luaL_ref(L, LUA_REGISTRYINDEX);
    lua_printer.any_equality = false;
}

void lua_printer_end(lua_State* L) {
    // An error may have ended the print behind a new line, which writes no zero.
    if (lua_printer.text) lua_printer.text[lua_printer.length] = 0;
    luaL_unref(L, LUA_REGISTRYINDEX, lua_printer.seen_ref);
    luaL_unref(L, LUA_REGISTRYINDEX, lua_printer.places_ref);
    lua_printer.seen_ref = LUA_NOREF;
    lua_printer.places_ref = LUA_NOREF;
}

void lua_value_to_text(lua_State* L, int index) {
    luaL_checkstack(L, LUA_MINSTACK, "value nested too deep");
    index = lua_absindex(L, index);
    int top = lua_gettop(L);
    if (print_by_metafield(L, index)) {
        lua_settop(L, top);
        return;
    }
    switch (lua_type(L, index)) {
        case LUA_TNIL:
            append_format("%snil%s", bold_on(), bold_off());
            break;
        case LUA_TBOOLEAN:
            append_format("%s%s%s", bold_on(), lua_toboolean(L, index) ? "true" : "false", bold_off());
            break;
        case LUA_TNUMBER:
            print_number(L, index);
            break;
        case LUA_TSTRING:
            printer_string(L, index);
            break;
        case LUA_TTABLE:
            print_table(L, index);
            break;
        case LUA_TFUNCTION:
        case LUA_TUSERDATA:
        case LUA_TTHREAD:
            print_pointer(L, index);
            break;
        default:  // a light userdata has no text
            break;
    }
    lua_settop(L, top);
}
