// Whole scripts and lines of the shell, with what a daemon answers to their requests: transfers, logins and
// keys of completion among them. The terminal is not steered, each request is whole, no wait is without
// bound, and the next exchange has the right answer.
#include <setjmp.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "commands/completion.hpp"
#include "commands/dispatch.hpp"
#include "commands/navigate.hpp"
#include "commands/table.hpp"
#include "commands/transfer.hpp"
#include "fuzz.hpp"
#include "line/split.hpp"
#include "main/events.hpp"
#include "main/script.hpp"
#include "model/current.hpp"
#include "model/node.hpp"
#include "ox_confapi.hpp"
#include "ox_jrpcapi.hpp"
#include "ox_jrpcevents.hpp"
#include "ox_jrpcmsg.hpp"
#include "ox_socket.hpp"
#include "ox_url.hpp"
#include "peer.hpp"
#include "session/identity.hpp"
#include "session/request.hpp"

namespace {

sigjmp_buf end_of_run;
const ox_held_mark* held = nullptr;  // while a line of the shell runs

/// What would leave this process or write files of others; `clear` steers the terminal as it should.
int refused(const char*, json_t*) {
    return 0;
}

const std::string& own_file() {
    const std::string& path = second_file();
    FILE* file = fopen(path.c_str(), "w");
    REQUIRE(file && fputs("firmware", file) >= 0 && fclose(file) == 0);
    return path;
}

/// A transfer of the fuzzer's own file, or of a URL, and of nothing else. A script that the end of a flashing
/// leaves is cut off with all that it holds, so there is none.
template <CommandHandler handler, int PLACE>
int transferred(const char* name, json_t* args) {
    json_t* first = json_array_get(args, 0);
    bool firmware = PLACE == 0 || (json_is_string(first) && !strcmp(json_string_value(first), "firmware"));
    if (firmware && !held) return refused(name, args);
    const char* path = json_string_value(json_array_get(args, PLACE));
    ox_url url;
    bool given = path && ox_url_parse_mem(&url, path, strlen(path));
    JsonRef own(json_copy(args));
    if (path && !given) json_array_set_new(own, PLACE, json_string(own_file().c_str()));
    return handler(name, own);
}

struct Replaced {
    const char* name;
    CommandHandler handler;
};
constexpr Replaced replaced[] = {
    {"sh", refused},
    {"lua", refused},
    {"luarecord", refused},
    {"record", refused},
    {"debug", refused},
    {"clear", refused},
    {"download", transferred<download_command, 1>},
    {"upgrade", transferred<upgrade_command, 0>},
    {"upload", transferred<upload_command, 1>},
};

void replace_rows() {
    for (ShellCommand& row : command_table) {
        for (const Replaced& each : replaced) {
            if (strcmp(row.name, each.name) != 0) continue;
            if (row.handler) row.handler = each.handler;
            if (row.request_handler) row.request_handler = each.handler;
        }
    }
}

ox_jrpcapi* channel(uint32_t flags) {
    ox_jrpcapi* api = ox_jrpcapi_init();
    ox_jrpcapi_set_flags(api, flags);
    ox_jrpcapi_set_destination(api, nullptr, peer_path().c_str(), OX_SOCKET_LOCAL);
    ox_jrpcapi_connect(api);
    return api;
}

void session_open() {
    request_channel = channel(0);
    event_channel = channel(OX_JRPCAPI_EVENTS);
    ox_confapi_set_ctx(request_channel);
    identity_on_change(dm_identity_changed);
}

void session_close() {
    path_free(&current_path);
    path_free(&previous_path);
    dm_free();
    ox_jrpcapi_deinit(request_channel);
    ox_jrpcapi_deinit(event_channel);
    request_channel = event_channel = nullptr;
    identity_free();
}

/// The keys up to a Tab, and the hint that they have led to, which waits for nobody.
void complete(const std::string& line) {
    JsonRef candidates(json_array());
    complete_line(line.c_str(), static_cast<int>(line.size()), candidates);
    size_t index = 0;
    json_t* each = nullptr;
    json_array_foreach(candidates.get(), index, each) REQUIRE(json_is_string(each));
    long long before = peer_waited_ms();
    CharsRef hint(hint_line(line.c_str()));
    REQUIRE(peer_waited_ms() == before);
}

void shell_line(const std::string& line) {
    ox_jrpcapi_take_events(GROUP_MODEL_CHANGES, event_take);
    events_tell_lost();
    if (!line.empty() && line.back() == '\t') {
        complete(line.substr(0, line.size() - 1));
        hint_continue();
        return;
    }
    JsonRef words(line_words(line.c_str()));
    if (!words) return;
    JsonRef command(json_incref(json_array_get(words, 0)));
    json_array_remove(words, 0);
    command_dispatch(json_string_value(command), words);
    paths_refresh();
}

void play_shell(Input* lines) {
    static std::string line;  // a jump leaves nothing of it behind
    dm_reload();
    cd_command("cd", nullptr);
    while (lines->left()) {
        line = lines->text();
        shell_line(line);
    }
}

/// False where the program ended, as it does behind a new firmware.
bool play(bool shell, const std::string& commands) {
    if (!shell) {
        script_run(file_of(commands).c_str(), 0);
        return true;
    }
    ox_held_mark mark;
    held = &mark;
    if (sigsetjmp(end_of_run, 0) != 0) return false;
    Input lines(reinterpret_cast<const uint8_t*>(commands.data()), commands.size());
    play_shell(&lines);
    held = nullptr;
    return true;
}

/// What a person types may steer the terminal: it is theirs. So they type nothing that would.
std::string typed(std::string text) {
    for (size_t i = 0; i < text.size(); i++) {
        bool line = text[i] == '\n' || text[i] == '\t';
        if (!line && steers(std::string_view(text).substr(i, 2))) text[i] = ' ';
    }
    return text;
}

/// Whatever was answered before: bytes that were no message may cost the connection once.
void exchange_is_right() {
    peer_echo();
    bool right = false;
    for (int i = 0; i < 3 && !right; i++) {
        JsonRef params(json_pack("{s:i}", "Echo", i));
        MsgRef message(request_new("Echo", params));
        request_exec(message, 1000);
        if (ox_jrpcmsg_typeof(message) != OX_JRPCMSG_RESULT) continue;
        REQUIRE(json_equal(ox_jrpcmsg_get_result_json(message), params));
        right = true;
    }
    REQUIRE(right);
}

}  // namespace

extern "C" [[noreturn]] void __real_exit(int status);
extern "C" [[noreturn]] void __wrap_exit(int status) {
    if (!held) __real_exit(status);
    ox_held_release(*held);
    held = nullptr;
    siglongjmp(end_of_run, 1);
}

/// The history of whoever runs this is not touched.
extern "C" int __wrap__Z15ox_history_dumpPKci(const char*, int) {
    return 0;
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    replace_rows();
    unsetenv("HOME");
    setenv("OBX_PATIENCE", "1", 1);  // a flashing that stands still is given up after ten of them
    REQUIRE(freopen("/dev/null", "r", stdin));
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    unsigned choice = input.number(4);
    std::string commands = typed(input.text('\0'));
    peer_begin(input.rest());
    session_open();
    {
        bool terminal = (choice & 2) != 0;
        Printed printed(terminal);
        bool ended = !play((choice & 1) != 0, commands);
        std::string text = printed.text();
        if (terminal && !ended) REQUIRE(!steers(text));
    }
    exchange_is_right();
    session_close();
    return 0;
}
