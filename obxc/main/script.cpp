#include "main/script.hpp"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "commands/dispatch.hpp"
#include "line/script_line.hpp"
#include "ox_editor.hpp"
#include "ox_memory.hpp"
#include "ox_raii.hpp"
#include "ox_wait.hpp"

namespace {

/// Standard input is read through the editor's byte source, so that a command of the script that asks for
/// something (a password) reads on exactly behind its own line.
bool read_input_line(ox_str* line) {
    ox_str_clear(line);
    struct pollfd input = {.fd = STDIN_FILENO, .events = POLLIN, .revents = 0};
    ox_wait_poll(&input, 1, -1);  // what was printed so far is shown while the next line is awaited
    for (;;) {
        int byte = ox_rl_getch();
        if (byte < 0) return ox_str_length(line) > 0;
        if (byte == '\n') {
            ox_str_add_n(line, "\n", 1);
            return true;
        }
        char c = static_cast<char>(byte);
        ox_str_add_n(line, &c, 1);
    }
}

struct Script {
    FILE* file = nullptr;  // null: standard input
    char* buffer = nullptr;
    size_t buffer_size = 0;
    StrRef input;
    StrRef pending;
    bool interactive = false;
    int result = 0;

    ~Script() {
        free(buffer);
        if (file) fclose(file);
    }
};

/// What cannot be read to its end is not taken for the whole.
void unreadable(Script* script) {
    if (errno == ENOMEM) ox_memory_failed(__func__);
    fprintf(stderr, "obxc: cannot read the script: %s\n", strerror(errno));
    script->result = -1;
}

/// The next physical line without its newline, or null at the end. Valid until the next call.
char* next_line(Script* script) {
    char* line;
    if (script->file) {
        if (getline(&script->buffer, &script->buffer_size, script->file) < 0) {
            if (!feof(script->file)) unreadable(script);
            return nullptr;
        }
        line = script->buffer;
    } else {
        if (!read_input_line(script->input)) return nullptr;
        line = ox_dynarray_get_unsafe(script->input);
    }
    size_t length = strlen(line);
    if (length > 0 && line[length - 1] == '\n') line[length - 1] = '\0';
    return line;
}

bool script_open(Script* script, const char* path) {
    script->file = fopen(path, "re");
    if (!script->file && errno == ENOMEM) ox_memory_failed(__func__);
    struct stat info;
    return script->file && fstat(fileno(script->file), &info) == 0 && !S_ISDIR(info.st_mode);
}

void pending_append(Script* script, const char* line, size_t length) {
    if (!script->pending) script->pending.reset(ox_str_init());
    ox_str_add_n(script->pending, line, length);
}

/// `echo` and `sleep` exist only here. True when the line was one of them.
bool run_builtin(const ScriptWord& first) {
    if (first.text == "echo") {
        puts(first.rest);
        return true;
    }
    if (first.text == "sleep") {
        ox_wait_sleep_ms(atoi(first.rest) * 1000LL);
        return true;
    }
    return false;
}

/// False at the line's end and at the beginning of a comment.
bool is_word(const ScriptWord& word) {
    return !word.text.empty() && word.text[0] != '#';
}

void run_command(Script* script, const char* text) {
    ScriptWord first = script_word(text);
    if (!is_word(first) || run_builtin(first)) return;
    CharsRef name(ox_memory_text_n(first.text.data(), first.text.size()));
    JsonRef args(json_array());
    for (ScriptWord word = script_word(first.rest); is_word(word); word = script_word(word.rest)) {
        if (json_array_append_new(args, json_stringn(word.text.data(), word.text.size())) < 0) {
            printf("%s: a word is no UTF-8 text.\n", name.get());
            script->result = -1;
            return;
        }
    }
    script->result = script->interactive ? command_dispatch(name, args) : request_dispatch(name, args);
}

void run_line(Script* script, const char* line) {
    size_t length = strlen(line);
    if (script_line_continues(line)) {
        if (line[length - 1] == '\\') length--;
        pending_append(script, line, length);
        return;
    }
    if (script->pending) pending_append(script, line, length);
    const char* text = script->pending ? ox_dynarray_get(script->pending) : line;
    // Joined text stays when it is skipped, so a comment that ends in a backslash takes the rest of the file
    // with it: a way to switch off the end of a script, which existing scripts may use.
    if (!*text || *text == '#') return;
    run_command(script, text);
    script->pending.reset();
}

}  // namespace

int script_run(const char* path, int interactive) {
    Script script;
    script.interactive = interactive != 0;
    if (path) {
        if (!script_open(&script, path)) {
            printf("Cannot open script file %s\n", path);
            return -1;
        }
    } else {
        script.input.reset(ox_str_init());
    }
    while (script.result >= 0) {
        const char* line = next_line(&script);
        if (!line) break;
        run_line(&script, line);
    }
    if (!path) close(STDIN_FILENO);
    return script.result;
}
