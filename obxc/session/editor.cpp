#include "session/editor.hpp"

#include "ox_history.hpp"

namespace {

ox_rl_autocomplete_cb complete_callback = nullptr;
ox_rl_hint_cb hint_callback = nullptr;
bool history_loaded = false;

}  // namespace

void editor_set_shell_callbacks(ox_rl_autocomplete_cb complete, ox_rl_hint_cb hint) {
    complete_callback = complete;
    hint_callback = hint;
}

ox_rl_autocomplete_cb editor_shell_complete(void) {
    return complete_callback;
}

ox_rl_hint_cb editor_shell_hint(void) {
    return hint_callback;
}

void editor_shell_on(void) {
    ox_rl_case_insensitive(1);
    ox_rl_set_autocomplete_cb(complete_callback);
    ox_rl_set_hint_cb(hint_callback);
    ox_history_load(SHELL_HISTORY_FILE);
    history_loaded = true;
}

void editor_shell_off(void) {
    ox_rl_case_insensitive(1);
    ox_rl_set_autocomplete_cb(nullptr);
    ox_rl_set_hint_cb(nullptr);
    // Lua mode entered without a shell: there is no shell history to write, the file must keep its own.
    if (history_loaded) ox_history_dump(SHELL_HISTORY_FILE, -1);
}
