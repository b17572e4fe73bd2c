// How far something has come.
#pragma once

/// Draws a progress bar on the current line of the terminal: "\r", the label, the bar, the percentage;
/// nothing when standard output is no terminal. It follows the terminal's width.
void ox_rl_draw_progressbar(int percent, const char* label);
