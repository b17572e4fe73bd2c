// Where printed text goes: into the context's buffer, or straight to standard output.
//
// The buffer is reached through a stream of its own that stands in for standard output in io.stdout, so
// print, io.write and file methods all end up in the same place, in order.
//
// What was printed is there before code reads, or runs another program. On a terminal each line is there at
// once.
#include "output.hpp"

#include <errno.h>
#include <signal.h>
#include <stdio_ext.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "atexit.hpp"
#include "memory.hpp"
#include "ox_out.hpp"
#include "ox_out_buffer.hpp"
#include "ox_row.hpp"

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
    if (at_once) fflush(stdout);
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

/// Shows what was printed so far.
void show(LuaContext* context) {
    if (context->flags & OX_LUA_STREAM) output_drain(context);
    ox_out_flush();
}

/// Calls the replaced function, the upvalue, in this call's place, so that its errors name the caller's line.
int call_original(lua_State* L) {
    return lua_tocfunction(L, lua_upvalueindex(1))(L);
}

/// Functions that act on the process or its surroundings: refused while the context is closed.
int call_open(lua_State* L) {
    require_open(L);
    return call_original(L);
}

/// io.flush and file:flush: the original, and a streaming context's text goes out.
int flush(lua_State* L) {
    ox_out_flush();
    int results = call_original(L);
    LuaContext* context = context_of(L);
    if (context->flags & OX_LUA_STREAM) show(context);
    return results;
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
#ifdef __GLIBC__
    return static_cast<size_t>(file->_IO_read_end - file->_IO_read_ptr);
#else
    static_cast<void>(file);
    return 0;
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
    show(context_of(L));
    return read_until_signal(L, read_directly, stream);
}

/// io.read: shows what was printed first, unless a file is read.
int read_input(lua_State* L) {
    require_open(L);
    lua_getfield(L, LUA_REGISTRYINDEX, "_IO_input");
    luaL_Stream* stream = waiting_stream(L, lua_gettop(L));
    lua_pop(L, 1);
    if (stream && !reads_known(L, 1)) show(context_of(L));
    return stream && reads_known(L, 1) ? read_and_show(L, stream) : call_original(L);
}

/// file:read
int read_file(lua_State* L) {
    require_open(L);
    luaL_Stream* stream = waiting_stream(L, 1);
    if (stream && !reads_known(L, 2)) show(context_of(L));
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

/// os.execute. While the program runs, SIGINT is ignored here; when the program died of one, it is raised
/// here too.
int execute_program(lua_State* L) {
    require_open(L);
    show(context_of(L));
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

/// io.popen
int run_program(lua_State* L) {
    require_open(L);
    show(context_of(L));
    ox_rl_row_unknown();
    return call_original(L);
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
    show(context_of(L));
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

/// Replaces field `name` of the table on top by `function`, whose upvalue is the old value.
void wrap_field(lua_State* L, const char* name, lua_CFunction function) {
    lua_getfield(L, -1, name);
    lua_pushcclosure(L, function, 1);
    lua_setfield(L, -2, name);
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
    wrap_field(L, "read", read_input);
    wrap_field(L, "write", write_output);
    wrap_field(L, "lines", lines);
    wrap_field(L, "popen", run_program);
    wrap_field(L, "open", open_file);
    wrap_field(L, "output", call_open);
    wrap_field(L, "tmpfile", call_open);
    luaL_getmetatable(L, LUA_FILEHANDLE);
    wrap_field(L, "flush", flush);
    wrap_field(L, "read", read_file);
    wrap_field(L, "write", write_file);
    wrap_field(L, "lines", lines);
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

void output_close(LuaContext* context) {
    if (context->capture) fclose(context->capture);
    context->capture = nullptr;
    if (context->by_lines) setvbuf(stdout, nullptr, _IOFBF, 0);
    context->by_lines = false;
}
