// What code writes to standard output, as a text.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <stdio.h>
#include <sys/mman.h>
#include <termios.h>
#include <unistd.h>

#include <string>

#include "ox_screen.hpp"

/// Standard output goes to a file, or to a pseudo-terminal, until text() is asked for.
class Capture {
public:
    enum Kind { FILE_OUTPUT, TERMINAL_OUTPUT };

    explicit Capture(Kind kind = FILE_OUTPUT) : terminal_(kind == TERMINAL_OUTPUT) {
        fflush(stdout);
        saved_ = dup(STDOUT_FILENO);
        int out = -1;
        if (terminal_) {
            struct termios raw = {};
            cfmakeraw(&raw);
            EXPECT_EQ(openpty(&source_, &out, nullptr, &raw, nullptr), 0);
            fcntl(source_, F_SETFL, O_NONBLOCK);
        } else {
            out = memfd_create("capture", 0);
            source_ = dup(out);
        }
        dup2(out, STDOUT_FILENO);
        close(out);
        ox_out_refresh();
    }
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;
    ~Capture() {
        restore();
        close(source_);
    }

    /// Everything written since the start; standard output is itself again.
    std::string text() {
        fflush(stdout);
        if (!terminal_) lseek(source_, 0, SEEK_SET);
        std::string all;
        char piece[4096];
        for (ssize_t n = 0; (n = read(source_, piece, sizeof piece)) > 0;) all.append(piece, n);
        restore();
        return all;
    }

private:
    void restore() {
        if (saved_ < 0) return;
        fflush(stdout);
        dup2(saved_, STDOUT_FILENO);
        close(saved_);
        saved_ = -1;
        ox_out_refresh();
    }

    bool terminal_;
    int saved_ = -1;
    int source_ = -1;
};

/// What `run()` writes to standard output.
template <typename Run>
std::string captured(Run run, Capture::Kind kind = Capture::FILE_OUTPUT) {
    Capture capture(kind);
    run();
    return capture.text();
}
