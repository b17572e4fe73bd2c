// Lua values as Lua mode shows them, of any JSON text and at any width.
#include "fuzz.hpp"
#include "lua/value_printer.hpp"
#include "ox_lua.hpp"
#include "ox_raii.hpp"

namespace {

lua_State* state() {
    static ox_lua_ctx* const ctx = ox_lua_init(0);
    return ctx->L;
}

int print(lua_State* L) {
    lua_value_to_text(L, 1);
    return 0;
}

}  // namespace

/// Lua's collector frees later than in the run that allocated.
extern "C" int __lsan_is_turned_off() {
    return 1;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    lua_State* L = state();
    lua_printer_begin(L);
    lua_printer.line_width = input.number(120) + 1;
    lua_printer.escapes = true;
    std::string text = input.rest();
    lua_pushcfunction(L, print);
    lua_getglobal(L, "ox");
    lua_getfield(L, -1, "json");
    lua_getfield(L, -1, "decode");
    lua_pushlstring(L, text.data(), text.size());
    REQUIRE(lua_pcall(L, 1, 1, 0) == LUA_OK);
    lua_replace(L, -3);
    lua_pop(L, 1);
    lua_pcall(L, 1, 0, 0);  // a value that is nested too deeply is an error
    if (lua_printer.text) REQUIRE(!steers({lua_printer.text, lua_printer.length}));
    lua_printer_end(L);
    lua_settop(L, 0);
    return 0;
}
