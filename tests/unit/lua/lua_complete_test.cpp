// Completion in Lua mode, from tables of lines.
#include "lua/lua_complete.hpp"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <fstream>
#include <set>
#include <string>

#include "cpu_time.hpp"
#include "lua/lua_fields.hpp"
#include "ox_lua.hpp"
#include "ox_raii.hpp"

namespace {

using Texts = std::multiset<std::string>;

class LuaCompleteTest : public ::testing::Test {
protected:
    void SetUp() override {
        ctx = ox_lua_init(0);
        lua_complete_use(ctx);
        run("package.path = '' package.cpath = ''");
    }
    void TearDown() override {
        lua_complete_use(nullptr);
        ox_lua_free(ctx);
    }

    void run(const char* code) {
        ASSERT_EQ(ox_lua_exec(ctx, code, strlen(code), nullptr, nullptr), 0) << ox_dynarray_get(ctx->err);
    }

    Texts complete(const std::string& line, int cursor = -1) {
        JsonRef candidates(json_array());
        int top = lua_gettop(ctx->L);
        lua_complete(line.c_str(), cursor < 0 ? static_cast<int>(line.size()) : cursor, candidates);
        EXPECT_EQ(lua_gettop(ctx->L), top) << line;
        Texts texts;
        for (size_t i = 0; i < json_array_size(candidates); ++i) {
            texts.insert(json_string_value(json_array_get(candidates, i)));
        }
        return texts;
    }

    ox_lua_ctx* ctx = nullptr;
};

TEST_F(LuaCompleteTest, Words) {
    run("t = {alpha = 1, beta = print, nested = {gamma = 2}, list = {1}, none = {}, [7] = true, [1.5] = 1}");
    run("m = setmetatable({}, {__index = {method = print, value = 1}})");
    const struct {
        const char* line;
        Texts expected;
    } cases[] = {
        {"retu", {"return"}},
        {"el", {"else", "elseif"}},
        {"strin", {"string"}},
        {"string", {"string."}},
        {"string.fo", {"string.format"}},
        {"string.format", {"string.format("}},
        {"print(string.rev", {"string.reverse"}},
        {"x=string.rev", {"string.reverse"}},
        {"{string.rev", {"string.reverse"}},
        {"t.al", {"t.alpha"}},
        {"t.alpha", {"t.alpha"}},
        {"t.nested", {"t.nested."}},
        {"t.list", {"t.list["}},
        {"t.none", {"t.none"}},
        {"t.beta", {"t.beta("}},
        {"t:", {"t:beta"}},
        {"t:al", {}},
        {"t[7", {"t[7]"}},
        {"t['al", {"t['alpha']"}},
        {"t[\"al", {"t[\"alpha\"]"}},
        {"t[al", {}},
        {"t.nested.ga", {"t.nested.gamma"}},
        {"t['nested'].ga", {"t['nested'].gamma"}},
        {"t[\"nested\"][\"ga", {"t[\"nested\"][\"gamma\"]"}},
        {"m.me", {"m.method"}},
        {"m:me", {"m:method"}},
        {"m:method", {"m:method("}},
        {"m:va", {}},
        {"nothing.x", {}},
        {"t.alpha.x", {}},
        {".x", {}},
        {"f().x", {}},
        {"'x'.y", {}},
    };
    for (const auto& c : cases) EXPECT_EQ(complete(c.line), c.expected) << c.line;
}

TEST_F(LuaCompleteTest, WordAtTheCursor) {
    EXPECT_EQ(complete("string.fo + 1", 9), Texts{"string.format"});
    EXPECT_EQ(complete("string.format", 9), Texts{"string.format"});
    EXPECT_EQ(complete("retu x", 4), Texts{"return"});
    EXPECT_TRUE(complete("x  ", 3).count("and"));
    EXPECT_EQ(complete("", 0).count("while"), 1U);
    EXPECT_TRUE(complete("zzz", 100).count("and"));  // no token reaches a cursor beyond the line
}

TEST_F(LuaCompleteTest, KeywordsInOrder) {
    JsonRef candidates(json_array());
    lua_complete("", 0, candidates);
    CharsRef text(json_dumps(candidates, JSON_COMPACT));
    EXPECT_EQ(
        std::string(text).rfind("[\"and\",\"break\",\"do\",\"else\",\"elseif\",\"end\",\"false\",\"for\","
                                "\"function\",\"if\",\"in\",\"local\",\"nil\",\"not\",\"or\",\"repeat\","
                                "\"return\",\"then\",\"true\",\"until\",\"while\",",
                                0),
        0U);
}

TEST_F(LuaCompleteTest, DottedNames) {
    for (const char* text : {"a", "_", "a.b", "a_1.b2.C"}) EXPECT_TRUE(lua_is_dotted_name(text)) << text;
    for (const char* text :
         {"", ".", "1", "a.", ".a", "a..b", "a.1", "a[1]", "a:b", "a b", "a'x'", "a-b", "\xc3\xa9"}) {
        EXPECT_FALSE(lua_is_dotted_name(text)) << text;
    }
}

TEST_F(LuaCompleteTest, Expressions) {
    run("i = 1 t = {{alpha = 1}, {beta = 2}} h = {f = function() return t[2] end} u = 'x'"
        " deep = setmetatable({}, {__call = function() return t[1] end})");
    const struct {
        const char* line;
        Texts expected;
    } cases[] = {
        {"t[i+1].be", {"t[i+1].beta"}},
        {"t[#t].be", {"t[#t].beta"}},
        {"print(t[#t].be", {"t[#t].beta"}},
        {"t[-i+2].al", {"t[-i+2].alpha"}},
        {"t[i]['al", {"t[i]['alpha']"}},
        {"require\"string\".for", {"require\"string\".format"}},
        {"require'string'.for", {"require'string'.format"}},
        {"h.f''.be", {"h.f''.beta"}},
        {"h:f[[]].be", {"h:f[[]].beta"}},
        {"deep'x'.al", {"deep'x'.alpha"}},
        {"#u.x", {}},
        {"t[i+7].al", {}},
        {"t[i+].al", {}},
    };
    for (const auto& c : cases) EXPECT_EQ(complete(c.line), c.expected) << c.line;
}

TEST_F(LuaCompleteTest, Modules) {
    run("package.preload['obx.one'] = function() return {} end package.preload.other = print");
    EXPECT_EQ(complete("'obx.o"), Texts{"'obx.o"});
    run("package.preload['broken'] = function() error('x') end");
    EXPECT_EQ(complete("broken"), Texts{"broken"});
    run("package.preload['whole'] = function() return {field = 1} end");
    testing::internal::CaptureStdout();
    complete("whole");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\nLoaded module 'whole'.\n");
    EXPECT_EQ(complete("whole.fi"), Texts{"whole.field"});
    run("whole = nil");
    testing::internal::CaptureStdout();
    EXPECT_EQ(complete("whole"), Texts{"whole."});
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\nGlobalized module 'whole'.\n");
    testing::internal::CaptureStdout();
    complete("whole");
    complete("string");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST_F(LuaCompleteTest, CompletingReachesNothingOutside) {
    char directory[] = "/tmp/obx_complete_XXXXXX";
    ASSERT_NE(mkdtemp(directory), nullptr);
    std::string file = std::string(directory) + "/file";
    std::ofstream(file) << "text\n";
    run("function w(path) return io.open(path, 'w') end function r() return io.read() end"
        " function l() return {io.lines()()} end input = io.input()"
        " function e() io.stderr:write('to stderr') io.write('to stdout') print('printed') return {field = "
        "1} end");
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    for (const std::string& line :
         {std::string("os.exit\"3\"."), std::string("os.execute\"exit\"."), "os.remove'" + file + "'.",
          "w'" + file + "'.", "io.output'" + file + "'.", std::string("io.popen'cat'."), std::string("r''."),
          std::string("l''."), std::string("input:read'l'."), std::string("ox.sleep'100'."),
          std::string("ox.wait'100'.")}) {
        complete(line);
    }
    EXPECT_EQ(complete("e''.fi"), Texts{"e''.field"});
    EXPECT_EQ(testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr(), "");
    std::string text;
    std::getline(std::ifstream(file), text);
    EXPECT_EQ(text, "text");
    // Afterwards all is as before.
    run(("io.stderr:write('told') assert(io.open('" + file + "')):close() assert(os.remove('" + file + "'))")
            .c_str());
    rmdir(directory);
}

TEST_F(LuaCompleteTest, TimeIsBounded) {
    run("function f() while true do end end function g() while true do pcall(f) end end"
        " c = coroutine.wrap(f) function s() return c() end");
    for (const char* line : {"f''.x", "g''.x", "s''.x", "f''[", "f'':"}) {
        EXPECT_LT(cpu_seconds([&] { complete(line); }), 5) << line;
    }
    EXPECT_EQ(complete("strin"), Texts{"string"});
}

TEST_F(LuaCompleteTest, HostileValues) {
    run("e = setmetatable({}, {__index = function() error('i') end, __pairs = function() error('p') end})"
        "l = setmetatable({}, {__index = function() while true do pcall(error) end end})"
        "n = setmetatable({}, {__pairs = function() return function() return 'x' end end})"
        "o = setmetatable({}, {__pairs = function() return 5 end, __index = io.stdout})"
        "b = {['\\255\\254'] = 1, ['a\\0b'] = 2}");
    for (const char* line : {"e.", "e.a.b", "l.a.b", "n.", "o.", "o:", "b.", "b["}) complete(line);
    EXPECT_EQ(complete("strin"), Texts{"string"});
    run("pairs = nil next = nil require = nil");
    EXPECT_EQ(complete("retu"), Texts{"return"});
}

TEST_F(LuaCompleteTest, ManyFields) {
    run("big = {} for i = 1, 2000 do big['name' .. i] = i end");
    EXPECT_EQ(complete("big.name").size(), 2000U);
}

}  // namespace
