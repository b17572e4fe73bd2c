#include "session/key_wait.hpp"

#include "ox_completion.hpp"
#include "ox_note.hpp"
#include "session/interrupt.hpp"
#include "session/request.hpp"

bool key_wait(void (*run)(void* context), void* context) {
    struct sigaction loop_action;
    sigaction(SIGINT, nullptr, &loop_action);
    interrupt_install(shell_interrupt);
    ox_held_mark held;
    interrupt_held = &held;
    volatile bool done = false;
    if (sigsetjmp(interrupt_context, 1) == 0) {
        interrupt_armed = 1;
        run(context);
        interrupt_point();
        done = true;
    } else {
        request_recover();
        ox_rl_note(nullptr);
        ox_rl_completion_interrupted();
    }
    interrupt_disarm();
    sigaction(SIGINT, &loop_action, nullptr);
    return done;
}
