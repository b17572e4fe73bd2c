// Which characters the terminal shows.
#pragma once

/// Whether texts on the terminal are UTF-8. They are unless the environment names a locale of another
/// character set; where it names none, or the C locale, it has nothing to say about the terminal. Asks the
/// environment alone, so it costs next to nothing, but for a locale without a character set in its name.
bool terminal_is_utf8(void);
/// Whether trees are drawn with line-drawing characters: in a UTF-8 locale, and on a terminal where the
/// environment names no locale.
bool terminal_draws_lines(void);
/// Sets the character type locale of the process, once: the environment's, or C.UTF-8 where that is the C
/// locale or is not installed. Returns the locale that stands in for the environment's, null when none does.
const char* terminal_init_locale(void);
