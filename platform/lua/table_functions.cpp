// The functions of tables that may work for long, so that a stop reaches them: Lua's own ones do the work, in
// pieces that each begin with a call, before which a stop is looked at, or it is done here where they offer
// no pieces.
#include "table_functions.hpp"

#include "wrapped.hpp"

namespace {

enum {
    PIECE = 1 << 12,     // a slow router is through with it in a few milliseconds
    LONG_SORT = 1 << 16  // what is shorter is sorted at Lua's own speed
};

/// Moves `count` elements by Lua's own function; arguments as of `move`, with `to_table` the index of the
/// destination.
void move_piece(lua_State* L, lua_Integer from, lua_Integer count, lua_Integer to, int to_table) {
    lua_pushvalue(L, lua_upvalueindex(1));
    lua_pushvalue(L, 1);
    lua_pushinteger(L, from);
    lua_pushinteger(L, from + count - 1);
    lua_pushinteger(L, to);
    lua_pushvalue(L, to_table);
    lua_call(L, 5, 0);
}

/// table.move(from, first, last, to [, to_table])
int move(lua_State* L) {
    lua_Integer first = luaL_checkinteger(L, 2);
    lua_Integer last = luaL_checkinteger(L, 3);
    lua_Integer to = luaL_checkinteger(L, 4);
    bool counts = last >= first && (first > 0 || last < LUA_MAXINTEGER + first);
    lua_Integer count = counts ? last - first + 1 : 0;
    // Few elements, or arguments that Lua's own function refuses.
    if (count <= PIECE || to > LUA_MAXINTEGER - count + 1 || !lua_istable(L, 1)) return call_original(L);
    int to_table = lua_isnoneornil(L, 5) ? 1 : 5;
    if (!lua_istable(L, to_table)) return call_original(L);
    bool overlaps = to > first && to <= last && (to_table == 1 || lua_compare(L, 1, to_table, LUA_OPEQ));
    for (lua_Integer done = 0; done < count;) {
        lua_Integer piece = count - done < PIECE ? count - done : static_cast<lua_Integer>(PIECE);
        lua_Integer offset = overlaps ? count - done - piece : done;
        move_piece(L, first + offset, piece, to + offset, to_table);
        done += piece;
    }
    lua_pushvalue(L, to_table);
    return 1;
}

/// A place in the list at 1 whose elements are moved one by one; a stop ends that.
void step(lua_State* L, lua_Integer to, lua_Integer from) {
    if (to % PIECE == 0 && context_of(L)->stopped) stop_error(L);
    lua_geti(L, 1, from);
    lua_seti(L, 1, to);
}

/// table.insert(list, place, value); what else it may be is left to Lua's own function, and its errors.
int insert(lua_State* L) {
    if (lua_gettop(L) != 3 || !lua_istable(L, 1) || !lua_isinteger(L, 2)) return call_original(L);
    lua_Integer place = lua_tointeger(L, 2);
    lua_Integer end = luaL_len(L, 1);
    if (place < 1 || end < 0 || end == LUA_MAXINTEGER || place > end + 1) return call_original(L);
    for (lua_Integer i = end + 1; i > place; --i) step(L, i, i - 1);
    lua_seti(L, 1, place);
    return 0;
}

/// table.remove(list, place) in the same way.
int remove(lua_State* L) {
    if (lua_gettop(L) != 2 || !lua_istable(L, 1) || !lua_isinteger(L, 2)) return call_original(L);
    lua_Integer place = lua_tointeger(L, 2);
    lua_Integer size = luaL_len(L, 1);
    if (place < 1 || place > size) return call_original(L);
    lua_geti(L, 1, place);
    for (; place < size; ++place) step(L, place, place + 1);
    lua_pushnil(L);
    lua_seti(L, 1, place);
    return 1;
}

int is_less(lua_State* L) {
    lua_pushboolean(L, lua_compare(L, 1, 2, LUA_OPLT));
    return 1;
}

/// table.sort(list [, is_less]); a long list without a function gets one, which does the same.
int sort(lua_State* L) {
    if (lua_istable(L, 1) && lua_isnoneornil(L, 2) && lua_rawlen(L, 1) > LONG_SORT) {
        lua_settop(L, 1);
        lua_pushcfunction(L, is_less);
    }
    return call_original(L);
}

}  // namespace

void tables_open(lua_State* L) {
    lua_getglobal(L, "table");
    wrap_field(L, "move", move);
    wrap_field(L, "insert", insert);
    wrap_field(L, "remove", remove);
    wrap_field(L, "sort", sort);
    lua_pop(L, 1);
}
