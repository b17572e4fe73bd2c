// Lua's JSON: what is read can be written and is the same when it is read again; and it is what the JSON
// library makes of the text.
#include <string.h>

#include "fuzz.hpp"
#include "ox_lua.hpp"
#include "ox_raii.hpp"

namespace {

constexpr char code[] = R"(
    local json = ox.json
    function again(text)
        local value = json.decode(text)
        if value == nil then return nil end
        local first = json.encode(value)
        assert(json.encode(json.decode(first)) == first, first)
        return first
    end)";

ox_lua_ctx* context() {
    static ox_lua_ctx* const ctx = [] {
        ox_lua_ctx* made = ox_lua_init(0);
        REQUIRE(made && ox_lua_exec(made, code, strlen(code), nullptr, nullptr) == 0);
        return made;
    }();
    return ctx;
}

}  // namespace

/// Lua's collector frees later than in the run that allocated.
extern "C" int __lsan_is_turned_off() {
    return 1;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    lua_State* L = context()->L;
    lua_getglobal(L, "again");
    lua_pushlstring(L, reinterpret_cast<const char*>(data), size);
    REQUIRE(lua_pcall(L, 1, 1, 0) == LUA_OK);
    JsonRef expected(
        json_loadb(reinterpret_cast<const char*>(data), size, JSON_DECODE_ANY | JSON_ALLOW_NUL, nullptr));
    size_t length = 0;
    const char* text = lua_tolstring(L, -1, &length);
    REQUIRE(!expected == !text);
    if (text) {
        JsonRef again(json_loadb(text, length, JSON_DECODE_ANY | JSON_ALLOW_NUL, nullptr));
        REQUIRE(json_equal(again, expected));
    }
    lua_settop(L, 0);
    return 0;
}
