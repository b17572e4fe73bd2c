// The text of Lua values, as Lua mode shows its results.
#pragma once

#include <stddef.h>

#include <lua.hpp>

/// The one printer. Its buffer lives as long as the process; the rest is set up anew for each value.
struct LuaPrinter {
    char* text;         ///< what was written, terminated by a zero; null until the first write
    size_t capacity;    ///< allocated bytes of `text`
    size_t length;      ///< bytes written for this value
    size_t column;      ///< visible column of the next character
    size_t indent;      ///< blanks at the start of a new line
    size_t line_width;  ///< columns of a line
    int seen_ref;       ///< registry reference of the list of tables being printed, outermost first
    int places_ref;     ///< registry reference of a table: the last place of each table in that list
    bool any_equality;  ///< a table in the list has "__eq"
    bool escapes;       ///< what a text of others holds to steer a terminal is written as \\xNN
    bool full;          ///< memory ran out: the rest is left out
};
extern LuaPrinter lua_printer;

/// Sets the printer up for one value: width 80, nothing written, an empty list of ancestors, no escapes.
void lua_printer_begin(lua_State* L);
/// Releases the list of ancestors.
void lua_printer_end(lua_State* L);
/// Appends the text of the value at `index` to the printer; leaves the stack as it found it. Metamethods run,
/// and may raise errors: to be called under a protected call.
void lua_value_to_text(lua_State* L, int index);

/// Characters of the first `length` bytes that take a column: all but escape sequences (ESC to "m").
size_t visible_width(const char* text, size_t length);
/// False when there is no room for that many bytes more.
bool printer_reserve(size_t count);
void printer_newline(void);
/// Write without wrapping.
void printer_write_n(const char* text, size_t length);
void printer_write(const char* text);
/// Appends an atom, on a fresh line when it fits there and not here.
void printer_append(const char* text, size_t length);
/// Appends an atom that may hold anything; newlines and tabs stay in any case.
void printer_append_foreign(const char* text, size_t length);
