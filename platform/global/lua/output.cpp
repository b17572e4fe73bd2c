// Where printed text goes: into the context's buffer, or straight to standard output.
//
// The buffer is reached through a stream of its own that stands in for standard output in io.stdout, so
// print, io.write and file methods all end up in the same place, in order.
#include <stdlib.h>

#include "context.hpp"

namespace {

enum { STREAM_LIMIT = 1 << 16 };  // bytes of `out` that a streaming context holds back

void write_out(LuaContext* context) {
    fwrite(ox_dynarray_get(context->out), 1, ox_str_length(context->out), stdout);
    ox_str_clear(context->out);
}

ssize_t capture_write(void* cookie, const char* data, size_t size) {
    auto* context = static_cast<LuaContext*>(cookie);
    ox_str_add_n(context->out, data, size);
    bool stream = (context->flags & OX_LUA_STREAM) != 0;
    if (stream && ox_str_length(context->out) > STREAM_LIMIT) write_out(context);
    return static_cast<ssize_t>(size);
}

FILE* sink_of(const LuaContext* context) {
    bool direct = (context->flags & OX_LUA_DIRECT_OUTPUT) != 0 || !context->capture;
    return direct ? stdout : context->capture;
}

int print(lua_State* L) {
    FILE* sink = sink_of(context_of(L));
    int count = lua_gettop(L);
    for (int i = 1; i <= count; ++i) {
        size_t length = 0;
        const char* text = luaL_tolstring(L, i, &length);
        if (i > 1) fputc('\t', sink);
        fwrite(text, 1, length, sink);
        lua_pop(L, 1);
    }
    fputc('\n', sink);
    return 0;
}

/// io.flush and file:flush: the original, and a streaming context's text goes out.
int flush(lua_State* L) {
    int count = lua_gettop(L);
    lua_pushvalue(L, lua_upvalueindex(1));
    lua_insert(L, 1);
    lua_call(L, count, LUA_MULTRET);
    LuaContext* context = context_of(L);
    if (context->flags & OX_LUA_STREAM) {
        output_drain(context);
        fflush(stdout);
    }
    return lua_gettop(L);
}

int exit_process(lua_State* L) {
    LuaContext* context = context_of(L);
    output_drain(context);
    int count = lua_gettop(L);
    lua_pushvalue(L, lua_upvalueindex(1));
    lua_insert(L, 1);
    lua_call(L, count, 0);
    return 0;
}

/// Replaces field `name` of the table on top by `function`, whose upvalue is the old value.
void wrap_field(lua_State* L, const char* name, lua_CFunction function) {
    lua_getfield(L, -1, name);
    lua_pushcclosure(L, function, 1);
    lua_setfield(L, -2, name);
}

}  // namespace

void output_open(LuaContext* context) {
    lua_State* L = context->L;
    cookie_io_functions_t functions = {};
    functions.write = capture_write;
    context->capture = fopencookie(context, "w", functions);
    lua_pushcfunction(L, print);
    lua_setglobal(L, "print");
    lua_getglobal(L, "os");
    wrap_field(L, "exit", exit_process);
    lua_getglobal(L, "io");
    wrap_field(L, "flush", flush);
    luaL_getmetatable(L, LUA_FILEHANDLE);
    wrap_field(L, "flush", flush);
    lua_pop(L, 3);
}

void output_apply(LuaContext* context) {
    lua_State* L = context->L;
    output_sync(context);
    // The handle itself, not what the code may have put into the table `io` meanwhile.
    lua_getfield(L, LUA_REGISTRYINDEX, "ox.stdout");
    if (lua_isnil(L, -1)) {
        lua_pop(L, 1);
        lua_getglobal(L, "io");
        lua_getfield(L, -1, "stdout");
        lua_remove(L, -2);
        lua_pushvalue(L, -1);
        lua_setfield(L, LUA_REGISTRYINDEX, "ox.stdout");
    }
    auto* stream = static_cast<luaL_Stream*>(lua_touserdata(L, -1));
    if (stream) stream->f = sink_of(context);
    lua_pop(L, 1);
}

void output_sync(LuaContext* context) {
    if (context->capture) fflush(context->capture);
}

void output_drain(LuaContext* context) {
    output_sync(context);
    write_out(context);
}

void output_close(LuaContext* context) {
    if (context->capture) fclose(context->capture);
    context->capture = nullptr;
}
