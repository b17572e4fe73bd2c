#include "lua/lua_complete.hpp"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "lua/lua_fields.hpp"
#include "lua/lua_module_names.hpp"
#include "lua/lua_session.hpp"
#include "ox_completion.hpp"
#include "ox_lua.hpp"
#include "ox_memory.hpp"
#include "ox_out_buffer.hpp"
#include "ox_raii.hpp"
#include "ox_wait.hpp"
#include "session/interrupt.hpp"

namespace {

ox_lua_ctx* context = nullptr;
long long deadline = 0;
enum { TIME_LIMIT_MS = 1000, HOOK_STEP = 10000, CANDIDATE_LIMIT = 100000 };

const char* const keywords[] = {"and", "break",    "do",     "else", "elseif", "end",   "false",
                                "for", "function", "if",     "in",   "local",  "nil",   "not",
                                "or",  "repeat",   "return", "then", "true",   "until", "while"};

/// Ends what runs for too long.
void limit_hook(lua_State*, lua_Debug*) {
    if (ox_wait_now_ms() > deadline) ox_lua_stop(context);
}

/// The part left of the cursor of the token that reaches it.
char* word_at(const char* line, size_t cursor) {
    char* copy = ox_memory_text(line);
    char* word = nullptr;
    char* rest = nullptr;
    for (char* token = copy ? strtok_r(copy, LUA_WORD_BOUNDARIES, &rest) : nullptr; token && !word;
         token = strtok_r(nullptr, LUA_WORD_BOUNDARIES, &rest)) {
        auto start = static_cast<size_t>(token - copy);
        if (start <= cursor && cursor <= start + strlen(token))
            word = ox_memory_text_n(token, cursor - start);
    }
    free(copy);
    return word ? word : ox_memory_text("");
}

void add_keywords(const char* word, json_t* candidates) {
    size_t length = strlen(word);
    for (const char* keyword : keywords) {
        if (strncmp(keyword, word, length) == 0) json_array_append_new(candidates, json_string(keyword));
    }
}

void add_fields(lua_State* L, const char* word, json_t* candidates) {
    int state = 0;
    while (char* candidate = lua_complete_expression(L, word, state++)) {
        json_array_append_new(candidates, json_string(candidate));
        free(candidate);
        if (state > CANDIDATE_LIMIT || ox_wait_now_ms() > deadline + TIME_LIMIT_MS) break;
    }
}

struct Job {
    const char* word;
    json_t* candidates;
};

int complete_modules(lua_State* L) {
    const auto* job = static_cast<const Job*>(lua_touserdata(L, 1));
    lua_complete_modules(L, job->word, job->candidates);
    return 0;
}

int complete_fields(lua_State* L) {
    const auto* job = static_cast<const Job*>(lua_touserdata(L, 1));
    lua_field_source = LUA_FIELDS_OWN;
    add_fields(L, job->word, job->candidates);
    lua_field_source = LUA_FIELDS_METATABLE;
    add_fields(L, job->word, job->candidates);
    return 0;
}

/// Runs a part of the completion; its errors end it quietly.
void run_part(lua_State* L, lua_CFunction part, Job* job) {
    int top = lua_gettop(L);
    if (ox_lua_stopped(context) || !lua_checkstack(L, LUA_MINSTACK)) return;
    lua_pushcfunction(L, part);
    lua_pushlightuserdata(L, job);
    lua_pcall(L, 1, 0, 0);
    lua_settop(L, top);
}

/// What the completion printed, on rows of its own.
void write_output() {
    ox_lua_set_flags(context, ox_lua_get_flags(context));  // what was printed is in `out`
    const char* text = ox_dynarray_get(context->out);
    size_t length = ox_str_length(context->out);
    if (length == 0) return;
    ox_rl_completion_writes();
    if (text[0] != '\n') putchar('\n');
    fwrite(text, 1, length, stdout);
    if (text[length - 1] != '\n') putchar('\n');
    ox_str_clear(context->out);
}

}  // namespace

void lua_complete_tell(const char* what, const char* module) {
    ox_lua_set_flags(context, ox_lua_get_flags(context));  // what the module printed stands before
    ox_str_printf_append(context->out, "\n%s module '%s'.\n", what, module);
}

void lua_complete_use(ox_lua_ctx* ctx) {
    context = ctx;
    lua_complete_forget();
}

void lua_complete(const char* line, int cursor, json_t* candidates) {
    if (!context) return;
    lua_State* L = context->L;
    CharsRef word(word_at(line, cursor > 0 ? static_cast<size_t>(cursor) : 0));
    if (!word) return;
    add_keywords(word, candidates);

    // Ctrl-C ends the completion, the daemon's silence included.
    bool armed = interrupt_armed != 0;
    if (!armed) {
        lua_interrupt_watch(context);
        interrupt_install(lua_interrupt);
        interrupt_armed = 1;
    }
    int flags = ox_lua_get_flags(context);
    ox_lua_set_flags(context, (flags & ~OX_LUA_DIRECT_OUTPUT) | OX_LUA_READ_ONLY);
    ox_str_clear(context->out);
    deadline = ox_wait_now_ms() + TIME_LIMIT_MS;
    lua_sethook(L, limit_hook, LUA_MASKCOUNT, HOOK_STEP);
    Job job = {word, candidates};
    run_part(L, complete_modules, &job);
    write_output();
    ox_lua_set_flags(context, ox_lua_get_flags(context) | OX_LUA_CLOSED);
    run_part(L, complete_fields, &job);
    ox_lua_resume(context);
    ox_lua_set_flags(context, flags);
    ox_str_clear(context->out);
    if (armed) {
        interrupt_armed = 1;
    } else {
        interrupt_disarm();
    }
    ox_out_push();
}
