#include "lua/lua_script.hpp"

#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include "lua/lua_session.hpp"
#include "ox_log.hpp"
#include "ox_lua.hpp"
#include "ox_memory.hpp"
#include "ox_out_buffer.hpp"
#include "ox_raii.hpp"
#include "session/interrupt.hpp"

namespace {

void file_close(FILE* file) {
    if (file) fclose(file);
}
using FileRef = ox_owner<FILE, file_close>;

/// The whole file; null when it cannot be read to its end.
ox_str* read_script(FILE* file) {
    struct stat info;
    bool regular = fstat(fileno(file), &info) == 0 && S_ISREG(info.st_mode);
    ox_str* text = ox_dynarray_init_reserved(regular ? static_cast<size_t>(info.st_size) + 1 : 0);
    char* line = nullptr;
    size_t capacity = 0;
    for (ssize_t length = 0; (length = getline(&line, &capacity, file)) >= 0;) {
        ox_str_add_n(text, line, static_cast<size_t>(length));
    }
    free(line);
    if (feof(file) && !ferror(file)) return text;
    if (errno == ENOMEM) ox_memory_failed(__func__);
    ox_str_free(text);
    return nullptr;
}

/// Cuts a byte order mark, then empties a first line that begins with "#!"; its newline stays, so that lines
/// keep their numbers.
void cut_first_line(ox_str* text) {
    const char* mark = "\xef\xbb\xbf";
    if (strncmp(ox_dynarray_get(text), mark, strlen(mark)) == 0) ox_dynarray_cut(text, 0, strlen(mark));
    const char* data = ox_dynarray_get(text);
    if (strncmp(data, "#!", 2) != 0) return;
    const auto* newline = static_cast<const char*>(memchr(data, '\n', ox_str_length(text)));
    if (newline) ox_dynarray_cut(text, 0, static_cast<size_t>(newline - data));
}

// A signal that ends the program raises an error in the script first, so that it can clean up and nothing it
// printed is lost. The second one ends whatever the script does then.
ox_lua_ctx* volatile ended = nullptr;
volatile sig_atomic_t deadly = 0;
enum { END_US = 200000 };  // code that takes longer to come to where the error is raised is not waited for

void die(int signal) {
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    sigaction(signal, &action, nullptr);
    raise(signal);
}

void end_now(int) {
    if (ended && ox_lua_stopped(ended)) die(deadly);
}

void end_script(int signal) {
    if (!ended) {
        die(signal);
        return;
    }
    if (deadly) {
        ox_lua_stop(ended);
    } else {
        deadly = signal;
        ox_lua_interrupt(ended);
    }
    struct itimerval time = {{0, 0}, {0, END_US}};
    setitimer(ITIMER_REAL, &time, nullptr);
    shell_interrupt(signal);
}

void handle(int signal, void (*handler)(int)) {
    struct sigaction action = {};
    struct sigaction old = {};
    action.sa_handler = handler;
    // Restarted, so that no write is cut short.
    action.sa_flags = SA_RESTART;
    if (sigaction(signal, &action, &old) == 0 && old.sa_handler == SIG_IGN) sigaction(signal, &old, nullptr);
}

void watch_signals(ox_lua_ctx* ctx) {
    ended = ctx;
    lua_interrupt_waits(ctx);
    handle(SIGALRM, end_now);
    handle(SIGINT, end_script);
    handle(SIGTERM, end_script);
    handle(SIGHUP, end_script);
}

void die_after_all() {
    ended = nullptr;
    lua_interrupt_waits(nullptr);
    if (!deadly) return;
    ox_out_push();
    die(deadly);
}

/// Whether the script's error is the one that the signal raised.
bool ended_by_signal(const ox_lua_ctx* ctx) {
    return deadly && strstr(ox_dynarray_get(ctx->err), "interrupted!");
}

/// Whether an error's text tells that memory ran out.
bool tells_of_memory(const char* text) {
    if (strstr(text, "[-2] Out of memory")) return true;
    static const char reason[] = "not enough memory";
    if (strncmp(text, reason, sizeof(reason) - 1) == 0) return true;
    const char* found = strstr(text, reason);
    const char* line_end = strchr(text, '\n');
    return found && (!line_end || found < line_end) && found - text >= 2 && strncmp(found - 2, ": ", 2) == 0;
}

ox_lua_ctx* last_context = nullptr;

/// Memory that runs out in the program's own part ends the script as it ends in Lua.
void last_words(const char* message) {
    ox_lua_drain(last_context);
    if (!strstr(message, "out of memory") && !strstr(message, "xmalloc failed")) return;
    puts("not enough memory");
    ox_out_push();
    _exit(1);
}

/// Runs the text and tells its error. 1 when memory ran out.
int run_script(ox_lua_ctx* ctx, const ox_str* text, const char* path, json_t* args) {
    size_t size = ox_dynarray_size(text);
    last_context = ctx;
    auto* earlier_words = ox_log_last_words;
    ox_log_last_words = last_words;
    int result = 0;
    if (ox_lua_exec(ctx, ox_dynarray_get(text), size > 0 ? size - 1 : 0, path, args) != 0 &&
        !ended_by_signal(ctx)) {
        lua_error_write(ctx->err);
        putchar('\n');
        result = tells_of_memory(ox_dynarray_get(ctx->err)) ? 1 : 0;
    }
    ox_lua_finish(ctx);
    ox_log_last_words = earlier_words;
    return result;
}

}  // namespace

bool lua_script_stands_alone(const char* path) {
    static const char mark[] = "-- obxc: stands alone\n";
    FileRef file(fopen(path, "re"));
    char line[128];
    if (!file || !fgets(line, sizeof(line), file) || !strchr(line, '\n')) return false;
    return fgets(line, sizeof(line), file) && strcmp(line, mark) == 0;
}

int lua_script_run(const char* path, json_t* args) {
    JsonRef word;
    if (!path) {
        word.reset(json_incref(json_array_get(args, 0)));
        if (word) json_array_remove(args, 0);
        path = json_string_value(word);
        if (!path) path = "";
    }
    FileRef file(fopen(path, "r"));
    if (!file && errno == ENOMEM) ox_memory_failed(__func__);
    StrRef text(file ? read_script(file) : nullptr);
    if (!text) {
        printf("Cannot open script file %s\n", path);
        return -1;
    }
    cut_first_line(text);
    ox_lua_ctx* ctx = lua_context_new();
    if (!ctx) {
        puts("not enough memory");
        return 1;
    }
    // What the script printed goes out while it runs, and the rest when the context is freed.
    ox_lua_set_flags(ctx, OX_LUA_STREAM);
    watch_signals(ctx);
    int result = run_script(ctx, text, path, args);
    ox_lua_close(ctx);
    die_after_all();
    ox_lua_free(ctx);
    return result;
}
