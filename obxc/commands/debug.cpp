#include "commands/debug.hpp"

#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include "commands/words.hpp"
#include "complete/files.hpp"
#include "ox_jrpccmd.hpp"
#include "ox_jrpcmsg.hpp"
#include "ox_out_buffer.hpp"
#include "ox_raii.hpp"
#include "ox_row.hpp"
#include "ox_str.hpp"
#include "session/password.hpp"
#include "session/request.hpp"

namespace {

/// The canonical spelling of a debug mode, or null.
const char* debug_mode(const char* word) {
    static const char* const modes[] = {"Disabled", "Temporary", "Permanent"};
    if (!word) return nullptr;
    for (const char* mode : modes) {
        if (strcasecmp(word, mode) == 0) return mode;
    }
    return nullptr;
}

/// A JSON text of what was typed; null when nothing was, or it is no UTF-8.
json_t* password_value(const char* password) {
    return password ? json_string(password) : nullptr;
}

/// The terminal is the command's until the end of the scope. A command that dies may leave it without echo,
/// or in the foreground of a process group that is gone: modes and foreground are taken back.
class TerminalLoan {
public:
    TerminalLoan() : lent_(tcgetpgrp(STDIN_FILENO) == getpgrp() && tcgetattr(STDIN_FILENO, &modes_) == 0) {}
    TerminalLoan(const TerminalLoan&) = delete;
    TerminalLoan& operator=(const TerminalLoan&) = delete;
    ~TerminalLoan() {
        if (!lent_) return;
        int error = errno;
        // A background process that takes the foreground gets SIGTTOU and stops, unless it blocks that
        // signal.
        sigset_t ttou;
        sigset_t before;
        sigemptyset(&ttou);
        sigaddset(&ttou, SIGTTOU);
        pthread_sigmask(SIG_BLOCK, &ttou, &before);
        tcsetpgrp(STDIN_FILENO, getpgrp());
        tcsetattr(STDIN_FILENO, TCSADRAIN, &modes_);
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        errno = error;
    }

private:
    struct termios modes_ = {};
    bool lent_;
};

/// The status as of waitpid, or -1 with errno where no process could be made: the library then tells of one
/// that ended with 127.
int run_on_terminal(const char* command) {
    TerminalLoan loan;
    ox_rl_row_unknown();
    errno = 0;
    int status = system(command);
    bool failed = errno != 0 && errno != EINTR && WIFEXITED(status) && WEXITSTATUS(status) == 127;
    return failed ? -1 : status;
}

}  // namespace

int debug_command(const char*, json_t* args) {
    const char* mode = debug_mode(word_at(args, 0));
    if (!mode) {
        printf("syntax: %s\n", "change system debug mode");
        return -1;
    }
    PasswordRef password;
    if (strcmp(mode, "Disabled") != 0) password = password_prompt("[obxc] password for current user: ");
    MsgRef message(ox_jrpcmsg_cmd_execute_new("Device.System.Debug", nullptr));
    ox_jrpcmsg_cmd_set_parameter_values_add_new(message, "Mode", json_string(mode));
    ox_jrpcmsg_cmd_set_parameter_values_add_new(message, "UserPassword", password_value(password));
    request_exec(message, -1);
    response_report(message);
    if (ox_jrpcmsg_typeof(message) == OX_JRPCMSG_RESULT) {
        puts("You must log out and log back in for the changes to take effect.");
        ox_out_push();
        kill(getppid(), SIGHUP);
    }
    return 0;
}

int sh_command(const char*, json_t* args) {
    JsonRef words(json_array_size(args) > 0 ? json_incref(args) : json_pack("[s]", "sh"));
    StrRef line(ox_str_init());
    size_t index = 0;
    json_t* word = nullptr;
    json_array_foreach(words.get(), index, word) {
        const char* text = json_string_value(word);
        if (!text) break;
        ox_str_printf_append(line, "%s ", text);
    }
    ox_out_push();
    int status = run_on_terminal(ox_dynarray_get(line));
    if (status == -1) {
        printf("sh: %s\n", strerror(errno));
        return -1;
    }
    int ended_by = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    if (ended_by == SIGQUIT) ox_rl_end_row();
    if (ended_by == SIGINT) raise(SIGINT);  // the Ctrl-C was for this program too, which ignored it
    return 0;
}

const Offer debug_offers[] = {{1, 1, offer_keywords, 0, "disabled permanent temporary"}, {}};
const Offer sh_offers[] = {{1, LAST_WORD, offer_programs, 0, nullptr}, {}};
