// A daemon for tests of the client library: a thread behind a local socket that does what the test says.
#pragma once

#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <functional>
#include <map>
#include <string>
#include <thread>

/// A directory that vanishes with the test.
class TempDir {
public:
    TempDir() {
        char name[] = "/tmp/obx-unit-XXXXXX";
        path_ = mkdtemp(name);
    }
    ~TempDir() {
        std::string command = "rm -rf '" + path_ + "'";
        if (system(command.c_str()) != 0) perror("rm");
    }
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

/// One connection as the daemon sees it.
class Peer {
public:
    explicit Peer(int fd = -1) : fd_(fd) {}
    Peer(Peer&& other) noexcept : fd_(other.fd_), held_(std::move(other.held_)) { other.fd_ = -1; }
    Peer& operator=(Peer&& other) noexcept {
        close();
        fd_ = other.fd_;
        held_ = std::move(other.held_);
        other.fd_ = -1;
        return *this;
    }
    ~Peer() { close(); }

    int fd() const { return fd_; }
    bool open() const { return fd_ >= 0; }
    void close() {
        if (fd_ >= 0) ::close(fd_);
        fd_ = -1;
    }
    /// The next line, without its newline; "" at the end of the stream, and where none comes within 60 s: a
    /// client that failed must not hold up the test that says so.
    std::string line() {
        size_t searched = 0;
        for (;;) {
            size_t end = held_.find('\n', searched);
            if (end != std::string::npos) {
                std::string text = held_.substr(0, end);
                held_.erase(0, end + 1);
                return text;
            }
            struct pollfd entry = {fd_, POLLIN, 0};
            if (poll(&entry, 1, 60000) <= 0) return "";
            char block[65536];
            ssize_t count = read(fd_, block, sizeof(block));
            if (count <= 0) return "";
            searched = held_.size();
            held_.append(block, static_cast<size_t>(count));
        }
    }
    /// Sends all of it; false when the client is gone.
    bool say(const std::string& text) const {
        size_t sent = 0;
        while (sent < text.size()) {
            ssize_t count = send(fd_, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
            if (count <= 0) return false;
            sent += static_cast<size_t>(count);
        }
        return true;
    }
    /// The number behind "id": of a request.
    static std::string id_of(const std::string& request) {
        size_t at = request.find("\"id\":");
        if (at == std::string::npos) return "none";
        at += 5;
        return request.substr(at, request.find_first_of(",}", at) - at);
    }
    static std::string answer(const std::string& id, const std::string& result) {
        return "{\"jsonrpc\":\"2.0\",\"id\":" + id + ",\"result\":" + result + "}\n";
    }
    /// Reads a request and answers it; returns the request.
    std::string serve(const std::string& result = "{}") {
        std::string request = line();
        if (!request.empty()) say(answer(id_of(request), result));
        return request;
    }

private:
    int fd_;
    std::string held_;
};

class ScriptedDaemon {
public:
    /// Listens at once; the script runs on a thread of its own and ends when it returns.
    ScriptedDaemon(std::string path, std::function<void(ScriptedDaemon&)> script) : path_(std::move(path)) {
        struct sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        path_.copy(address.sun_path, sizeof(address.sun_path) - 1);
        unlink(path_.c_str());
        listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        bind(listener_, reinterpret_cast<struct sockaddr*>(&address), sizeof(address));
        listen(listener_, 16);
        sigset_t all;
        sigset_t before;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before);  // the test's signals are the main thread's
        thread_ = std::thread([this, script] { script(*this); });
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
    }
    ~ScriptedDaemon() { join(); }
    ScriptedDaemon(const ScriptedDaemon&) = delete;
    ScriptedDaemon& operator=(const ScriptedDaemon&) = delete;

    /// Waits for the script's end and stops listening.
    void join() {
        if (thread_.joinable()) thread_.join();
        if (listener_ >= 0) close(listener_);
        listener_ = -1;
    }
    Peer accept() const {
        struct pollfd entry = {listener_, POLLIN, 0};
        if (poll(&entry, 1, 60000) <= 0) return Peer();
        return Peer(::accept(listener_, nullptr, nullptr));
    }

private:
    std::string path_;
    int listener_ = -1;
    std::thread thread_;
};
