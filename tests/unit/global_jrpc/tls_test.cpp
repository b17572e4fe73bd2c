// TLS connections: a server made of the openssl command, or of nothing that speaks TLS.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <netinet/in.h>
#include <spawn.h>
#include <sys/wait.h>

#include <string>

#include "ox_jrpcapi.hpp"
#include "ox_raii.hpp"
#include "ox_wait.hpp"
#include "scripted_daemon.hpp"

namespace {

inline void api_drop(ox_jrpcapi* api) {
    ox_jrpcapi_deinit(api);
}
using Api = ox_owner<ox_jrpcapi, api_drop>;

bool run(const std::string& command) {
    return system(("{ " + command + "; } >/dev/null 2>&1").c_str()) == 0;
}

/// An authority and certificates signed by it, made once.
class Certificates : public testing::Test {
protected:
    static void SetUpTestSuite() {
        dir = new TempDir;
        authority("ca");
        authority("other");
        issue("localhost", "DNS:localhost", "-days 2");
        issue("address", "IP:127.0.0.1,IP:::1", "-days 2");
        issue("elsewhere", "DNS:elsewhere.example", "-days 2");
        // x509 cannot date back: a certificate of a negative life time has expired.
        issue("expired", "DNS:localhost,IP:127.0.0.1", "-days -1");
    }
    static void TearDownTestSuite() { delete dir; }
    void SetUp() override {
        struct addrinfo* found = nullptr;
        ASSERT_EQ(getaddrinfo("localhost", nullptr, nullptr, &found), 0) << "localhost does not resolve here";
        freeaddrinfo(found);
    }
    static std::string file(const std::string& name) { return *dir / name; }
    static void authority(const std::string& name) {
        ASSERT_TRUE(run(
            "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 2 -subj /CN=" + name +
            " -keyout " + file(name + ".key") + " -out " + file(name + ".pem")));
    }
    static void issue(const std::string& name, const std::string& names, const std::string& days) {
        ASSERT_TRUE(run("openssl req -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -subj /CN=" + name +
                        " -keyout " + file(name + ".key") + " -out " + file(name + ".csr") +
                        " && printf 'subjectAltName=" + names + "' >" + file(name + ".ext") +
                        " && openssl x509 -req -in " + file(name + ".csr") + " -CA " + file("ca.pem") +
                        " -CAkey " + file("ca.key") + " -CAcreateserial " + days + " -extfile " +
                        file(name + ".ext") + " -out " + file(name + ".pem")));
    }

    static TempDir* dir;
};
TempDir* Certificates::dir = nullptr;

int free_port() {
    Fd fd(socket(AF_INET, SOCK_STREAM, 0));
    struct sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    if (bind(fd.get(), reinterpret_cast<struct sockaddr*>(&address), size) != 0) return 0;
    getsockname(fd.get(), reinterpret_cast<struct sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
}

/// `openssl s_server` whose input and output are the daemon's side of the conversation.
class TlsServer {
public:
    TlsServer(const std::string& certificate, const std::string& key, const std::string& options = "") {
        port_ = free_port();
        int in[2];
        int out[2];
        if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) return;
        pid_ = fork();
        if (pid_ == 0) {
            dup2(in[0], 0);
            dup2(out[1], 1);
            std::string command = "exec openssl s_server -quiet -accept " + std::to_string(port_) +
                                  " -cert " + certificate + " -key " + key + " " + options + " 2>/dev/null";
            execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
            _exit(127);
        }
        close(in[0]);
        close(out[1]);
        in_ = in[1];
        peer_ = Peer(out[0]);
        for (int i = 0; i < 2000 && !accepting(); ++i) usleep(10000);
    }
    ~TlsServer() {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
        close(in_);
    }
    TlsServer(const TlsServer&) = delete;
    TlsServer& operator=(const TlsServer&) = delete;

    int port() const { return port_; }
    std::string line() { return peer_.line(); }
    void say(const std::string& text) const {
        size_t sent = 0;
        while (sent < text.size()) {
            ssize_t count = write(in_, text.data() + sent, text.size() - sent);
            if (count <= 0) return;
            sent += static_cast<size_t>(count);
        }
    }

private:
    /// Looks into the kernel's table: a trial connection would count as the client's.
    bool accepting() const {
        char pattern[64];
        snprintf(pattern, sizeof(pattern), "grep -q ':%04X .* 0A ' /proc/net/tcp /proc/net/tcp6", port_);
        return run(pattern);
    }

    int port_ = 0;
    pid_t pid_ = -1;
    int in_ = -1;
    Peer peer_;
};

Api client(const std::string& destination, int timeout_ms = 5000) {
    Api api(ox_jrpcapi_init());
    ox_jrpcapi_set_flags(api, OX_JRPCAPI_RELOGIN | OX_JRPCAPI_SSL);
    ox_jrpcapi_set_destination(api, nullptr, destination.c_str(), OX_SOCKET_LOCAL);
    ox_jrpcapi_set_timeout(api, timeout_ms);
    return api;
}

struct Row {
    const char* certificate;
    const char* host;
    const char* authority;
    const char* text;  ///< null: connects
};

TEST_F(Certificates, AreChecked) {
    const Row rows[] = {
        {"localhost", "localhost", "ca", nullptr},
        {"address", "127.0.0.1", "ca", nullptr},
        {"localhost", "localhost", "other", "the certificate is not signed by a trusted authority"},
        {"elsewhere", "localhost", "ca", "the certificate is not for the host localhost"},
        {"localhost", "127.0.0.1", "ca", "the certificate is not for the host 127.0.0.1"},
        {"expired", "localhost", "ca", "the certificate has expired"},
        {"expired", "127.0.0.1", "ca", "the certificate has expired"},
    };
    for (const Row& row : rows) {
        std::string name = row.certificate;
        TlsServer server(file(name + ".pem"), file(name + ".key"));
        setenv("OBX_CA_FILE", file(std::string(row.authority) + ".pem").c_str(), 1);
        Api api = client(std::string("tcp://") + row.host + ":" + std::to_string(server.port()));
        int rc = ox_jrpcapi_connect(api);
        EXPECT_EQ(rc, row.text ? OX_SOCKET_ETLS : OX_SOCKET_OK) << row.certificate << " " << row.host;
        if (row.text) {
            EXPECT_STREQ(ox_socket_strerror(rc), row.text);
            EXPECT_EQ(ox_jrpcapi_socket(api), nullptr);
        } else {
            EXPECT_EQ(ox_socket_type(ox_jrpcapi_socket(api)), OX_SOCKET_TCP);
            const struct sockaddr* own = ox_socket_get_addr(ox_jrpcapi_socket(api));
            ASSERT_NE(own, nullptr);
            EXPECT_TRUE(own->sa_family == AF_INET || own->sa_family == AF_INET6);
        }
    }
}

TEST_F(Certificates, NeedAnAuthorityFile) {
    TlsServer server(file("localhost.pem"), file("localhost.key"));
    std::string destination = "tcp://localhost:" + std::to_string(server.port());
    for (const std::string& bad : {file("none"), file("ca.key")}) {
        setenv("OBX_CA_FILE", bad.c_str(), 1);
        Api api = client(destination);
        EXPECT_EQ(ox_jrpcapi_connect(api), OX_SOCKET_ETLS);
        EXPECT_EQ(ox_socket_strerror(OX_SOCKET_ETLS), "no trusted certificates in " + bad);
    }
    setenv("OBX_CA_FILE", file("ca.pem").c_str(), 1);
    Api api = client(destination);
    EXPECT_EQ(ox_jrpcapi_connect(api), OX_SOCKET_OK);
}

TEST_F(Certificates, OldVersionsAreRefused) {
    TlsServer server(file("localhost.pem"), file("localhost.key"), "-tls1_1 -cipher DEFAULT@SECLEVEL=0");
    setenv("OBX_CA_FILE", file("ca.pem").c_str(), 1);
    Api api = client("tcp://localhost:" + std::to_string(server.port()));
    EXPECT_EQ(ox_jrpcapi_connect(api), OX_SOCKET_ETLS);
}

TEST_F(Certificates, MessagesPassEncrypted) {
    TlsServer server(file("localhost.pem"), file("localhost.key"));
    setenv("OBX_CA_FILE", file("ca.pem").c_str(), 1);
    Api api = client("tcp://localhost:" + std::to_string(server.port()), 10000);
    ASSERT_EQ(ox_jrpcapi_connect(api), OX_SOCKET_OK);
    std::string answer(200000, 'y');
    std::string question(200000, 'x');
    std::string seen;
    std::thread daemon([&] {
        seen = server.line();
        server.say(R"({"jsonrpc":"2.0","method":"Event","group":7})" +
                   Peer::answer("1", "\"" + answer + "\"") +
                   R"({"jsonrpc":"2.0","method":"Event","group":8})" + "\n");
    });
    ox_jrpcapi_set_flags(api, OX_JRPCAPI_SSL | OX_JRPCAPI_EVENTS);
    MsgRef message(ox_jrpcmsg_create_new("A", json_pack("{s:s}", "x", question.c_str())));
    EXPECT_EQ(ox_jrpcapi_exec(api, message), 0);
    daemon.join();
    EXPECT_NE(seen.find(question), std::string::npos);
    EXPECT_EQ(json_string_value(ox_jrpcmsg_get_result_json(message)), answer);
    for (uint32_t group : {7, 8}) {
        struct pollfd entry = {ox_socket_fd(ox_jrpcapi_socket(api)), POLLIN, 0};
        MsgRef event;
        for (int i = 0; i < 20 && !event && poll(&entry, 1, 20000) == 1; ++i)
            event.reset(ox_jrpcapi_recv(api));
        ASSERT_NE(event.get(), nullptr);
        EXPECT_EQ(event->group, group);
    }
}

TEST_F(Certificates, PlainTextAndSilenceAreToldApart) {
    struct Plain {
        const char* greeting;  ///< null: closes at once; "": stays silent
        int error;
        const char* text;
    };
    const Plain rows[] = {
        {"{\"jsonrpc\":\"2.0\",\"id\":null,\"error\":{\"code\":-32700}}\n", OX_SOCKET_ETLS,
         "the other side does not speak TLS"},
        {nullptr, OX_SOCKET_ETLS,
         "the daemon closed the connection during the TLS handshake (does it speak TLS?)"},
        {"", OX_SOCKET_ETIMEOUT, "Timed out"},
    };
    setenv("OBX_CA_FILE", file("ca.pem").c_str(), 1);
    for (const Plain& row : rows) {
        TempDir place;
        ScriptedDaemon daemon(place / "s", [&](ScriptedDaemon& self) {
            Peer peer = self.accept();
            char block[16];
            if (read(peer.fd(), block, sizeof(block)) <= 0 || !row.greeting) return;
            peer.say(row.greeting);
            while (read(peer.fd(), block, sizeof(block)) > 0) continue;
        });
        Api api = client(place / "s", 300);
        EXPECT_EQ(ox_jrpcapi_connect(api), row.error);
        EXPECT_STREQ(ox_socket_strerror(row.error), row.text);
    }
}

TEST_F(Certificates, APlainClientOfATlsServerFails) {
    TlsServer server(file("localhost.pem"), file("localhost.key"));
    Api api = client("tcp://localhost:" + std::to_string(server.port()));
    ox_jrpcapi_set_flags(api, OX_JRPCAPI_RELOGIN);
    MsgRef message(ox_jrpcmsg_create_new("A", nullptr));
    int rc = ox_jrpcapi_exec(api, message);  // an alert, or the end of the stream
    EXPECT_TRUE(rc == OX_SOCKET_EPROTO || rc == OX_SOCKET_ECLOSED) << rc;
    EXPECT_EQ(message->error_code, rc);
}

}  // namespace
