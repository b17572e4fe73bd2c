// readline, set up once: where its keys come from, which of its commands are ours, which characters it knows.
#pragma once

/// Sets readline up, once.
void setup_readline(void);
/// Whether readline is just starting.
bool setup_goes_on(void);
/// Whatever keys the user's own bindings gave to a command that we have in readline's stead lead to ours. To
/// be called whenever readline has read the bindings.
void setup_commands(void);
/// Lets readline edit a line, which it gives to `take_line` (null: the end of the input). Draws the prompt.
void setup_line(const char* prompt, void (*take_line)(char* line));
