#include "session/editor.hpp"

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "ox_fs.hpp"
#include "ox_history.hpp"
#include "ox_raii.hpp"
#include "session/line_split.hpp"

namespace {

ox_rl_autocomplete_cb complete_callback = nullptr;
ox_rl_hint_cb hint_callback = nullptr;
bool history_loaded = false;
bool history_refused = false;  // the file cannot be used, as was told
bool somebody_types = false;   // found when it was loaded: a terminal that hung up is none any more

void tell_refusal(const char* path, int error) {
    fprintf(stderr, "The history is not kept: %s: %s\n", path, ox_fs_reason(error));
    history_refused = true;
}

/// Whether a line logs in with a password or a token that stands on it.
bool holds_password(const char* line) {
    JsonRef whole(json_string(line));
    JsonRef words(line_split(line, 0, nullptr));
    const char* command = json_string_value(json_array_get(words, 0));
    if (!whole) return true;  // no UTF-8: the words cannot be told
    if (!command) return false;
    size_t arguments = json_array_size(words) - 1;
    if (strcmp(command, "login") == 0) return arguments >= 2;
    return strcmp(command, "login_if_guest") == 0 && arguments >= 1;
}

}  // namespace

void editor_history_load(const char* path) {
    ox_history_set_secret(holds_password);
    history_refused = false;
    somebody_types = isatty(STDIN_FILENO);
    if (ox_history_load(path) < 0 && somebody_types) tell_refusal(path, errno);
}

void editor_history_save(const char* path) {
    if (!somebody_types || history_refused) return;
    if (ox_history_dump(path, -1) < 0) tell_refusal(path, errno);
}

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
    editor_history_load(SHELL_HISTORY_FILE);
    history_loaded = true;
}

void editor_shell_off(void) {
    ox_rl_case_insensitive(1);
    ox_rl_set_autocomplete_cb(nullptr);
    ox_rl_set_hint_cb(nullptr);
    // Lua mode entered without a shell: there is no shell history to write, the file must keep its own.
    if (history_loaded) editor_history_save(SHELL_HISTORY_FILE);
}
