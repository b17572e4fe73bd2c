#include "lua/lua_results.hpp"

#include <stdio.h>
#include <string.h>

#include "lua/lua_session.hpp"
#include "lua/traceback.hpp"
#include "lua/value_printer.hpp"
#include "ox_colors.hpp"
#include "ox_lua.hpp"
#include "ox_out.hpp"
#include "ox_out_buffer.hpp"
#include "ox_raii.hpp"
#include "ox_screen.hpp"

namespace {

const char* colour(const char* sequence) {
    return ox_colors_enabled() ? sequence : "";
}

/// The message may quote anything; only the trace's own bold may steer the terminal.
void print_error(const char* message) {
    static const char* const bold[] = {"\x1b[1m", "\x1b[22m", nullptr};
    fputs(colour("\x1b[0;31m"), stderr);
    ox_out_error_text(message ? message : "(no error message)", ox_colors_enabled() ? bold : bold + 2);
    fprintf(stderr, "%s\n", colour("\x1b[0m"));
    fflush(stderr);
}

/// The global `_` past any metatable of the globals, which may refuse it.
int get_results_global(lua_State* L) {
    lua_pushglobaltable(L);
    lua_pushliteral(L, "_");
    int type = lua_rawget(L, -2);
    lua_pop(L, 2);
    return type;
}

/// Sets the global `_` to the value on top, which is popped.
void set_results_global(lua_State* L) {
    lua_pushglobaltable(L);
    lua_insert(L, -2);
    lua_pushliteral(L, "_");
    lua_insert(L, -2);
    lua_rawset(L, -3);
    lua_pop(L, 1);
}

void show_results_table(lua_State* L, LuaResults* results) {
    if (results->table_ref == -1) {
        lua_newtable(L);
        results->table_ref = luaL_ref(L, LUA_REGISTRYINDEX);
    }
    if (get_results_global(L) != LUA_TNIL) return;
    lua_rawgeti(L, LUA_REGISTRYINDEX, results->table_ref);
    set_results_global(L);
    results->global_set = true;
}

int print_value(lua_State* L) {
    lua_value_to_text(L, 1);
    return 0;
}

/// Makes the text of the value at `index`. An error that a metamethod raises stands behind what was printed.
/// `collects`: whether the collector is to run below the protected call, and whether it is to run afterwards.
void make_text(lua_State* L, int index, bool* collects) {
    bool colours = ox_colors_enabled();
    ox_colors_toggle(0);
    lua_printer_begin(L);
    lua_printer.escapes = ox_out_is_terminal();
    index = lua_absindex(L, index);
    lua_pushcfunction(L, print_value);
    lua_pushvalue(L, index);
    ox_lua_collect(L, *collects);
    int status = lua_pcall(L, 1, 0, 0);
    *collects = ox_lua_hold(L);
    if (status != LUA_OK) {
        size_t length = 0;
        const char* text = lua_tolstring(L, -1, &length);
        if (text) printer_append_foreign(text, length);
        lua_pop(L, 1);
    }
    lua_printer_end(L);
    ox_colors_toggle(colours);
}

void print_result(lua_State* L, LuaResults* results, int index) {
    bool collects = ox_lua_hold(L);
    make_text(L, index, &collects);
    ++results->count;
    lua_rawgeti(L, LUA_REGISTRYINDEX, results->table_ref);
    lua_pushvalue(L, index);
    lua_rawseti(L, -2, results->count);
    lua_pop(L, 1);
    ox_lua_collect(L, collects);
    printf("%s%s[%d]%s = ", colour("\x1b[1;32m"), "_", results->count, colour("\x1b[0;32m"));
    if (lua_printer.text) ox_out_write(stdout, lua_printer.text, lua_printer.length);
    printf("%s\n", colour("\x1b[0m"));
    ox_out_push();
    if (lua_printer.full) print_error("not enough memory");
}

/// Runs the chunk on top of the stack and prints its results.
void lua_print_results(ox_lua_ctx* ctx, LuaResults* results) {
    lua_State* L = ctx->L;
    lua_rawgeti(L, LUA_REGISTRYINDEX, results->table_ref);
    lua_insert(L, -2);
    int base = lua_gettop(L);
    lua_pushcclosure(L, lua_traceback_handler, 0);
    lua_insert(L, base);
    if (lua_pcallk(L, 0, LUA_MULTRET, base, 0, nullptr) != LUA_OK) {
        if (!lua_interrupted(ctx)) print_error(lua_tostring(L, -1));
        lua_pop(L, 1);
    }
    lua_remove(L, base);
    int count = lua_gettop(L) - base + 1;
    lua_checkstack(L, LUA_MINSTACK);
    for (int i = 0; i < count && !lua_interrupted(ctx); ++i) print_result(L, results, base + i);
    lua_settop(L, base - 2);
}

bool is_incomplete(lua_State* L) {
    size_t length = 0;
    const char* message = lua_tolstring(L, -1, &length);
    return message && length >= 6 && memcmp(message + length - 5, "<eof>", 5) == 0;
}

/// Loads "return SOURCE", else the source itself, and leaves the chunk on the stack.
LuaOutcome load_statement(lua_State* L, const char* source, size_t length) {
    StrRef expression(ox_str_init());
    ox_str_add(expression, "return ");
    ox_str_add_n(expression, source, length);
    int status =
        luaL_loadbufferx(L, ox_dynarray_get(expression), ox_dynarray_size(expression) - 1, "stdin", nullptr);
    if (status == LUA_OK) return LUA_STATEMENT_RAN;
    lua_pop(L, 1);
    status = luaL_loadbufferx(L, source, length, "stdin", nullptr);
    if (status == LUA_ERRSYNTAX && is_incomplete(L)) {
        lua_pop(L, 1);
        return LUA_STATEMENT_INCOMPLETE;
    }
    if (status == LUA_ERRSYNTAX || status == LUA_ERRMEM) {
        print_error(lua_tostring(L, -1));
        lua_pop(L, 1);
        return LUA_STATEMENT_FAILED;
    }
    return LUA_STATEMENT_RAN;
}

}  // namespace

void lua_results_begin(LuaResults* results) {
    *results = {-1, 0, false};
}

LuaOutcome lua_statement_run(ox_lua_ctx* ctx, LuaResults* results, const char* source, size_t length) {
    bool collects = ox_lua_hold(ctx->L);
    show_results_table(ctx->L, results);
    LuaOutcome outcome = load_statement(ctx->L, source, length);
    ox_lua_collect(ctx->L, collects);
    if (outcome != LUA_STATEMENT_RAN) return outcome;
    lua_print_results(ctx, results);
    return lua_interrupted(ctx) ? LUA_STATEMENT_INTERRUPTED : LUA_STATEMENT_RAN;
}

void lua_results_hide(ox_lua_ctx* ctx, const LuaResults* results) {
    if (!results->global_set) return;
    bool collects = ox_lua_hold(ctx->L);
    lua_pushnil(ctx->L);
    set_results_global(ctx->L);
    ox_lua_collect(ctx->L, collects);
}
