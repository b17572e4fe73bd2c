#include "setup.hpp"

#include <stdio.h>
// readline.h needs stdio.h before it.
#include <readline/readline.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "bytes.hpp"
#include "completion.hpp"
#include "describe.hpp"
#include "editor.hpp"
#include "hint.hpp"
#include "ox_memory.hpp"
#include "paste.hpp"
#include "screen.hpp"
#include "terminfo.hpp"
#include "typed.hpp"

namespace {

int forward_key(int count, int key) {
    return hint_accept() ? 0 : rl_forward_char(count, key);
}

int end_key(int count, int key) {
    return hint_accept() ? 0 : rl_end_of_line(count, key);
}

/// A command of readline's, and the one of ours that its keys lead to.
struct Replacement {
    rl_command_func_t* old;
    rl_command_func_t* own;
};

const Replacement replacements[] = {
    {rl_complete, completion_key},
    {rl_menu_complete, completion_menu_key},
    {rl_backward_menu_complete, completion_menu_back_key},
    {rl_possible_completions, completion_list_key},
    {rl_forward_char, forward_key},
    {rl_end_of_line, end_key},
    {rl_bracketed_paste_begin, paste_key},
    {rl_re_read_init_file, typed_inputrc_key},
};

rl_command_func_t* own_command(rl_command_func_t* command) {
    for (const Replacement& replacement : replacements) {
        if (replacement.old == command) return replacement.own;
    }
    return command;
}

/// Gives the keys of readline's commands to ours, in the map and in those of the prefixes in it. In place: to
/// ask readline for the keys, command by command, would take a third of a shell's whole start.
void replace_in_map(Keymap map) {
    for (int key = 0; key < KEYMAP_SIZE; key++) {
        KEYMAP_ENTRY* entry = &map[key];
        if (!entry->function) continue;
        if (entry->type == ISFUNC) entry->function = own_command(entry->function);
        if (entry->type == ISKMAP) replace_in_map(reinterpret_cast<Keymap>(entry->function));
    }
}

char* no_matches(const char*, int) {
    return nullptr;
}

/// A byte of a character beyond ASCII is text, in the C locale too, where readline would take it for a key
/// with Meta. The user's inputrc is read afterwards.
void take_bytes_as_text(void) {
    rl_variable_bind("convert-meta", "off");
    rl_variable_bind("input-meta", "on");
    rl_variable_bind("output-meta", "on");
}

/// readline sets the environment's locale whenever a line starts. While this lives, the environment names the
/// locale that screen_init_locale has set instead, where there is one.
class LocaleInEnvironment {
public:
    LocaleInEnvironment() : own_(environ), changed_(nullptr) {
        const char* locale = screen_init_locale();
        if (!locale) return;
        size_t count = 0;
        while (own_[count]) count++;
        changed_ = static_cast<char**>(ox_memory_new((count + 2) * sizeof(char*)));
        if (!changed_) return;
        snprintf(setting_, sizeof setting_, "LC_ALL=%s", locale);
        changed_[0] = setting_;
        memcpy(changed_ + 1, own_, count * sizeof(char*));
        environ = changed_;
    }
    LocaleInEnvironment(const LocaleInEnvironment&) = delete;
    LocaleInEnvironment& operator=(const LocaleInEnvironment&) = delete;
    ~LocaleInEnvironment() {
        environ = own_;
        free(changed_);
    }

private:
    char** own_;
    char** changed_;
    char setting_[32];
};

bool initializing = false;

}  // namespace

bool setup_goes_on(void) {
    return initializing;
}

void setup_commands(void) {
    static const char* const maps[] = {"emacs-standard", "vi-insert"};
    for (const char* name : maps) {
        Keymap map = rl_get_keymap_by_name(name);
        if (map) replace_in_map(map);
    }
}

void setup_readline(void) {
    if (editor.is_set_up) return;
    editor.is_set_up = true;
    LocaleInEnvironment locale;
    rl_readline_name = "obxc";
    rl_instream = stdin;
    rl_outstream = stdout;
    rl_catch_signals = 0;
    rl_catch_sigwinch = 0;
    rl_change_environment = 0;
    rl_getc_function = bytes_for_readline;
    rl_input_available_hook = typed_input_waits;
    rl_completion_entry_function = no_matches;
    take_bytes_as_text();
    describe_name();
    initializing = true;
    rl_initialize();
    initializing = false;
    if (!rl_executing_keyseq) ox_memory_failed(__func__);  // which the library does not look at itself
    terminfo_send_no_padding();
    // Only now: with a redisplay function of another's, readline loads no terminal description.
    rl_redisplay_function = hint_redisplay;
    const char* bracketed = rl_variable_value("enable-bracketed-paste");
    editor.bracketed = bracketed && strcmp(bracketed, "on") == 0;
    describe_bind();
    setup_commands();
}

void setup_line(const char* prompt, void (*take_line)(char*)) {
    LocaleInEnvironment locale;
    rl_eof_found = 0;  // else readline ends the row at each further restore
    rl_callback_handler_install(prompt, take_line);
}

// The library's memory. Its own functions would end the program without giving the terminal back.
extern "C" {

void* xmalloc(size_t size);
void* xrealloc(void* pointer, size_t size);

void* xmalloc(size_t size) {
    return xrealloc(nullptr, size);
}

void* xrealloc(void* pointer, size_t size) {
    void* block = realloc(pointer, size);
    if (!block) ox_memory_failed(__func__);
    return block;
}
}
