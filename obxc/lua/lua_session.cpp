#include "lua/lua_session.hpp"

#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "lua/lua_modules.hpp"
#include "ox_lua.hpp"
#include "ox_out.hpp"
#include "ox_raii.hpp"
#include "session/channels.hpp"
#include "session/interrupt.hpp"

namespace {

ox_lua_ctx* volatile watched = nullptr;

bool arms_waits = false;

enum { FORCING_PRESS = 3 };
volatile sig_atomic_t presses = 0;
volatile sig_atomic_t guards = 0;  // waits that an interrupt leaves by itself
bool forced = false;

/// Leaves code that does not come to where an error could be raised, with its state as it is.
void leave_for_good() {
    ox_lua_abandon(watched);
    watched = nullptr;
    forced = true;
    interrupt_jump();
}

/// Runs what may wait with the interrupt leading here.
bool guard_wait(void (*run)(void*), void* argument) {
    bool was_armed = interrupt_armed != 0;
    if (!was_armed && !arms_waits) {
        run(argument);
        return true;
    }
    sigjmp_buf outer;
    memcpy(&outer, &interrupt_context, sizeof(outer));
    const ox_held_mark* outer_held = interrupt_held;
    ox_held_mark held;
    interrupt_held = &held;
    volatile bool done = false;
    if (!was_armed) interrupt_forget();
    guards = guards + 1;
    if (sigsetjmp(interrupt_context, 1) == 0) {
        interrupt_armed = 1;
        bool came = !was_armed && ox_lua_stopped(watched);  // since the code last looked
        if (!came) run(argument);
        done = !came;
    }
    guards = guards - 1;
    memcpy(&interrupt_context, &outer, sizeof(outer));
    interrupt_held = outer_held;
    if (!was_armed) interrupt_armed = 0;
    return done;
}

}  // namespace

ox_lua_ctx* lua_context_new(void) {
    ox_lua_ctx* ctx = ox_lua_init(0);
    if (!ctx) return nullptr;
    ctx->api = request_channel;
    ox_lua_set_timeout(ctx, request_timeout_ms);
    ox_lua_set_guard(ctx, guard_wait);
    lua_modules_add_path(ctx->L);
    return ctx;
}

void lua_error_write(const ox_str* text) {
    const char* bytes = ox_dynarray_get(text);
    size_t size = ox_str_length(text);
    // The daemon's words are in it.
    StrRef plain(isatty(STDOUT_FILENO) ? ox_out_escape_lines(bytes, size) : nullptr);
    ox_out_write(stdout, plain ? ox_dynarray_get(plain) : bytes, plain ? ox_str_length(plain) : size);
}

void lua_share_input(void) {
    setvbuf(stdin, nullptr, _IONBF, 0);
}

void lua_interrupt(int signal) {
    shell_interrupt(signal);
    if (!watched || !interrupt_pending() || !interrupt_is_here()) return;
    ox_lua_stop(watched);
    presses = presses + 1;
    if (presses < FORCING_PRESS || guards > 0) return;
    if (!ox_lua_in_heap(watched, leave_for_good)) leave_for_good();
}

void lua_interrupt_waits(ox_lua_ctx* ctx) {
    watched = ctx;
    arms_waits = ctx != nullptr;
}

void lua_interrupt_watch(ox_lua_ctx* ctx) {
    presses = 0;
    forced = false;
    watched = ctx;
}

bool lua_abandoned(void) {
    bool was = forced;
    forced = false;
    return was;
}

bool lua_interrupted(const ox_lua_ctx* ctx) {
    return ox_lua_stopped(ctx) || interrupt_pending();
}

void lua_jump_back(void) {
    interrupt_jump();
}
