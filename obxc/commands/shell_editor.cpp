#include "commands/shell_editor.hpp"

#include "commands/completion.hpp"
#include "commands/describe.hpp"
#include "ox_describe.hpp"
#include "ox_editor.hpp"
#include "session/editor.hpp"

namespace {

bool history_loaded = false;

}  // namespace

void editor_shell_on(void) {
    ox_rl_case_insensitive(1);
    ox_rl_set_autocomplete_cb(complete_line);
    ox_rl_set_hint_cb(hint_line);
    ox_rl_set_describe_cb(describe_line);
    editor_history_load(SHELL_HISTORY_FILE);
    history_loaded = true;
}

void editor_shell_off(void) {
    ox_rl_case_insensitive(1);
    ox_rl_set_autocomplete_cb(nullptr);
    ox_rl_set_hint_cb(nullptr);
    ox_rl_set_describe_cb(nullptr);
    // Lua mode entered without a shell: there is no shell history to write, the file must keep its own.
    if (history_loaded) editor_history_save(SHELL_HISTORY_FILE);
}
