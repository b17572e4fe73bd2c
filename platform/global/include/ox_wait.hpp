// The one place where the process waits for the outside: the daemon, a key, a pause.
#pragma once

#include <poll.h>

/// Functions run right before and right after every wait. `enter` may leave by siglongjmp; it then never
/// returns and `leave` is not called. A signal handler may do the same while the wait lasts. Either may be
/// null.
void ox_wait_set_hooks(void (*enter)(void), void (*leave)(void));

/// poll(2) between the two hooks. Standard output is flushed first when it holds text. `timeout_ms` -1: no
/// bound. Returns what poll returns; errno is poll's (EINTR included).
int ox_wait_poll(struct pollfd* fds, nfds_t count, int timeout_ms);

/// The same for a loop that waits for keys: it also fails with EINTR, at once, while a noted interrupt has
/// not been taken, so that no Ctrl-C is lost between two waits, whatever else is ready.
int ox_wait_poll_keys(struct pollfd* fds, nfds_t count, int timeout_ms);

/// For a handler of SIGINT: remembers it.
void ox_wait_note_interrupt(void);
/// Whether one was noted that nobody has taken yet.
bool ox_wait_interrupt_noted(void);
/// True once after interrupts that were noted.
bool ox_wait_take_interrupt(void);

/// Waits until the pause has passed. A signal handler that returns does not shorten it; one that jumps ends
/// it.
void ox_wait_sleep_ms(long long ms);

/// Milliseconds of a monotonic clock.
long long ox_wait_now_ms(void);
