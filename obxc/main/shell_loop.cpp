#include "main/shell_loop.hpp"

#include <ctype.h>
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "commands/completion.hpp"
#include "commands/dispatch.hpp"
#include "commands/navigate.hpp"
#include "commands/serve_file.hpp"
#include "commands/shell_editor.hpp"
#include "line/split.hpp"
#include "main/events.hpp"
#include "model/cache.hpp"
#include "model/current.hpp"
#include "model/node.hpp"
#include "model/resolve.hpp"
#include "ox_editor.hpp"
#include "ox_history.hpp"
#include "ox_jrpcapi.hpp"
#include "ox_jrpcevents.hpp"
#include "ox_log.hpp"
#include "ox_out_buffer.hpp"
#include "ox_plain.hpp"
#include "ox_raii.hpp"
#include "ox_row.hpp"
#include "ox_socket.hpp"
#include "ox_str.hpp"
#include "ox_wait.hpp"
#include "session/identity.hpp"
#include "session/interrupt.hpp"
#include "session/prompt.hpp"
#include "session/recording.hpp"
#include "session/request.hpp"

namespace {

enum PollEntry { ENTRY_INPUT, ENTRY_EVENTS, ENTRY_TOLD, ENTRY_REQUESTS, ENTRY_COUNT };
enum Step { STEP_GO_ON, STEP_LEAVE };

constexpr int REJOIN_PAUSE_MS = 500;

struct Shell {
    ox_rl_async* editor;
    int feed_status;  // 1 while a line is being edited
    struct pollfd entries[ENTRY_COUNT];
    long long rejoin_ms;  // when the requests connection may be opened again
    int tell;             // where serving threads tell, while the terminal is the line editor's
    bool failed;
    ox_str* line_text;
    json_t* words;
};

void print_banner() {
    puts("Ombrix Management System client.");
    puts(
        "***\nWARNING - for experts only!\n"
        "This tool is not intended to use by users 'cause it can cause harm to the device!\n***");
    puts("Interactive mode. \nEnter 'help' or '?' for help, 'q' for exit.");
}

/// Opens the pipe through which serving threads tell. Where that fails their lines go to standard output,
/// wherever the cursor is.
void told_open(Shell* shell) {
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) ends[0] = ends[1] = -1;
    shell->entries[ENTRY_TOLD] = {.fd = ends[0], .events = POLLIN, .revents = 0};
    shell->tell = ends[1];
    serve_file_tell(shell->tell);
}

void told_print(Shell* shell) {
    char text[1024];
    ssize_t size = 0;
    while ((size = read(shell->entries[ENTRY_TOLD].fd, text, sizeof(text))) > 0)
        fwrite(text, 1, size, stdout);
}

/// While a command runs, and after the editor's end, serving threads write to standard output themselves.
void told_directly(Shell* shell) {
    serve_file_tell(-1);
    told_print(shell);
}

void told_close(Shell* shell) {
    told_directly(shell);
    if (shell->tell < 0) return;
    close(shell->entries[ENTRY_TOLD].fd);
    close(shell->tell);
}

void shell_open(Shell* shell) {
    shell->line_text = ox_str_init();
    shell->editor = ox_rl_async_new();
    shell->entries[ENTRY_INPUT] = {.fd = fileno(stdin), .events = POLLIN, .revents = 0};
    shell->entries[ENTRY_EVENTS] = {.fd = -1, .events = POLLIN, .revents = 0};
    shell->entries[ENTRY_REQUESTS] = {.fd = -1, .events = POLLOUT, .revents = 0};
    told_open(shell);
}

void shell_close(Shell* shell) {
    told_close(shell);
    path_free(&current_path);
    path_free(&previous_path);
    dm_free();
    editor_shell_off();
    ox_history_clear();
    ox_rl_async_free(shell->editor);
    json_decref(shell->words);
    ox_str_free(shell->line_text);
}

void redraw(Shell* shell) {
    ox_rl_async_restore(shell->editor);
    ox_rl_async_prepare(shell->editor, prompt);
}

void words_dispatch(json_t* words) {
    JsonRef command(json_incref(json_array_get(words, 0)));
    json_array_remove(words, 0);
    command_dispatch(json_string_value(command), words);
}

/// Dispatches while Ctrl-C jumps back here.
void words_run_armed(json_t* words) {
    if (!interrupt_armed) {
        interrupt_install(shell_interrupt);
        ox_held_mark held;
        interrupt_held = &held;
        if (sigsetjmp(interrupt_context, 1) == 0) {
            interrupt_armed = 1;
            interrupt_take_idle();
            words_dispatch(words);
            interrupt_point();  // a Ctrl-C that no wait took
        } else {
            interrupt_recover();
            ox_rl_drop_input();
            ox_rl_end_row();
        }
    }
    interrupt_disarm();
}

/// Takes in the changes of the model that were told so far, so that the command knows of them. Other events
/// wait for their turn; that the connection was lost is found by the next pass.
void model_changes_take() {
    ox_jrpcapi_take_events(GROUP_MODEL_CHANGES, event_take);
    events_tell_lost();
}

void line_run(Shell* shell, char* line) {
    ox_str_replace_text(shell->line_text, line);
    free(line);
    const char* text = ox_dynarray_get(shell->line_text);
    json_decref(shell->words);
    shell->words = line_words(text);
    if (!isspace(static_cast<unsigned char>(*text))) ox_history_add(text);
    ox_out_push();
    if (recording) record_lines++;
    if (!shell->words) {
        puts("The line is no UTF-8 text.");
        return;
    }
    told_directly(shell);
    model_changes_take();
    words_run_armed(shell->words);
    serve_file_tell(shell->tell);
    paths_refresh();
    if (idle_interrupt_taken()) ox_rl_end_row();  // the terminal has written "^C"
}

Step line_take(Shell* shell, char* line) {
    if (!*line) {
        free(line);
        return STEP_GO_ON;
    }
    if (strcmp(line, "q") == 0 || strcmp(line, "quit") == 0) {
        free(line);
        if (!recording) return STEP_LEAVE;
        record_stop();
        return STEP_GO_ON;
    }
    line_run(shell, line);
    return interrupt_ended() || ox_rl_hung_up() ? STEP_LEAVE : STEP_GO_ON;
}

Step input_serve(Shell* shell) {
    int key = ox_rl_getch();
    char* line = ox_rl_async_feed(shell->editor, key, &shell->feed_status);
    if (ox_rl_ctrl_d_is_pressed() || (key == -1 && !line)) {
        free(line);
        return STEP_LEAVE;
    }
    if (shell->feed_status == 1) return STEP_GO_ON;
    ox_rl_async_restore(shell->editor);
    return line ? line_take(shell, line) : STEP_GO_ON;
}

Step events_serve(Shell* shell) {
    MsgRef message(ox_jrpcapi_recv(event_channel));
    if (!message) {
        int error = ox_jrpcapi_get_socket_err(event_channel);
        bool lost = shell->entries[ENTRY_EVENTS].fd < 0;
        if (lost || (error != OX_SOCKET_EPARTIAL && error != OX_SOCKET_EEMPTY)) {
            running = false;
            ox_rl_async_restore(shell->editor);
            puts("Connection dropped");
            return STEP_LEAVE;
        }
    }
    if (!message) return STEP_GO_ON;
    ox_rl_async_hide(shell->editor);
    events_tell_lost();
    event_take(message);
    ox_rl_async_prepare(shell->editor, prompt);
    return STEP_GO_ON;
}

/// Until the requests connection, whose groups were lost, is to be opened again; -1: they were not.
int rejoin_wait_ms(const Shell* shell) {
    if (!ox_jrpcapi_groups_lost(request_channel)) return -1;
    long long left = shell->rejoin_ms - ox_wait_now_ms();
    return left > 0 ? static_cast<int>(left) : 0;
}

/// The groups of the requests connection are joined again, unless the events connection is lost too: the next
/// pass answers that.
void rejoin_serve(Shell* shell) {
    ox_jrpcapi_set_timeout(request_channel, OX_JRPCAPI_TIMEOUT_MS);
    bool joined = ox_jrpcapi_rejoin(request_channel) == 0;
    shell->rejoin_ms = ox_wait_now_ms() + REJOIN_PAUSE_MS;
    ox_jrpcapi_take_events(GROUP_MODEL_CHANGES, event_take);
    if (!ox_jrpcapi_socket(event_channel)) return;
    ox_rl_async_hide(shell->editor);
    events_tell_gap(joined);
    ox_rl_async_prepare(shell->editor, prompt);
}

void told_serve(Shell* shell) {
    ox_rl_async_hide(shell->editor);
    told_print(shell);
    ox_rl_async_prepare(shell->editor, prompt);
}

/// The system does not let the shell wait for the daemon.
Step waiting_failed(Shell* shell, int error) {
    ox_rl_async_restore(shell->editor);
    printf("Cannot wait for the daemon: %s\n", strerror(error));
    shell->failed = true;
    return STEP_LEAVE;
}

bool is_ready(const struct pollfd& entry) {
    return entry.revents & (POLLIN | POLLHUP | POLLERR | POLLNVAL);
}

Step poll_failed(Shell* shell, int error) {
    if (interrupt_ended()) return STEP_LEAVE;
    if (error != EINTR) {
        ox_rl_async_restore(shell->editor);
        printf("Error poll(): %s\n", strerror(error));
        return STEP_LEAVE;
    }
    if (!idle_interrupt_taken()) {
        ox_rl_follow_terminal();
        return STEP_GO_ON;
    }
    ox_rl_async_to_end(shell->editor);
    puts("^C");
    ox_rl_async_clear(shell->editor);
    redraw(shell);
    return STEP_GO_ON;
}

Step shell_pass(Shell* shell) {
    if (shell->feed_status != 1) ox_rl_async_prepare(shell->editor, prompt);
    interrupt_install(idle_interrupt);
    // The library may have reconnected since the last pass.
    const ox_socket* events = ox_jrpcapi_socket(event_channel);
    shell->entries[ENTRY_EVENTS].fd = ox_socket_fd(events);
    if (events && shell->entries[ENTRY_EVENTS].fd < 0) return waiting_failed(shell, errno);
    if (!events) return events_serve(shell);
    bool goes_on = hint_continue();
    bool sends = ox_jrpcapi_has_unsent(request_channel);
    shell->entries[ENTRY_REQUESTS].fd = sends ? ox_socket_fd(ox_jrpcapi_socket(request_channel)) : -1;
    bool read_ahead = ox_rl_pending();
    int count =
        ox_wait_poll_keys(shell->entries, ENTRY_COUNT, read_ahead || goes_on ? 0 : rejoin_wait_ms(shell));
    if (count < 0) return poll_failed(shell, errno);
    if (sends) ox_jrpcapi_send_more(request_channel);
    if (is_ready(shell->entries[ENTRY_EVENTS]) && events_serve(shell) == STEP_LEAVE) return STEP_LEAVE;
    if (rejoin_wait_ms(shell) == 0) rejoin_serve(shell);
    if (is_ready(shell->entries[ENTRY_TOLD])) told_serve(shell);
    if (read_ahead || is_ready(shell->entries[ENTRY_INPUT])) return input_serve(shell);
    return STEP_GO_ON;
}

/// A signal that asked for the end is what ends the program, now that all is kept; but a terminal that goes
/// away is the end of the input.
void end_as_told() {
    if (interrupt_ended() != SIGTERM && ox_rl_hung_up() != SIGTERM) return;
    putchar('\n');
    ox_out_push();
    raise(SIGTERM);
}

/// Runs a step of the start. Ctrl-C leaves one that has waited for long.
void start_step(void (*step)(void)) {
    ox_held_mark held;
    interrupt_held = &held;
    if (sigsetjmp(interrupt_context, 1) == 0) {
        interrupt_armed = 1;
        step();
    } else {
        interrupt_recover();
        ox_rl_end_row();
    }
    interrupt_armed = 0;
}

bool shell_types = false;

void give_terminal_back() {
    if (shell_types) ox_rl_give_up();
    shell_types = false;
}

}  // namespace

int shell_loop(void) {
    shell_types = true;
    ox_log_last_words = [](const char*) { give_terminal_back(); };
    atexit(give_terminal_back);  // the line editor's library ends the program where its memory runs out
    print_banner();
    start_step(try_login);
    start_step([] { dm_reload(); });
    if (!dm_root) {
        puts("Error connecting to OBXD server");
        return -1;
    }
    editor_shell_on();
    cd_command("cd", nullptr);
    Shell shell = {};
    shell_open(&shell);
    interrupt_catch_ends(true);
    while (running && shell_pass(&shell) == STEP_GO_ON) {
    }
    ox_rl_async_restore(shell.editor);
    shell_types = false;
    shell_close(&shell);
    interrupt_catch_ends(false);
    end_as_told();
    return shell.failed ? EXIT_FAILURE : 0;
}
