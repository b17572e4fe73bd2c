// The state of the line editor. GNU readline has one line at a time, so there is one state.
#pragma once

#include "ox_editor.hpp"

/// What has become of the line. Each of the last four has what the one before it has.
enum EditorPhase {
    EDITOR_IDLE,    ///< there is none
    EDITOR_PLAIN,   ///< there is none to edit: lines come as they are, one of the two sides is no terminal
    EDITOR_AWAY,    ///< readline has one, and the terminal is in line mode
    EDITOR_HIDDEN,  ///< the terminal gives single keys
    EDITOR_SHOWN,   ///< the line is drawn
    EDITOR_ASKING,  ///< below it stands a question that the next key answers
};

struct EditorState {
    // What the program wants.
    ox_rl_autocomplete_cb complete;
    ox_rl_hint_cb hint;
    const char* boundaries;  // the shell's, or those that follow
    char own_boundaries[64];
    bool case_sensitive;
    bool has_colors;
    ox_hsv colors[OX_RL_COLOR_COUNT];

    // What readline was told.
    bool is_set_up;
    bool bracketed;  // the terminal marks pasted text

    EditorPhase phase;

    // What the last key led to.
    int fed;        // the key itself while readline has not taken it, else -1
    bool finished;  // the line is complete
    char* line;     // it; null for the end of the input
    bool ctrl_d;    // the end of the input was a key, or there is no more
};
extern EditorState editor;

inline bool editor_has_line(void) {
    return editor.phase >= EDITOR_AWAY;
}
inline bool editor_has_keys(void) {
    return editor.phase >= EDITOR_HIDDEN;
}
inline bool editor_is_shown(void) {
    return editor.phase >= EDITOR_SHOWN;
}

/// Draws the line anew on an empty row.
void editor_redraw(void);
/// The sequence that starts one of the editor's colours, "" where there are none. Returns its length.
enum { EDITOR_COLOR_SIZE = 32 };
size_t editor_color(ox_rl_color which, char sequence[EDITOR_COLOR_SIZE]);
