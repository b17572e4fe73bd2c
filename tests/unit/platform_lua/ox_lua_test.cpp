// The Lua wrapper: captured output, arguments, errors, and code that is stopped.
#include "ox_lua.hpp"

#include <gtest/gtest.h>
#include <signal.h>
#include <string.h>
#include <unistd.h>

#include <string>

#include "lua/lua_record.hpp"
#include "ox_raii.hpp"

namespace {

class OxLuaTest : public ::testing::Test {
protected:
    void SetUp() override { ctx = ox_lua_init(0); }
    void TearDown() override { ox_lua_free(ctx); }

    int run(const std::string& code, const char* name = nullptr, json_t* args = nullptr) {
        return ox_lua_exec(ctx, code.c_str(), code.size(), name, args);
    }
    std::string out() const { return {ox_dynarray_get(ctx->out), ox_str_length(ctx->out)}; }
    std::string err() const { return {ox_dynarray_get(ctx->err), ox_str_length(ctx->err)}; }

    ox_lua_ctx* ctx = nullptr;
};

TEST_F(OxLuaTest, OutputIsCaptured) {
    EXPECT_EQ(run("print(1, 'a', nil) io.write('b', 2):write('c') io.stdout:write('d\\0e')"), 0);
    EXPECT_EQ(out(), std::string("1\ta\tnil\nb2cd\0e", 14));
    EXPECT_EQ(run("print('next')"), 0);
    EXPECT_EQ(out(), "next\n");
    EXPECT_EQ(run(""), 0);
    EXPECT_EQ(out(), "");
}

TEST_F(OxLuaTest, PrintUsesTheTostringOfTheMoment) {
    EXPECT_EQ(run("local old = tostring function tostring(v) return '<' .. old(v) .. '>' end print(1, nil) "
                  "print() tostring = old print(2)"),
              0);
    EXPECT_EQ(out(), "<1>\t<nil>\n\n2\n");
    EXPECT_EQ(run("tostring = function() return 7 end print('x')"), 0);
    EXPECT_EQ(out(), "7\n");
    EXPECT_EQ(run("tostring = function() return {} end print(1)"), LUA_ERRRUN);
    EXPECT_EQ(err(), "lua:1: 'tostring' must return a string to 'print'");
    EXPECT_EQ(run("tostring = nil print(1)"), LUA_ERRRUN);
    EXPECT_NE(err().find("attempt to call a nil value"), std::string::npos) << err();
}

TEST_F(OxLuaTest, DirectOutput) {
    ox_lua_set_flags(ctx, OX_LUA_DIRECT_OUTPUT);
    testing::internal::CaptureStdout();
    EXPECT_EQ(run("print('x') io.write('y\\n')"), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "x\ny\n");
    EXPECT_EQ(out(), "");
    ox_lua_set_flags(ctx, 0);
    EXPECT_EQ(run("print('z')"), 0);
    EXPECT_EQ(out(), "z\n");
}

TEST_F(OxLuaTest, StreamedOutputComesBeforeTheError) {
    ox_lua_set_flags(ctx, OX_LUA_STREAM);
    testing::internal::CaptureStdout();
    EXPECT_NE(run("print('x') error('e', 0)", "s"), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "x\n");
    EXPECT_EQ(err().rfind("e\nstack traceback:", 0), 0U);
}

TEST_F(OxLuaTest, LargeOutputIsWhole) {
    EXPECT_EQ(run("for i = 1, 300000 do io.write(i, '\\n') end"), 0);
    EXPECT_EQ(out().size(), 9U * 2 + 90U * 3 + 900U * 4 + 9000U * 5 + 90000U * 6 + 200001U * 7);
}

TEST_F(OxLuaTest, Arguments) {
    JsonRef args(json_pack("[s, s]", "one", "two words"));
    EXPECT_EQ(run("print(..., select('#', ...), arg[0], arg[1], arg[2])", "file.lua", args), 0);
    EXPECT_EQ(out(), "one\t2\tfile.lua\tone\ttwo words\n");
    EXPECT_EQ(json_array_size(args), 2U);
}

TEST_F(OxLuaTest, Errors) {
    const struct {
        const char* code;
        const char* text;
    } cases[] = {
        {"error('x')", "lua:1: x"},
        {"error('x', 0)", "x"},
        {"error({})", "(error object is a table value)"},
        {"error()", "(error object is a nil value)"},
        {"error(setmetatable({}, {__tostring = function() return 'own' end}))", "own"},
        {"error(setmetatable({}, {__tostring = function() return 5 end}))",
         "(error object is a table value)"},
        {"\n(", "lua:2: unexpected symbol near <eof>"},
    };
    for (const auto& c : cases) {
        EXPECT_NE(run(c.code), 0) << c.code;
        EXPECT_EQ(err(), c.text) << c.code;
    }
    EXPECT_NE(run("error(setmetatable({}, {__tostring = function() error('again') end}))"), 0);
    EXPECT_FALSE(err().empty());
    EXPECT_NE(run("\x1bLua binary"), 0);
    EXPECT_EQ(lua_gettop(ctx->L), 0);
}

TEST_F(OxLuaTest, BindingsWithoutConnection) {
    EXPECT_EQ(run("print(select(2, pcall(ox.get, 'Device.X')))"), 0);
    EXPECT_EQ(out(), "there is no connection to the daemon\n");
}

TEST_F(OxLuaTest, FloatsInJson) {
    EXPECT_EQ(
        run("print(ox.json.encode({0.1, 1/3, 1e300, -2.5, 1.0, 0.1 + 0.2, '0.10000000000000001', 1.1e-7})) "
            "print(ox.json.encode({['0.10000000000000001'] = 0.7}, 1)) print(ox.json.encode(0.1))"),
        0)
        << err();
    EXPECT_EQ(out(),
              "[0.1,0.33333333333333331,1e300,-2.5,1.0,0.30000000000000004,\"0.10000000000000001\",1.1e-7]\n"
              "{\n \"0.10000000000000001\": 0.7\n}\n0.1\n");
}

TEST_F(OxLuaTest, ZeroBytesInJson) {
    EXPECT_EQ(run("assert(ox.json.decode(ox.json.encode('a\\0b')) == 'a\\0b')"), 0) << err();
}

TEST_F(OxLuaTest, ReadOnly) {
    ox_lua_set_flags(ctx, OX_LUA_READ_ONLY);
    EXPECT_EQ(
        run("for _, f in ipairs{'set', 'add', 'del', 'exec', 'call', 'on', 'off', 'wait', 'sleep'} do "
            "local ok, e = pcall(ox[f], 'Device.X', 1) assert(not ok and e:find('while completing'), f) end"),
        0)
        << err();
}

ox_lua_ctx* alarmed = nullptr;
void on_alarm(int) {
    ox_lua_stop(alarmed);
}

TEST_F(OxLuaTest, StopReachesAllCode) {
    alarmed = ctx;
    signal(SIGALRM, on_alarm);
    for (const char* code : {
             "while true do end",
             "while true do pcall(function() while true do end end) end",
             "coroutine.wrap(function() while true do end end)()",
             "local co = coroutine.create(function() while true do pcall(error) end end) "
             "while true do coroutine.resume(co) end",
             "coroutine.wrap(function() coroutine.wrap(function() while true do end end)() end)()",
             "setmetatable({}, {__gc = function() end}) while true do local t = {} end",
         }) {
        ualarm(50000, 0);
        EXPECT_NE(run(code), 0) << code;
        EXPECT_NE(err().find("interrupted!"), std::string::npos) << err();
        EXPECT_TRUE(ox_lua_stopped(ctx));
        ox_lua_resume(ctx);
        EXPECT_EQ(run("print(1)"), 0);
        EXPECT_EQ(out(), "1\n");
    }
    signal(SIGALRM, SIG_DFL);
}

/// A stop that is asked for while one call works, which no instruction of the code sees.
int stop_in_a_call(lua_State* L) {
    ox_lua_stop(alarmed);
    lua_sethook(L, nullptr, 0, 0);
    return 0;
}

TEST_F(OxLuaTest, StopReachesALongRepetition) {
    alarmed = ctx;
    lua_register(ctx->L, "stop", stop_in_a_call);
    for (const char* call : {"('x'):rep(1 << 24)", "('x'):rep(1 << 23, ',')", "('x'):rep(1 << 24):rep(2)"}) {
        EXPECT_NE(run(std::string("stop() local text = ") + call), 0) << call;
        EXPECT_NE(err().find("interrupted!"), std::string::npos) << err();
        ox_lua_resume(ctx);
    }
    EXPECT_EQ(run("local s = ('ab'):rep(1 << 21, '-') print(#s, s:sub(1, 5), s:sub(-5), s == ('ab-'):rep(1 "
                  "<< 21):sub(1, -2))"),
              0);
    EXPECT_EQ(out(), "6291455\tab-ab\tab-ab\ttrue\n");
}

TEST_F(OxLuaTest, CoroutinesBehaveAsLuasOwn) {
    EXPECT_EQ(
        run("local co = coroutine.create(function(a) local b = coroutine.yield(a + 1) error('e' .. b, 0) "
            "end)\n"
            "print(coroutine.resume(co, 1)) print(coroutine.resume(co, 2)) print(coroutine.resume(co))\n"
            "local w = coroutine.wrap(function() coroutine.yield(1, 2) return 3 end)\n"
            "print(w()) print(w()) print(pcall(w))\n"
            "print(pcall(coroutine.resume, 5)) print(coroutine.resume(coroutine.running()))"),
        0)
        << err();
    EXPECT_EQ(out(),
              "true\t2\nfalse\te2\nfalse\tcannot resume dead coroutine\n1\t2\n3\n"
              "false\tcannot resume dead coroutine\n"
              "false\tbad argument #1 to 'coroutine.resume' (coroutine expected)\n"
              "false\tcannot resume non-suspended coroutine\n");
}

TEST_F(OxLuaTest, FinalizersThatFail) {
    const char* code =
        "collectgarbage('stop') for i = 1, 500 do setmetatable({}, {__gc = function() error(12) end}) end "
        "collectgarbage('restart')";
    JsonRef words(json_array());
    for (int i = 0; i < 2000; ++i) json_array_append_new(words, json_string("a word of some length"));
    for (int i = 0; i < 20; ++i) {
        run(code);
        run("error(12)", "chunk", words);
    }
    for (int i = 0; i < 60000 && run("collectgarbage()") != 0; ++i) continue;
    EXPECT_EQ(run("print(#arg)", "chunk", words), 0) << err();
    EXPECT_EQ(out(), "2000\n");
}

TEST_F(OxLuaTest, StatementsForScripts) {
    const struct {
        const char* statement;
        const char* entry;
    } cases[] = {
        {"x = 1", "x = 1"},
        {"f()", "f()"},
        {"(f or g)()", ";(f or g)()"},
        {"1 + 1", "print(1 + 1)"},
        {"x -- note", "print(x -- note\n)"},
        {"return 5", ";(function(...)\nreturn 5\nend)(...)"},
        {"return ...", ";(function(...)\nreturn ...\nend)(...)"},
        {"...", "print(...)"},
        {"5;", "print((function(...) return 5; end)(...))"},
        {"--[[note]] (f or g)()", ";--[[note]] (f or g)()"},
        {"local x = 1", "do local x = 1 end"},
        {"local x = 1 -- one", "do local x = 1 -- one\nend"},
        {"::a:: if not y then y = 1 goto a end", "do ::a:: if not y then y = 1 goto a end end"},
        {"for i = 1, 2 do\nprint(i) end", "for i = 1, 2 do\nprint(i) end"},
        {"no\nsense", "-- no\n-- sense"},
        {"if x then return end", ";(function(...)\nif x then return end\nend)(...)"},
        {"do f = function() return 1 end return 2 end",
         ";(function(...)\ndo f = function() return 1 end return 2 end\nend)(...)"},
        {"function f() if x then return 1 end return 2 end",
         "function f() if x then return 1 end return 2 end"},
        {"function f() repeat local function g() return end until g() for i = 1, 2 do return end end",
         "do function f() repeat local function g() return end until g() for i = 1, 2 do return end end end"},
        {"print 'return' --[==[ ]] return ]==] print[=[ return ]] ]=] -- return",
         "print 'return' --[==[ ]] return ]==] print[=[ return ]] ]=] -- return"},
        {"x = '\\' return ' returns = 1 t[ [[return]]] = 2",
         "x = '\\' return ' returns = 1 t[ [[return]]] = 2"},
        {"while true do if x then return end end",
         ";(function(...)\nwhile true do if x then return end end\nend)(...)"},
    };
    for (const auto& c : cases) {
        StrRef entry(lua_statement_for_script(ctx->L, c.statement));
        EXPECT_STREQ(ox_dynarray_get(entry), c.entry);
    }
}

TEST_F(OxLuaTest, ARecordedScriptRunsAsItsStatementsDid) {
    std::string script;
    auto record = [&](const char* statement) {
        StrRef entry(lua_statement_for_script(ctx->L, statement));
        script += ox_dynarray_get(entry) + std::string("\n");
    };
    for (int i = 0; i < 300; ++i) {
        record("local x = 1");
        record("do goto on end ::on::");
    }
    for (const char* statement :
         {"x = 2", "x", "return ...", "y = x", "--[[c]] (print)('y', y)", "'z';",
          "= \r =", "if x == 2 then return 1 end", "if x == 2 then print('on') end"}) {
        record(statement);
    }
    EXPECT_EQ(run(script), 0) << err();
    EXPECT_EQ(out(), "2\ny\t2\nz\non\n");
}

}  // namespace
