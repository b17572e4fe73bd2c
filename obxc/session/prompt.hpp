// The prompt and the colour scheme.
#pragma once

#include "ox_colors.hpp"

enum SchemeColour { COLOUR_ROOT_PROMPT, COLOUR_PROMPT, COLOUR_AUTOCOMPLETE, COLOUR_HINT, COLOUR_COUNT };

extern char prompt[384];
extern char mode_word[16];
extern ox_hsv colour_scheme[COLOUR_COUNT];

/// Rewrites `prompt` from user, mode word and current node.
void prompt_rebuild(void);
/// Sets the path of the current node ("" at first), and rebuilds the prompt.
void prompt_set_path(const char* path);
/// Sets the mode word ("record", "lua", ...) or clears it (null), and rebuilds the prompt.
void prompt_set_mode(const char* word);
/// Makes `scheme` current and hands its colours to the line editor.
void colour_apply(const ox_hsv scheme[COLOUR_COUNT]);
