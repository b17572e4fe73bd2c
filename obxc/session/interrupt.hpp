// Ctrl-C: one armed flag and one jump context, shared by the shell loop and Lua mode.
//
// While armed, SIGINT jumps at once when the program waits (ox_wait.hpp); otherwise it marks the interrupt,
// and the jump happens at the next wait or interrupt_point. So nothing is ever cut in two.
#pragma once

#include <setjmp.h>
#include <signal.h>

#include "ox_held.hpp"

extern volatile sig_atomic_t interrupt_armed;
/// Where an interrupt jumps to: taken by `sigsetjmp(interrupt_context, 1)` in the frame of the loop.
extern sigjmp_buf interrupt_context;
/// A mark in that frame: what was acquired since is released before the jump.
extern const ox_held_mark* interrupt_held;

/// Connects the waits of the platform with the interrupt. Once, at start.
void interrupt_init(void);
/// At the very start, while nothing is known yet: SIGINT waits. `begin_end` lets it come again: to what it
/// did before, or, where a shell starts, to its prompt, which is told of it; but a start that lasts is left
/// by it, or, while armed, its wait.
void interrupt_begin(void);
void interrupt_begin_end(bool shell);
/// Installs `handler` for SIGINT (before sigsetjmp is taken); the caller then sets `interrupt_armed`.
void interrupt_install(void (*handler)(int));
/// Clears flag and mark, and installs idle_interrupt, so that Ctrl-C never ends the program.
void interrupt_disarm(void);
/// The SIGINT handler while a command runs; unless armed, as idle_interrupt.
void shell_interrupt(int signal);
/// False on threads that modules made.
bool interrupt_is_here(void);
/// True when a marked interrupt waits for its point.
bool interrupt_pending(void);
/// Jumps now.
[[noreturn]] void interrupt_jump(void);
/// Forgets a marked interrupt.
void interrupt_forget(void);
/// Jumps now when an interrupt is marked: call it between the lines of a long output. No lock may be held.
void interrupt_point(void);
/// Puts right what a jump may have left behind: terminal modes and echo, colours, the connection's time-out,
/// a login that was cut off, the prompt. Call it where the jump lands.
void interrupt_recover(void);
/// The SIGINT handler of a loop that waits for keys: it only ends that wait, or the next one (EINTR), and is
/// remembered.
void idle_interrupt(int signal);
/// While a shell runs, SIGTERM and SIGHUP, unless the editor takes them as the input's end, are a Ctrl-C
/// whose signal interrupt_ended gives (0: none came); the second one ends the program at once.
void interrupt_catch_ends(bool on);
int interrupt_ended(void);
/// True once after each SIGINT that idle_interrupt took.
bool idle_interrupt_taken(void);
/// Where a jump leads to was taken and the interrupt is armed: one that came since the last wait jumps now.
void interrupt_take_idle(void);
