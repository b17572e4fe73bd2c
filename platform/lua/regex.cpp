// Extended regular expressions, as `grep -E` has them.
#include "regex.hpp"

#include <regex.h>
#include <string.h>

#include "context.hpp"
#include "memory.hpp"

namespace {

const char* const REGEX = "ox.regex";

struct Regex {
    regex_t compiled;
    bool there;
};

int regex_gc(lua_State* L) {
    auto* regex = static_cast<Regex*>(lua_touserdata(L, 1));
    if (regex->there) regfree(&regex->compiled);
    regex->there = false;
    return 0;
}

/// The function that ox.regex returns: (text) -> whether the expression is found in it.
int matches(lua_State* L) {
    auto* regex = static_cast<Regex*>(lua_touserdata(L, lua_upvalueindex(1)));
    lua_pushboolean(L, regexec(&regex->compiled, luaL_checkstring(L, 1), 0, nullptr, 0) == 0);
    return 1;
}

/// ox.regex(expression [, ignore_case]): a function of a text; nil and a message where the expression is
/// wrong.
int regex_new(lua_State* L) {
    const char* text = luaL_checkstring(L, 1);
    int flags = REG_EXTENDED | REG_NOSUB | (lua_toboolean(L, 2) ? REG_ICASE : 0);
    auto* regex = static_cast<Regex*>(lua_newuserdata(L, sizeof(Regex)));
    *regex = {};
    if (luaL_newmetatable(L, REGEX)) {
        lua_pushcfunction(L, regex_gc);
        lua_setfield(L, -2, "__gc");
    }
    lua_setmetatable(L, -2);
    int error = regcomp(&regex->compiled, text, flags);
    if (error == REG_ESPACE) raise_memory(L);
    if (error != 0) {
        char reason[128];
        regerror(error, &regex->compiled, reason, sizeof(reason));
        lua_pushnil(L);
        lua_pushstring(L, reason);
        return 2;
    }
    regex->there = true;
    lua_pushcclosure(L, matches, 1);
    return 1;
}

}  // namespace

void regex_open(lua_State* L) {
    lua_pushcfunction(L, regex_new);
    lua_setfield(L, -2, "regex");
}
