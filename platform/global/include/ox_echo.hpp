// The echo of a terminal, switched off while a secret is typed.
#pragma once

/// Terminal echo of a descriptor; no-ops when it is no terminal. Echo is restored even when the wait is left
/// by a jump (ox_rl_recover), and when a signal stops or ends the program. `fd` -1 with ox_rl_echo_on: of
/// whichever it is off.
void ox_rl_echo_off(int fd);
void ox_rl_echo_on(int fd);
/// True once after the program was stopped and continued while the echo was off: a wait for the secret has
/// ended with EINTR, and the question has to be shown again.
bool ox_rl_echo_take_resume(void);
