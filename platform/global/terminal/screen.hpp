// What the terminal can do: the one place that decides. It asks the environment and the system's descriptions
// of terminals when something depends on the answer, so that a program that draws nothing pays nothing.
#pragma once

#include <stddef.h>

#include "ox_screen.hpp"

/// Whether texts on the terminal are UTF-8. They are unless the environment names a locale of another
/// character set; where it names none, or the C locale, it has nothing to say about the terminal. Asks the
/// environment alone, so it costs next to nothing, but for a locale without a character set in its name.
bool screen_is_utf8(void);
/// Sets the character type locale of the process, once: the environment's, or C.UTF-8 where that is the C
/// locale or is not installed. Returns the locale that stands in for the environment's, null when none does.
const char* screen_init_locale(void);

/// The depth of colour (ox_rl_capabilities) that colours are written with, at least 1. Asked once.
int screen_depth(void);
/// Whether somebody types and sees: standard input and standard output are terminals.
bool screen_has_keyboard(void);
