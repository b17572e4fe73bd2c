// Ctrl-C: a wait that is left by a jump.
#include <setjmp.h>
#include <sys/time.h>

#include "connection_helpers.hpp"

/// What a call held when it was left by a jump is lost, and that is accepted.
extern "C" const char* __asan_default_options() {
    return "detect_leaks=0";
}

namespace {

sigjmp_buf jump_context;
volatile sig_atomic_t waiting = 0;

void enter_wait() {
    waiting = 1;
}
void leave_wait() {
    waiting = 0;
}
void on_alarm(int /*signal*/) {
    if (waiting) siglongjmp(jump_context, 1);
}

/// Executes a request and jumps out of its wait after a while. True when it was left by the jump.
bool exec_and_jump(ox_jrpcapi* api, ox_jrpcmsg* message, int after_ms) {
    struct sigaction action = {};
    action.sa_handler = on_alarm;
    sigaction(SIGALRM, &action, nullptr);
    ox_wait_set_hooks(enter_wait, leave_wait);
    volatile bool jumped = false;
    if (sigsetjmp(jump_context, 1) == 0) {
        // Again and again: one that comes outside of the wait is not enough.
        struct itimerval timer = {{0, after_ms * 1000}, {0, after_ms * 1000}};
        setitimer(ITIMER_REAL, &timer, nullptr);
        ox_jrpcapi_exec(api, message);
    } else {
        jumped = true;
    }
    struct itimerval off = {};
    setitimer(ITIMER_REAL, &off, nullptr);
    waiting = 0;
    ox_wait_set_hooks(nullptr, nullptr);
    return jumped;
}

TEST(JrpcJump, OutOfAReceiveLeavesTheConnectionUsable) {
    TempDir dir;
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        Peer peer = self.accept();
        std::string late = Peer::answer(Peer::id_of(peer.line()), "\"late\"");
        peer.say(late.substr(0, 20));  // half of it stays in the buffer
        std::string id = Peer::id_of(peer.line());
        peer.say(late.substr(20) + Peer::answer(id, "\"right\""));
        peer.line();
    });
    {
        Api api = connection(dir / "s", -1);
        MsgRef message = request();
        EXPECT_TRUE(exec_and_jump(api, message, 50));
        MsgRef next = request();
        EXPECT_EQ(ox_jrpcapi_exec(api, next), 0);
        EXPECT_EQ(result_of(next), "\"right\"");
    }
}

TEST(JrpcJump, OutOfASendFinishesTheMessageLater) {
    TempDir dir;
    size_t first = 0;
    std::string second;
    int go[2];
    ASSERT_EQ(pipe(go), 0);
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        Peer peer = self.accept();
        char byte = 0;
        if (read(go[0], &byte, 1) != 1) return;  // not reading before the client has jumped
        std::string whole = peer.line();
        first = whole.size();
        peer.say(Peer::answer(Peer::id_of(whole), "\"late\""));
        second = peer.serve("\"right\"");
    });
    Api api = connection(dir / "s", -1);
    MsgRef big(ox_jrpcmsg_create_new("A", json_pack("{s:s}", "x", std::string(4 << 20, 'x').c_str())));
    EXPECT_TRUE(exec_and_jump(api, big, 50));
    MsgRef dropped = request("Dropped");  // abandoned before its first byte was out: never sent
    EXPECT_TRUE(exec_and_jump(api, dropped, 50));
    ASSERT_EQ(write(go[1], "x", 1), 1);
    MsgRef next = request("Next");
    EXPECT_EQ(ox_jrpcapi_exec(api, next), 0);
    EXPECT_EQ(result_of(next), "\"right\"");
    daemon.join();
    EXPECT_GT(first, size_t{4 << 20});
    EXPECT_NE(second.find("Next"), std::string::npos);
    close(go[0]);
    close(go[1]);
}

TEST(JrpcJump, OutOfAReloginDoesItAgain) {
    TempDir dir;
    int logins = 0;
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        self.accept().serve();  // logged in, then lost
        Peer peer = self.accept();
        for (std::string line; !(line = peer.line()).empty();) {
            bool login = line.find("Login") != std::string::npos;
            if (login && ++logins == 1) continue;  // the first one hangs
            peer.say(Peer::answer(Peer::id_of(line), "4"));
        }
    });
    {
        Api api = connection(dir / "s", -1);
        EXPECT_EQ(ox_jrpcapi_login(api, "u", "p"), 0);
        MsgRef message = request();
        EXPECT_EQ(ox_jrpcapi_exec(api, message), OX_SOCKET_ECLOSED);
        EXPECT_TRUE(exec_and_jump(api, message, 50));
        MsgRef next = request();
        EXPECT_EQ(ox_jrpcapi_exec(api, next), 0);
        EXPECT_EQ(result_of(next), "4");
    }
    daemon.join();
    EXPECT_EQ(logins, 2);
}

TEST(JrpcJump, ASignalThatReturnsDoesNotEndTheExchange) {
    TempDir dir;
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        Peer peer = self.accept();
        std::string text = peer.line();
        usleep(120000);
        peer.say(Peer::answer(Peer::id_of(text), "1"));
    });
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    struct itimerval timer = {{0, 20000}, {0, 20000}};
    setitimer(ITIMER_REAL, &timer, nullptr);
    Api api = connection(dir / "s");
    MsgRef message = request();
    EXPECT_EQ(ox_jrpcapi_exec(api, message), 0);
    struct itimerval off = {};
    setitimer(ITIMER_REAL, &off, nullptr);
}

}  // namespace
