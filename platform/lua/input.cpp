// What Lua code reads. A read that may wait shows first what was printed, and a signal that stops the code
// ends it.
#include "input.hpp"

#include <signal.h>
#include <stdio_ext.h>
#include <string.h>
#include <sys/stat.h>

#include "output.hpp"
#include "wrapped.hpp"

namespace {

/// The file handle at `index`, where a read from it may wait for someone who reads what was printed; else
/// null.
luaL_Stream* waiting_stream(lua_State* L, int index) {
    auto* stream = static_cast<luaL_Stream*>(luaL_testudata(L, index, LUA_FILEHANDLE));
    if (!stream || !stream->closef) return nullptr;
    struct stat info;
    bool file = fstat(fileno(stream->f), &info) == 0 && S_ISREG(info.st_mode);
    return file ? nullptr : stream;
}

/// Sets whether a read, or an open, ends when a signal was handled, or goes on.
void signals_end_reads(bool end) {
    static const int numbers[] = {SIGINT, SIGTERM, SIGHUP};
    for (int number : numbers) {
        struct sigaction action;
        if (sigaction(number, nullptr, &action) != 0) continue;
        action.sa_flags = end ? action.sa_flags & ~SA_RESTART : action.sa_flags | SA_RESTART;
        sigaction(number, &action, nullptr);
    }
}

/// Bytes that a stream has read ahead.
size_t read_ahead(const FILE* file) {
#if defined(__UCLIBC__)
    return static_cast<size_t>(file->__bufread - file->__bufpos);
#elif defined(__GLIBC__)
    return static_cast<size_t>(file->_IO_read_end - file->_IO_read_ptr);
#else
    return __freadahead(const_cast<FILE*>(file));
#endif
}

/// Runs `read` so that a signal ends its wait for the file's next bytes. It gives the status of a protected
/// call, or LUA_OK. A stop that was asked for is the error then, whatever the reading makes of the signal.
int read_until_signal(lua_State* L, int (*read)(lua_State* L), const luaL_Stream* stream) {
    bool waits = stream->f && read_ahead(stream->f) == 0;
    if (waits) signals_end_reads(true);
    int status = read(L);
    if (waits) signals_end_reads(false);
    if (waits && context_of(L)->stopped) return stop_error(L);
    return status == LUA_OK ? lua_gettop(L) : lua_error(L);
}

/// Whether the arguments from `first` on are what a read takes: it raises an error otherwise, on its way.
bool reads_known(lua_State* L, int first) {
    for (int i = first; i <= lua_gettop(L); ++i) {
        if (lua_type(L, i) == LUA_TNUMBER && lua_isinteger(L, i)) continue;
        const char* format = lua_type(L, i) == LUA_TSTRING ? lua_tostring(L, i) : "";
        if (*format == '*') ++format;
        if (!*format || !strchr("nlLa", *format)) return false;
    }
    return true;
}

/// The arguments are known ones, so the call needs no protection.
int read_directly(lua_State* L) {
    int results = call_original(L);
    lua_rotate(L, 1, results);
    lua_settop(L, results);
    return LUA_OK;
}

int read_and_show(lua_State* L, luaL_Stream* stream) {
    output_show(context_of(L));
    return read_until_signal(L, read_directly, stream);
}

/// io.read: shows what was printed first, unless a file is read.
int read_input(lua_State* L) {
    require_open(L);
    lua_getfield(L, LUA_REGISTRYINDEX, "_IO_input");
    luaL_Stream* stream = waiting_stream(L, lua_gettop(L));
    lua_pop(L, 1);
    if (stream && !reads_known(L, 1)) output_show(context_of(L));
    return stream && reads_known(L, 1) ? read_and_show(L, stream) : call_original(L);
}

/// file:read
int read_file(lua_State* L) {
    require_open(L);
    luaL_Stream* stream = waiting_stream(L, 1);
    if (stream && !reads_known(L, 2)) output_show(context_of(L));
    return stream && reads_known(L, 2) ? read_and_show(L, stream) : call_original(L);
}

/// Whether the second argument is a mode of io.open, which raises an error otherwise.
bool is_open_mode(lua_State* L) {
    if (lua_isnoneornil(L, 2)) return true;
    if (lua_type(L, 2) != LUA_TSTRING) return false;
    const char* mode = lua_tostring(L, 2);
    if (!*mode || !strchr("rwa", *mode)) return false;
    mode += mode[1] == '+' ? 2 : 1;
    return strspn(mode, "b") == strlen(mode);
}

/// io.open. Opening a pipe waits for its other end: a signal ends that.
int open_file(lua_State* L) {
    require_open(L);
    if (lua_type(L, 1) != LUA_TSTRING || !is_open_mode(L)) return call_original(L);
    signals_end_reads(true);
    int results = call_original(L);
    signals_end_reads(false);
    return context_of(L)->stopped ? stop_error(L) : results;
}

/// The iterator raises what the signal did to the reading as an error of its own.
int read_protected(lua_State* L) {
    lua_settop(L, 0);
    lua_pushvalue(L, lua_upvalueindex(1));
    return lua_pcall(L, 0, LUA_MULTRET, 0);
}

/// One step of io.lines and file:lines: the upvalues are their own iterator and the file handle.
int next_line(lua_State* L) {
    require_open(L);
    output_show(context_of(L));
    auto* stream = static_cast<luaL_Stream*>(lua_touserdata(L, lua_upvalueindex(2)));
    return read_until_signal(L, read_protected, stream);
}

/// io.lines and file:lines, whose iterator shows what was printed, unless a file is read.
int lines(lua_State* L) {
    require_open(L);
    bool standard = lua_isnoneornil(L, 1);
    if (standard) lua_getfield(L, LUA_REGISTRYINDEX, "_IO_input");
    if (!standard) lua_pushvalue(L, 1);
    bool waits = waiting_stream(L, lua_gettop(L)) != nullptr;
    int handle = luaL_ref(L, LUA_REGISTRYINDEX);
    int results = call_original(L);
    lua_rawgeti(L, LUA_REGISTRYINDEX, handle);
    luaL_unref(L, LUA_REGISTRYINDEX, handle);
    if (!waits || results != 1) {
        lua_pop(L, 1);
        return results;
    }
    lua_pushcclosure(L, next_line, 2);
    return 1;
}

}  // namespace

void input_open(lua_State* L) {
    lua_getglobal(L, "io");
    wrap_field(L, "read", read_input);
    wrap_field(L, "lines", lines);
    wrap_field(L, "open", open_file);
    luaL_getmetatable(L, LUA_FILEHANDLE);
    wrap_field(L, "read", read_file);
    wrap_field(L, "lines", lines);
    lua_pop(L, 2);
}
