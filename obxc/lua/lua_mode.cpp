#include "lua/lua_mode.hpp"

#include <ctype.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "lua/lua_complete.hpp"
#include "lua/lua_modules.hpp"
#include "lua/lua_record.hpp"
#include "lua/lua_results.hpp"
#include "lua/lua_session.hpp"
#include "ox_editor.hpp"
#include "ox_history.hpp"
#include "ox_lua.hpp"
#include "ox_out_buffer.hpp"
#include "ox_plain.hpp"
#include "ox_raii.hpp"
#include "ox_rl.hpp"
#include "ox_row.hpp"
#include "ox_string.hpp"
#include "session/channels.hpp"
#include "session/editor.hpp"
#include "session/interrupt.hpp"
#include "session/prompt.hpp"
#include "session/recording.hpp"

namespace {

/// One visit. It outlives the jumps of the interrupt, so it does not live on the stack.
struct LuaMode {
    ox_lua_ctx* ctx;
    LuaResults results;
    char* line;        ///< the last line, owned
    ox_str* pending;   ///< the statement that is being entered, or null
    json_t* recorded;  ///< lines of a recording as its file holds them, or null
    bool among_lines;  ///< it was begun in the shell, whose lines its file holds
    bool runs;         ///< a statement is being run
    pid_t process;     ///< the one that entered, not a child that a module made
};
LuaMode mode;

void record_add(const char* text) {
    if (!mode.recorded) mode.recorded = json_array();
    json_array_append_new(mode.recorded, json_string_nocheck(text));
}

/// Keeps the shell's lines of a recording that goes on, but for the one that enters Lua mode.
void keep_recorded_lines() {
    mode.among_lines = recording && record_lines > 0;
    for (int age = static_cast<int>(record_lines) - 1; mode.among_lines && age > 0; --age) {
        const char* line = ox_history_get(age);
        if (line) record_add(line);
    }
}

/// Runs what Ctrl-C stops. False when it had to be left for good, and the context with it.
bool run_watched(void (*run)(ox_lua_ctx* ctx)) {
    lua_interrupt_watch(mode.ctx);
    interrupt_install(lua_interrupt);
    ox_held_mark held;
    interrupt_held = &held;
    bool ran = sigsetjmp(interrupt_context, 1) == 0;
    if (ran) {
        interrupt_armed = 1;
        run(mode.ctx);
    }
    if (lua_abandoned()) {
        mode.ctx = nullptr;
        interrupt_recover();
    }
    return mode.ctx != nullptr;
}

/// Ctrl-C ends the module that hangs, and those behind it.
bool preload() {
    if (run_watched([](ox_lua_ctx* ctx) { lua_preload_modules(ctx->L); })) ox_lua_resume(mode.ctx);
    interrupt_disarm();
    return mode.ctx;
}

void end_at_exit(void);

/// Runs what the statements gave to ox.atexit, at the end of the visit; Ctrl-C ends it.
void finish() {
    if (!mode.ctx) return;
    ox_lua_resume(mode.ctx);
    bool through = run_watched([](ox_lua_ctx* ctx) { ox_lua_close(ctx); });
    if (!through || lua_interrupted(mode.ctx)) putchar('\n');
}

/// A context for this visit.
bool context_open() {
    lua_results_begin(&mode.results);
    mode.ctx = lua_context_new();
    if (!mode.ctx) return false;
    ox_lua_set_flags(mode.ctx, OX_LUA_DIRECT_OUTPUT | OX_LUA_KEEP_EVENTS);
    lua_complete_use(mode.ctx);
    return preload();
}

bool mode_enter() {
    static bool watched = false;
    if (!watched) watched = atexit(end_at_exit) == 0;

    interrupt_disarm();
    prompt_set_mode("lua");
    mode = {};
    mode.process = getpid();
    keep_recorded_lines();
    ox_history_clear();
    editor_history_load(LUA_HISTORY_FILE);
    lua_share_input();
    ox_rl_set_autocomplete_cb(lua_complete);
    ox_rl_set_word_boundaries(LUA_WORD_BOUNDARIES);
    return context_open();
}

/// The recording holds this visit's statements, in a form that runs as a script. One that was begun in the
/// shell holds the shell's lines, then the statements as lines of the shell.
void end_recording() {
    ox_history_clear();
    record_lines = 0;
    for (size_t i = 0; i < json_array_size(mode.recorded); ++i) {
        ox_history_add(json_string_value(json_array_get(mode.recorded, i)));
        ++record_lines;
    }
    record_stop();
}

void mode_leave() {
    free(mode.line);
    ox_str_free(mode.pending);
    finish();
    lua_interrupt_watch(nullptr);
    interrupt_disarm();
    lua_complete_use(nullptr);
    ox_rl_set_word_boundaries(nullptr);
    ox_lua_free(mode.ctx);
    editor_history_save(LUA_HISTORY_FILE);
    if (recording) end_recording();
    json_decref(mode.recorded);
    mode = {};
    ox_history_clear();
    prompt_set_mode(nullptr);
}

void drop_pending() {
    ox_str_free(mode.pending);
    mode.pending = nullptr;
}

/// After a Ctrl-C, and for each statement that would start until Lua mode is left: statements that were typed
/// or pasted behind the interrupted one may build on it, so none of them may run.
bool drop_statement() {
    interrupt_recover();
    ox_rl_drop_input();
    bool abandoned = lua_abandoned();
    mode.runs = mode.runs && !abandoned;
    if (!abandoned) ox_lua_resume(mode.ctx);
    drop_pending();
    prompt_rebuild();
    putchar('\n');
    if (abandoned) {
        puts("The code could not be stopped: its variables are lost.");
        interrupt_disarm();
        if (!context_open()) return false;
    }
    ox_out_push();
    return true;
}

const char* statement_text() {
    return mode.pending ? ox_dynarray_get(mode.pending) : mode.line;
}

void remember_statement(lua_State* L, const char* text) {
    if (isspace(static_cast<unsigned char>(text[0]))) return;
    ox_history_add(text);
    if (!recording) return;
    auto* convert = mode.among_lines ? lua_statement_for_line : lua_statement_for_script;
    StrRef entry(convert(L, text));
    record_add(ox_dynarray_get(entry));
}

/// What os.exit in a statement leaves behind: history and recording, with that statement.
void end_at_exit(void) {
    if (!mode.ctx || mode.process != getpid()) return;
    if (mode.runs) {
        ox_lua_ctx* ctx = ox_lua_init(0);  // the one of the visit may be closed already
        if (ctx) remember_statement(ctx->L, statement_text());
        ox_lua_free(ctx);
    }
    editor_history_save(LUA_HISTORY_FILE);
    if (recording) end_recording();
}

/// Runs the statement that was entered so far, and what follows from its outcome.
void run_statement() {
    const char* text = statement_text();
    size_t length = mode.pending ? ox_str_length(mode.pending) : strlen(text);
    mode.runs = true;
    LuaOutcome outcome = lua_statement_run(mode.ctx, &mode.results, text, length);
    mode.runs = false;
    if (outcome == LUA_STATEMENT_INTERRUPTED) {
        ox_lua_resume(mode.ctx);
        lua_jump_back();
    }
    if (outcome == LUA_STATEMENT_INCOMPLETE) {
        if (!mode.pending) mode.pending = ox_str_init_chars(mode.line);
        ox_string_strlcpy(prompt, "> ", sizeof(prompt));
        return;
    }
    prompt_rebuild();
    lua_results_hide(mode.ctx, &mode.results);
    prompt_set_mode(outcome == LUA_STATEMENT_FAILED ? "lua(fail)" : "lua");
    remember_statement(mode.ctx->L, text);
    drop_pending();
    interrupt_disarm();
    ox_rl_row_leave();
    ox_out_flush();
}

/// Reads a line into `mode.line`. False at the end of the input.
bool read_line() {
    free(mode.line);
    mode.line = nullptr;
    mode.line = ox_rl(prompt, -1);
    return !ox_rl_ctrl_d_is_pressed();
}

bool is_quit(const char* line) {
    return strcmp(line, "q") == 0 || strcmp(line, "quit") == 0;
}

void mode_loop() {
    ox_held_mark held;
    while (running && !interrupt_ended()) {
        if (!read_line()) return;
        if (!mode.line || !*mode.line) continue;
        if (!mode.pending && is_quit(mode.line)) return;
        if (mode.pending) {
            ox_str_add(mode.pending, "\n");
            ox_str_add(mode.pending, mode.line);
        }
        ox_out_push();
        if (!mode.pending) {
            volatile bool start = false;
            if (!interrupt_armed) {
                lua_interrupt_watch(mode.ctx);
                interrupt_install(lua_interrupt);
                interrupt_held = &held;
                start = sigsetjmp(interrupt_context, 1) == 0;
                interrupt_armed = 1;
                if (start) interrupt_take_idle();
            }
            if (!start) {
                if (!drop_statement()) return;
                continue;
            }
        }
        run_statement();
    }
}

}  // namespace

int lua_mode(void) {
    if (mode.ctx) return 0;  // not re-entrant
    if (mode_enter()) mode_loop();
    mode_leave();
    return 0;
}
