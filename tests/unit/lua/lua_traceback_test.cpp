// The message handler of Lua mode: message and stack trace.
#include <gtest/gtest.h>
#include <string.h>

#include <string>

#include "lua/traceback.hpp"
#include "ox_colors.hpp"

namespace {

std::string trace_of(const char* code) {
    lua_State* L = luaL_newstate();
    luaL_openlibs(L);
    lua_pushcfunction(L, lua_traceback_handler);
    EXPECT_EQ(luaL_loadbufferx(L, code, strlen(code), "stdin", nullptr), LUA_OK) << lua_tostring(L, -1);
    EXPECT_EQ(lua_pcall(L, 0, 0, 1), LUA_ERRRUN);
    EXPECT_EQ(lua_type(L, -1), LUA_TSTRING);
    std::string text = lua_tostring(L, -1);
    lua_close(L);
    return text;
}

const char* HANDLER = "\n\nStack trace:\n\t#0 [C]: in function ?\n";

TEST(LuaTraceback, Frames) {
    ox_colors_toggle(0);
    const struct {
        const char* code;
        std::string expected;
    } cases[] = {
        {"error('oops', 0)", std::string("oops") + HANDLER +
                                 "\t#1 [C]: in function 'error'\n"
                                 "\t#2 [string \"stdin\"]:1: in the main chunk\n"},
        {"local function f() error('oops') end\nf()", std::string("[string \"stdin\"]:1: oops") + HANDLER +
                                                          "\t#1 [C]: in function 'error'\n"
                                                          "\t#2 [string \"stdin\"]:1: in function 'f'\n"
                                                          "\t#3 [string \"stdin\"]:2: in the main chunk\n"},
        {"local function f() error('x', 0) end\nlocal function g() return f() end\ng()",
         std::string("x") + HANDLER +
             "\t#1 [C]: in function 'error'\n"
             "\t... tail calls\n"
             "\t#2 [string \"stdin\"]:1: in function ?\n"
             "\t#3 [string \"stdin\"]:3: in the main chunk\n"},
        // Lua names the handler after the operation that failed.
        {"local x = nil + 1",
         std::string("[string \"stdin\"]:1: attempt to perform arithmetic on a nil value") +
             "\n\nStack trace:\n\t#0 [C]: in function '__add'\n" +
             "\t#1 [string \"stdin\"]:1: in the main chunk\n"},
    };
    for (const auto& c : cases) EXPECT_EQ(trace_of(c.code), c.expected) << c.code;
}

TEST(LuaTraceback, Messages) {
    ox_colors_toggle(0);
    const struct {
        const char* code;
        const char* message;
    } cases[] = {
        {"error()", "(no error message)"},
        {"error(nil)", "(no error message)"},
        {"error({})", "(no error message)"},
        {"error(true)", "(no error message)"},
        {"error(12)", "12"},
        {"error(1.5)", "1.5"},
        {"error('', 0)", ""},
        {"error(setmetatable({}, {__tostring = function() return 'mine' end}))", "mine"},
        {"error(setmetatable({}, {__tostring = function() return {} end}))", "(no error message)"},
    };
    for (const auto& c : cases) {
        std::string text = trace_of(c.code);
        EXPECT_EQ(text.substr(0, text.find(HANDLER)), c.message) << c.code;
    }
}

TEST(LuaTraceback, Bold) {
    unsetenv("NO_COLOR");
    ox_colors_toggle(1);
    ASSERT_TRUE(ox_colors_enabled());
    EXPECT_EQ(trace_of("error('oops', 0)"),
              "oops\n\nStack trace:\n"
              "\t#0 \x1b[1m[C]:\x1b[22m in function \x1b[1m?\x1b[22m\n"
              "\t#1 \x1b[1m[C]:\x1b[22m in function '\x1b[1merror\x1b[22m'\n"
              "\t#2 \x1b[1m[string \"stdin\"]:1:\x1b[22m in the main chunk\n");
    ox_colors_toggle(0);
}

// Every frame is named, also after a stack overflow.
TEST(LuaTraceback, DeepRecursion) {
    ox_colors_toggle(0);
    std::string text = trace_of("local function f() return 1 + f() end f()");
    EXPECT_NE(text.find("stack overflow"), std::string::npos);
    size_t frames = 0;
    for (size_t at = text.find("\t#"); at != std::string::npos; at = text.find("\t#", at + 1)) ++frames;
    EXPECT_GT(frames, 100000U);
    EXPECT_NE(text.find("in the main chunk\n"), std::string::npos);
}

}  // namespace
