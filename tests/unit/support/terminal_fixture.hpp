// A terminal to write to, and an environment that says which it is.
#pragma once

#include <gtest/gtest.h>
#include <pty.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "ox_screen.hpp"

/// xterm, in UTF-8, whatever the tests are run on.
class OnXterm : public ::testing::Test {
protected:
    void SetUp() override {
        for (const char* name : {"LC_ALL", "LC_CTYPE", "NO_COLOR", "COLORTERM", "COLUMNS"}) unsetenv(name);
        setenv("LANG", "C.UTF-8", 1);
        setenv("TERM", "xterm", 1);
    }
};

/// What a function writes to standard output while that is a terminal (or a pipe).
template <typename Function>
std::string written(bool terminal, Function function, unsigned short columns = 20) {
    int reader = -1;
    int writer = -1;
    if (terminal) {
        struct winsize size = {24, columns, 0, 0};
        EXPECT_EQ(openpty(&reader, &writer, nullptr, nullptr, &size), 0);
    } else {
        int ends[2];
        EXPECT_EQ(pipe(ends), 0);
        reader = ends[0];
        writer = ends[1];
    }
    fflush(stdout);
    int saved = dup(STDOUT_FILENO);
    dup2(writer, STDOUT_FILENO);
    ox_out_refresh();
    function();
    printf("$");
    fflush(stdout);
    dup2(saved, STDOUT_FILENO);
    close(saved);
    ox_out_refresh();
    std::string text;
    char byte;
    while (read(reader, &byte, 1) == 1 && byte != '$') text += byte;
    close(writer);
    close(reader);
    return text;
}
