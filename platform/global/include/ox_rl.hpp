// One edited line at a time, for who waits for it.
#pragma once

/// Reads one edited line, waiting at most `timeout_ms` (-1: no bound) for each key: a heap string, or null at
/// end of input, on time-out and on Ctrl-C. But where SIGINT has its default action, Ctrl-C and a hang-up end
/// the program by their signals, with the terminal in line mode. Where only standard input is a terminal, the
/// prompt goes to standard error.
char* ox_rl(const char* prompt, int timeout_ms);
