#include "lua/lua_record.hpp"

#include <stdio.h>
#include <string.h>

#include "line/script_line.hpp"
#include "lua/lua_returns.hpp"
#include "ox_lua.hpp"
#include "ox_raii.hpp"

namespace {

/// Whether a text made of the three loads.
bool loads(lua_State* L, const char* before, const char* source, const char* after) {
    StrRef text(ox_str_init());
    ox_str_add(text, before);
    ox_str_add(text, source);
    ox_str_add(text, after);
    int status = luaL_loadbufferx(L, ox_dynarray_get(text), ox_str_length(text), "=", "t");
    lua_pop(L, 1);
    return status == LUA_OK;
}

/// Whether a script of shell lines gives the text back whole: it splits its lines at blanks, ends them at a
/// word that begins with "#", and goes on behind a line that leaves a quote open.
bool fits_line(const char* text) {
    if (strstr(text, "--") || strstr(text, "  ") || strstr(text, " #") || strpbrk(text, "\t\r")) return false;
    return !script_line_continues(text);
}

/// A statement that needs no chunk of its own.
void add_statement(ox_str* text, const char* source) {
    // What it declares ends with it, as in Lua mode: a block may have no more than 200 locals, and each label
    // but once.
    if (strstr(source, "local") || strstr(source, "::")) {
        ox_str_printf(text, "do %s%send", source, strstr(source, "--") ? "\n" : " ");
        return;
    }
    // An opening parenthesis, also behind a comment, would continue the statement before it.
    char first = source[strspn(source, " \t\n\r\v\f")];
    if (first == '(' || first == '-') ox_str_add(text, ";");
    ox_str_add(text, source);
}

void add_comment(ox_str* text, const char* source) {
    ox_str_add(text, "-- ");
    for (; *source; ++source) {
        ox_str_add_n(text, source, 1);
        if (*source == '\n' || *source == '\r') ox_str_add(text, "-- ");
    }
}

ox_str* script_text(lua_State* L, const char* source) {
    ox_str* text = ox_str_init();
    const char* end = strstr(source, "--") ? "\n" : "";
    if (loads(L, "", source, "\n;;") && !lua_returns(source)) {
        add_statement(text, source);
    } else if (loads(L, "print(", source, "\n)")) {
        ox_str_printf(text, "print(%s%s)", source, end);
    } else if (loads(L, "return ", source, "\n")) {
        ox_str_printf(text, "print((function(...) return %s%s end)(...))", source, end);
    } else if (loads(L, "", source, "\n")) {
        ox_str_printf(text, ";(function(...)\n%s\nend)(...)", source);
    } else {
        add_comment(text, source);
    }
    return text;
}

}  // namespace

ox_str* lua_statement_for_script(lua_State* L, const char* source) {
    bool collects = ox_lua_hold(L);
    ox_str* text = script_text(L, source);
    ox_lua_collect(L, collects);
    return text;
}

ox_str* lua_statement_for_line(lua_State* L, const char* source) {
    StrRef statement(lua_statement_for_script(L, source));
    const char* text = ox_dynarray_get(statement);
    if (!fits_line(text)) return ox_str_init_chars("# a Lua statement that no line can hold");
    ox_str* line = ox_str_init_chars("lua ");
    for (; *text; ++text) ox_str_add_n(line, *text == '\n' ? " " : text, 1);
    return line;
}
