// Where printed text goes: into the context's buffer, or straight to standard output.
//
// The buffer is reached through a stream of its own that stands in for standard output in io.stdout, so
// print, io.write and file methods all end up in the same place, in order.
//
// What was printed is there before code reads (input.hpp), or runs another program. On a terminal each line
// is there at once.
#include "output.hpp"

#include <errno.h>
#include <signal.h>
#include <spawn.h>
#include <stdio_ext.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include "atexit.hpp"
#include "memory.hpp"
#include "ox_out.hpp"
#include "ox_out_buffer.hpp"
#include "ox_row.hpp"
#include "wrapped.hpp"

namespace {

enum { STREAM_LIMIT = 1 << 16 };  // bytes of `out` that a streaming context holds back

void write_out(LuaContext* context) {
    ox_out_write(stdout, ox_dynarray_get(context->out), ox_str_length(context->out));
    ox_str_clear(context->out);
}

/// Bytes for which there is no memory are lost, and the code fails with Lua's error for memory.
ssize_t capture_write(void* cookie, const char* data, size_t size) {
    auto* context = static_cast<LuaContext*>(cookie);
    bool streams = (context->flags & OX_LUA_STREAM) != 0;
    bool fits = (!streams || size <= STREAM_LIMIT) && context->out->reserve(size + 1);
    if (!fits && streams) {
        write_out(context);
        fwrite(data, 1, size, stdout);
        return static_cast<ssize_t>(size);
    }
    if (!fits) {
        memory_short(context);
        return static_cast<ssize_t>(size);
    }
    ox_str_add_n(context->out, data, size);
    if (!streams) return static_cast<ssize_t>(size);
    // The stream is line-buffered or unbuffered when the code asked for it (setvbuf), or on a terminal.
    bool at_once = __flbf(context->capture) || __fbufsize(context->capture) <= 1;
    if (at_once || ox_str_length(context->out) > STREAM_LIMIT) write_out(context);
    if (at_once) ox_out_push();
    return static_cast<ssize_t>(size);
}

FILE* sink_of(const LuaContext* context) {
    bool direct = (context->flags & OX_LUA_DIRECT_OUTPUT) != 0 || !context->capture;
    return direct ? stdout : context->capture;
}

/// Pushes the text of the value at `index` by the function `tostring` at `by`; the upvalue is Lua's own one.
const char* push_text(lua_State* L, int index, int by, size_t* length) {
    if (lua_rawequal(L, by, lua_upvalueindex(1))) return luaL_tolstring(L, index, length);
    lua_pushvalue(L, by);
    lua_pushvalue(L, index);
    lua_call(L, 1, 1);
    const char* text = lua_tolstring(L, -1, length);
    if (!text) luaL_error(L, "'tostring' must return a string to 'print'");
    return text;
}

/// print, by the global tostring of the moment.
int print(lua_State* L) {
    int count = lua_gettop(L);
    lua_getglobal(L, "tostring");
    for (int i = 1; i <= count; ++i) {
        size_t length = 0;
        const char* text = push_text(L, i, count + 1, &length);
        FILE* sink = sink_of(context_of(L));
        if (i > 1) fputc('\t', sink);
        ox_out_write(sink, text, length);
        lua_pop(L, 1);
    }
    fputc('\n', sink_of(context_of(L)));
    return 0;
}

/// Functions that act on the process or its surroundings: refused while the context is closed.
int call_open(lua_State* L) {
    require_open(L);
    return call_original(L);
}

/// io.flush and file:flush: the original, and a streaming context's text goes out.
int flush(lua_State* L) {
    LuaContext* context = context_of(L);
    const auto* stream = static_cast<luaL_Stream*>(luaL_testudata(L, 1, LUA_FILEHANDLE));
    bool own = !stream || stream->f == stdout || stream->f == context->capture;
    ox_out_flush();
    int results = call_original(L);
    if (!(context->flags & OX_LUA_STREAM)) return results;
    errno = 0;
    output_show(context);
    return own && ferror(stdout) ? luaL_fileresult(L, 0, nullptr) : results;
}

/// Whether the arguments from `first` on are texts, a long one among them, for standard output itself.
bool writes_long(lua_State* L, const luaL_Stream* stream, int first) {
    enum { LONG = 1 << 16 };
    if (!stream || !stream->closef || stream->f != stdout) return false;
    bool found = false;
    for (int i = first; i <= lua_gettop(L); ++i) {
        if (lua_type(L, i) != LUA_TSTRING) return false;
        if (lua_rawlen(L, i) > LONG) found = true;
    }
    return found;
}

/// Writes the arguments so that Ctrl-C stops them, and returns the handle on top.
int write_long(lua_State* L, int first) {
    for (int i = first; i < lua_gettop(L); ++i) {
        size_t length = 0;
        const char* text = lua_tolstring(L, i, &length);
        ox_out_write(stdout, text, length);
    }
    return ferror(stdout) ? luaL_fileresult(L, 0, nullptr) : 1;
}

/// The byte that the arguments from `first` on end with as texts; 0: they are empty.
char last_byte(lua_State* L, int first) {
    char last = 0;
    for (int i = first; i <= lua_gettop(L) && lua_isstring(L, i); ++i) {
        bool number = lua_type(L, i) == LUA_TNUMBER;
        size_t length = number ? 1 : lua_rawlen(L, i);
        if (length > 0) last = number ? '0' : lua_tostring(L, i)[length - 1];
    }
    return last;
}

/// Writes by the original, and remembers how that leaves the terminal's row where it goes past standard
/// output.
int write_short(lua_State* L, const luaL_Stream* stream, int first) {
    bool error = stream && stream->closef && stream->f == stderr;
    char last = error ? last_byte(L, first) : '\0';
    if (last) ox_out_note_error(last);
    return call_original(L);
}

/// file:write
int write_file(lua_State* L) {
    auto* stream = static_cast<luaL_Stream*>(luaL_testudata(L, 1, LUA_FILEHANDLE));
    if (!writes_long(L, stream, 2)) return write_short(L, stream, 2);
    lua_pushvalue(L, 1);
    return write_long(L, 2);
}

/// io.write
int write_output(lua_State* L) {
    lua_getfield(L, LUA_REGISTRYINDEX, "_IO_output");
    auto* stream = static_cast<luaL_Stream*>(luaL_testudata(L, -1, LUA_FILEHANDLE));
    lua_pop(L, 1);
    if (!writes_long(L, stream, 1)) return write_short(L, stream, 1);
    lua_getfield(L, LUA_REGISTRYINDEX, "_IO_output");
    return write_long(L, 1);
}

int exit_process(lua_State* L) {
    require_open(L);
    atexit_run(L);
    output_drain(context_of(L));
    return call_original(L);
}

/// os.execute. While the program runs, SIGINT is ignored here; when the program died of one, it is raised
/// here too.
int execute_program(lua_State* L) {
    require_open(L);
    output_show(context_of(L));
    ox_rl_row_unknown();
    errno = 0;
    int results = call_original(L);
    int error = errno;
    // The library tells of a process that could not be made as of one that ended with 127.
    bool none = error != 0 && error != EINTR && results == 3 && lua_tointeger(L, -1) == 127;
    if (none) {
        errno = error;
        return luaL_fileresult(L, 0, nullptr);
    }
    bool by_signal =
        results == 3 && lua_type(L, -2) == LUA_TSTRING && strcmp(lua_tostring(L, -2), "signal") == 0;
    if (by_signal && lua_tointeger(L, -1) == SIGINT) raise(SIGINT);
    return results;
}

/// Why no program can be started: an error number, 0 when one could be.
int spawn_error(void) {
    static char name[] = "sh", option[] = "-c", command[] = ":";
    char* words[] = {name, option, command, nullptr};
    pid_t pid = 0;
    int error = posix_spawn(&pid, "/bin/sh", nullptr, nullptr, words, environ);
    while (error == 0 && waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
    }
    return error;
}

/// io.popen. glibc tells of memory whatever kept it from starting the program.
int run_program(lua_State* L) {
    require_open(L);
    output_show(context_of(L));
    ox_rl_row_unknown();
    int results = call_original(L);
    bool none = results == 3 && lua_isnil(L, -3) && lua_tointeger(L, -1) == ENOMEM;
    int error = none ? spawn_error() : 0;
    if (error == 0) return results;
    errno = error;
    return luaL_fileresult(L, 0, luaL_checkstring(L, 1));
}

/// The handle io.`name` itself, not what the code may have put into the table `io` meanwhile.
luaL_Stream* standard_handle(lua_State* L, const char* name) {
    lua_pushfstring(L, "ox.%s", name);
    lua_pushvalue(L, -1);
    if (lua_rawget(L, LUA_REGISTRYINDEX) == LUA_TNIL) {
        lua_getglobal(L, "io");
        lua_getfield(L, -1, name);
        lua_pushvalue(L, -4);
        lua_pushvalue(L, -2);
        lua_rawset(L, LUA_REGISTRYINDEX);
        lua_remove(L, -2);
        lua_remove(L, -2);
    }
    auto* stream = static_cast<luaL_Stream*>(lua_touserdata(L, -1));
    lua_pop(L, 2);
    return stream;
}

/// On a terminal, lines are written one by one.
void set_buffering(LuaContext* context) {
    bool terminal = isatty(STDOUT_FILENO) != 0;
    bool direct = (context->flags & OX_LUA_DIRECT_OUTPUT) != 0;
    if (terminal && direct != context->by_lines) {
        setvbuf(stdout, nullptr, direct ? _IOLBF : _IOFBF, 0);
        context->by_lines = direct;
    }
    if (terminal && (context->flags & OX_LUA_STREAM) && context->capture) {
        setvbuf(context->capture, nullptr, _IOLBF, 0);
    }
}

}  // namespace

void output_open(LuaContext* context) {
    lua_State* L = context->L;
    cookie_io_functions_t functions = {};
    functions.write = capture_write;
    context->capture = fopencookie(context, "w", functions);
    lua_getglobal(L, "tostring");
    lua_pushcclosure(L, print, 1);
    lua_setglobal(L, "print");
    lua_getglobal(L, "os");
    wrap_field(L, "exit", exit_process);
    wrap_field(L, "execute", execute_program);
    wrap_field(L, "remove", call_open);
    wrap_field(L, "rename", call_open);
    wrap_field(L, "setlocale", call_open);
    wrap_field(L, "tmpname", call_open);
    lua_getglobal(L, "io");
    wrap_field(L, "flush", flush);
    wrap_field(L, "write", write_output);
    wrap_field(L, "popen", run_program);
    wrap_field(L, "output", call_open);
    wrap_field(L, "tmpfile", call_open);
    luaL_getmetatable(L, LUA_FILEHANDLE);
    wrap_field(L, "flush", flush);
    wrap_field(L, "write", write_file);
    lua_pop(L, 3);
}

void output_apply(LuaContext* context) {
    lua_State* L = context->L;
    output_sync(context);
    luaL_Stream* out = standard_handle(L, "stdout");
    if (out) out->f = sink_of(context);
    luaL_Stream* err = standard_handle(L, "stderr");
    if (err) err->f = (context->flags & OX_LUA_CLOSED) ? sink_of(context) : stderr;
    set_buffering(context);
}

void output_sync(LuaContext* context) {
    if (context->capture) fflush(context->capture);
}

void output_drain(LuaContext* context) {
    output_sync(context);
    write_out(context);
}

void output_show(LuaContext* context) {
    if (context->flags & OX_LUA_STREAM) output_drain(context);
    ox_out_flush();
}

void output_close(LuaContext* context) {
    if (context->capture) fclose(context->capture);
    context->capture = nullptr;
    if (context->by_lines) setvbuf(stdout, nullptr, _IOFBF, 0);
    context->by_lines = false;
}
