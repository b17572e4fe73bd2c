#include "commands/lua.hpp"

#include <stdio.h>

#include "commands/record.hpp"
#include "commands/shell_editor.hpp"
#include "lua/lua_mode.hpp"
#include "lua/lua_session.hpp"
#include "ox_lua.hpp"
#include "ox_out.hpp"
#include "ox_out_buffer.hpp"
#include "ox_raii.hpp"
#include "ox_row.hpp"
#include "session/interrupt.hpp"

namespace {

/// The words, a blank behind each.
ox_str* statement_of(json_t* args) {
    ox_str* text = ox_str_init();
    for (size_t i = 0; i < json_array_size(args); ++i) {
        const char* word = json_string_value(json_array_get(args, i));
        if (!word) break;
        ox_str_add(text, word);
        ox_str_add(text, " ");
    }
    return text;
}

void run_statement(ox_lua_ctx* ctx, const ox_str* text) {
    size_t size = ox_dynarray_size(text);
    if (ox_lua_exec(ctx, ox_dynarray_get(text), size > 0 ? size - 1 : 0, nullptr, nullptr) != 0) {
        fputs("LUA ERROR: ", stdout);
        if (lua_interrupted(ctx)) {
            fputs("interrupted!", stdout);  // Ctrl-C silences ox_out_write
        } else {
            lua_error_write(ctx->err);
        }
        putchar('\n');
    } else {
        ox_out_write(stdout, ox_dynarray_get(ctx->out), ox_str_length(ctx->out));
    }
    ox_out_flush();
}

/// Runs what the statement gave to ox.atexit, also after a Ctrl-C; a second Ctrl-C ends that too.
void finish(ox_lua_ctx* ctx, bool interrupted) {
    if (interrupted) {
        interrupt_install(lua_interrupt);
        interrupt_armed = 1;
        ox_lua_resume(ctx);
    }
    ox_str_clear(ctx->out);
    ox_lua_finish(ctx);
    ox_out_write(stdout, ox_dynarray_get(ctx->out), ox_str_length(ctx->out));
    ox_out_push();
}

/// Lua mode has the line editor meanwhile.
int lend_editor() {
    editor_shell_off();
    int result = lua_mode();
    editor_shell_on();
    return result;
}

}  // namespace

int lua_command(const char*, json_t* args) {
    if (json_array_size(args) == 0) return lend_editor();
    ox_lua_ctx* ctx = lua_context_new();
    if (!ctx) {
        puts("LUA ERROR: not enough memory");
        return 0;
    }
    lua_share_input();
    ox_lua_set_flags(ctx, OX_LUA_KEEP_EVENTS);
    if (interrupt_armed) {
        lua_interrupt_watch(ctx);
        interrupt_install(lua_interrupt);
    }
    bool interrupted = false;
    {
        StrRef text(statement_of(args));
        puts(ox_dynarray_get(text));
        ox_out_push();
        run_statement(ctx, text);
        interrupted = lua_interrupted(ctx);
    }
    finish(ctx, interrupted);
    ox_lua_close(ctx);
    interrupted = interrupted || lua_interrupted(ctx);
    lua_interrupt_watch(nullptr);
    ox_lua_free(ctx);
    ox_rl_row_leave();
    if (interrupted) lua_jump_back();
    return 0;
}

int luarecord_command(const char* name, json_t* args) {
    if (record_command(name, args) < 0) return -1;
    return lend_editor();
}
