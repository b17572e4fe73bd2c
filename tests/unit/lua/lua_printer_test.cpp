// The texts of Lua values. Expected texts are worked out by hand from the rules in value_printer.hpp.
#include <gtest/gtest.h>

#include <string>

#include "lua/value_printer.hpp"
#include "ox_colors.hpp"

namespace {

struct Case {
    const char* code;      ///< a chunk that returns the value
    const char* expected;  ///< its text
    size_t width = 80;
};

class LuaPrinterTest : public ::testing::Test {
protected:
    void SetUp() override {
        L = luaL_newstate();
        luaL_openlibs(L);
        ox_colors_toggle(0);
    }
    void TearDown() override { lua_close(L); }

    std::string text_of(const std::string& code, size_t width = 80) {
        if (luaL_dostring(L, code.c_str()) != LUA_OK) return lua_tostring(L, -1);
        return text_of_top(width);
    }

    std::string text_of_top(size_t width = 80) {
        lua_printer_begin(L);
        lua_printer.line_width = width;
        int top = lua_gettop(L);
        lua_value_to_text(L, -1);
        EXPECT_EQ(lua_gettop(L), top);
        lua_printer_end(L);
        std::string text(lua_printer.text, lua_printer.length);
        lua_settop(L, 0);
        return text;
    }

    lua_State* L = nullptr;
};

TEST_F(LuaPrinterTest, Scalars) {
    const Case cases[] = {
        {"return nil", "nil"},
        {"return true", "true"},
        {"return false", "false"},
        {"return 42", "42"},
        {"return -7", "-7"},
        {"return 9223372036854775807", "9223372036854775807"},
        {"return math.mininteger", "-9223372036854775808"},
        {"return 2.0", "2.0"},
        {"return 0.1", "0.1"},
        {"return 1e100", "1e+100"},
        {"return 1/0", "inf"},
        {"return -1/0", "-inf"},
    };
    for (const Case& c : cases) EXPECT_EQ(text_of(c.code), c.expected) << c.code;
}

TEST_F(LuaPrinterTest, Pointers) {
    EXPECT_EQ(text_of("f = print return print").rfind("<function: 0x", 0), 0U);
    EXPECT_EQ(text_of("return io.stdout").rfind("file (0x", 0), 0U);
    EXPECT_EQ(text_of("return coroutine.create(print)").rfind("<thread: 0x", 0), 0U);
    lua_newuserdata(L, 1);
    char expected[64];
    snprintf(expected, sizeof(expected), "<userdata: %p>", lua_topointer(L, -1));
    EXPECT_EQ(text_of_top(), expected);
}

TEST_F(LuaPrinterTest, LightUserdataHasNoText) {
    text_of("return 'before'");
    lua_pushlightuserdata(L, this);
    EXPECT_EQ(text_of_top(), "");
    lua_pushlightuserdata(L, this);
    text_of_top();
    EXPECT_STREQ(lua_printer.text, "");
}

TEST_F(LuaPrinterTest, QuotedStrings) {
    const Case cases[] = {
        {"return ''", "\"\""},
        {"return 'abc'", "\"abc\""},
        {"return 'a\"b'", "\"a\\\"b\""},
        {"return 'a\\\\b'", "\"a\\\\b\""},
        {"return '\\a\\b\\f'", "\"\\a\\b\\f\""},
        {"return '\\27'", "\"\\027\""},
        {"return '\\0x'", "\"\\000x\""},
        {"return '\\208\\159'", "\"\\208\\159\""},
        {"return '\\127'", "\"\\127\""},
        // One tab costs 40: 1 + 40 is within 80, and two with 0 other bytes (82) are not.
        {"return '\\t'", "\"\\t\""},
        {"return '\\n'", "\"\\n\""},
        {"return '\\v\\27'", "\"\\v\\027\""},
        {"return '\\r'", "\"\\r\""},
        // 40 bytes with one tab: 40 + 40 is exactly the width.
        {"return ('a'):rep(39)..'\\t'", "\"aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa\\t\""},
        // Another width, other costs: a tab 10 and a control byte -5 of 20 columns.
        {"return ('a'):rep(9)..'\\t'", "\"aaaaaaaaa\\t\"", 20},
        {"return ('a'):rep(10)..'\\t'", "[[\naaaaaaaaaa\t]]", 20},
        {"return ('a'):rep(24)..'\\1'", "\"aaaaaaaaaaaaaaaaaaaaaaaa\n\\001\"", 20},
        {"return ('a'):rep(25)..'\\1'", "[[\naaaaaaaaaaaaaaaaaaaaaaaaa\1]]", 20},
        // Two tabs cost 82, a byte that is not printable pays 20 - 1 back.
        {"return '\\t\\t\\1'", "\"\\t\\t\\001\""},
        {"return ('a'):rep(80)",
         "\"aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa\""},
    };
    for (const Case& c : cases) EXPECT_EQ(text_of(c.code, c.width), c.expected) << c.code;
}

TEST_F(LuaPrinterTest, ForeignTextsAreEscapedOnRequest) {
    const struct {
        const char* code;
        const char* plain;
        const char* escaped;
    } cases[] = {
        // A script's own colours work, what bindings and errors quote does not steer.
        {"return setmetatable({}, {__tostring = function() return '\\27[31mred\\27[0m' end})",
         "\x1b[31mred\x1b[0m", "\x1b[31mred\x1b[0m"},
        {"return setmetatable({}, {__tostring = function() error('\\27[31m', 0) end})", "\x1b[31m",
         "\\x1b[31m"},
        {"return ('a'):rep(40)..'\\n\\t\\27['", "[[\naaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa\n\t\x1b[]]",
         "[[\naaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa\n\t\\x1b[]]"},
        {"debug.setmetatable('', {__tostring = string.upper}) return '\\27[31mx'", "\x1b[31MX", "\\x1b[31MX"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(text_of(c.code), c.plain) << c.code;
        ASSERT_EQ(luaL_dostring(L, c.code), LUA_OK);
        lua_printer_begin(L);
        lua_printer.escapes = true;
        lua_value_to_text(L, -1);
        lua_printer_end(L);
        EXPECT_STREQ(lua_printer.text, c.escaped) << c.code;
        lua_settop(L, 0);
    }
}

TEST_F(LuaPrinterTest, EscapedBytesWrapButPrintableOnesDoNot) {
    // The quote and 79 letters fill the 80 columns; the escape does not fit there and fits on a fresh line.
    EXPECT_EQ(text_of("return ('a'):rep(79)..'\\1b'"), "\"" + std::string(79, 'a') + "\n\\001b\"");
    // 76 letters: column 77, an escape would end in column 81.
    EXPECT_EQ(text_of("return ('a'):rep(76)..'\\1'"), "\"" + std::string(76, 'a') + "\n\\001\"");
    // 75 letters: it ends in column 80, which is the width.
    EXPECT_EQ(text_of("return ('a'):rep(75)..'\\1'"), "\"" + std::string(75, 'a') + "\\001\"");
    // On a line narrower than an escape nothing wraps: it would fit nowhere.
    EXPECT_EQ(text_of("return '\\1\\1'", 3), "\"\\001\\001\"");
}

TEST_F(LuaPrinterTest, LongBrackets) {
    EXPECT_EQ(text_of("return ('a'):rep(100)"), "[[\n" + std::string(100, 'a') + "]]");
    // 81 bytes do not fit on a fresh line either: no wrapping.
    EXPECT_EQ(text_of("return ('a'):rep(81)"), "[[\n" + std::string(81, 'a') + "]]");
    // A short text with two newlines: "[[\n" counts 3 columns, 3 + 3 fits.
    EXPECT_EQ(text_of("return 'a\\n\\n'"), "[[\na\n\n]]");
    // 78 bytes behind 3 columns wrap: they fit on a fresh line.
    EXPECT_EQ(text_of("return '\\n'..('a'):rep(77)"), "[[\n\n\n" + std::string(77, 'a') + "]]");
    EXPECT_EQ(text_of("return '\\n'..('a'):rep(76)"), "[[\n\n" + std::string(76, 'a') + "]]");
    std::string tail(100, 'a');
    const struct {
        const char* text;
        const char* equals;
    } levels[] = {
        {"]", ""},      {"]]", "="},      {"]=]", "=="},      {"]=]=]", "==="}, {"]==]", "==="},
        {"]x]", ""},    {"]=x=]", ""},    {"]]]", "="},       {"[[", ""},       {"]=", ""},
        {"]=]]", "=="}, {"]]x]=]", "=="}, {"]==]x]]", "==="},
    };
    for (const auto& level : levels) {
        std::string value = tail + level.text;
        std::string code = "return '" + value + "'";
        std::string equals = level.equals;
        EXPECT_EQ(text_of(code), "[" + equals + "[\n" + value + "]" + equals + "]") << level.text;
    }
}

TEST_F(LuaPrinterTest, Tables) {
    const Case cases[] = {
        {"return {}", "{  }"},
        {"return {1, 2, 3}", "{ 1, 2, 3,  }"},
        {"return {1, 2, x = 3}", "{ 1, 2, \n  x = 3,\n}"},
        {"return {x = 3}", "{ \n  x = 3,\n}"},
        {"return {{1}, {2}}", "{ \n  { 1,  }, \n  { 2,  }, \n}"},
        {"return {1, {2}, 3}", "{ 1, \n  { 2,  }, \n  3, \n}"},
        {"return {{1}, 2}", "{ \n  { 1,  }, \n  2, \n}"},
        {"return {{}, {}, x = 1}", "{ \n  {  }, \n  {  }, \n  x = 1,\n}"},
        {"return {1, nil, 3}", "{ 1, nil, 3,  }"},
        {"return {a = {b = 1}}", "{ \n  a = { \n        b = 1,\n  },\n}"},
        {"return {a = {}}", "{ \n  a = {  },\n}"},
        {"return {['end'] = 1}", "{ \n  end = 1,\n}"},
        {"return {['a b'] = 1}", "{ \n  [\"a b\"] = 1,\n}"},
        {"return {['1a'] = 1}", "{ \n  [\"1a\"] = 1,\n}"},
        {"return {['a1_'] = 1}", "{ \n  a1_ = 1,\n}"},
        {"return {[''] = 1}", "{ \n   = 1,\n}"},
        {"return {['\\xc3\\xa4'] = 1}", "{ \n  [\"\\195\\164\"] = 1,\n}"},
        {"return {[0] = 1}", "{ \n  [0] = 1,\n}"},
        {"return {[-1] = 1}", "{ \n  [-1] = 1,\n}"},
        {"return {[2.5] = 1}", "{ \n  [2.5] = 1,\n}"},
        {"return {1, 2, 3, [2.5] = 'x'}", "{ 1, 2, 3, \n  [2.5] = \"x\",\n}"},
        {"return {[-0.0] = 1}", "{ \n  [0] = 1,\n}"},
        {"return {[1e300] = 1}", "{ \n  [1e+300] = 1,\n}"},
        {"return {[1/0] = 1}", "{ \n  [inf] = 1,\n}"},
        {"return {1, [1e-7] = 1}", "{ 1, \n  [1e-07] = 1,\n}"},
        {"return {1, [math.maxinteger] = 1}", "{ 1, \n  [9223372036854775807] = 1,\n}"},
        {"return {1, [math.mininteger] = 1}", "{ 1, \n  [-9223372036854775808] = 1,\n}"},
        {"return {[2.0^53] = 1}", "{ \n  [9007199254740992] = 1,\n}"},
        {"return {[true] = 1}", "{ \n  [true] = 1,\n}"},
        {"return {[{1}] = 1}", "{ \n  [{ 1,  }] = 1,\n}"},
        // A key a little beside an index, but one and the same in single precision, has no exact integer.
        {"return {1, 2, 3, [2.00000001] = 4}", "{ 1, 2, 3, \n  [2.00000001] = 4,\n}"},
        {"return {1, 2, [4294967298] = 4}", "{ 1, 2, \n  [4294967298] = 4,\n}"},
        {"return {'a\\n\\nb'}", "{ [[\na\n\nb]],  }"},
    };
    for (const Case& c : cases) EXPECT_EQ(text_of(c.code), c.expected) << c.code;
}

TEST_F(LuaPrinterTest, FloatKeysOfTheArrayPartAreSkipped) {
    // lua_rawset makes the float key 2.0 an integer key; a table holds no other one.
    EXPECT_EQ(text_of("return {1, 2, 3, [2.0] = 9}"), text_of("return {1, 2, 3}"));
}

TEST_F(LuaPrinterTest, AtomsWrapAtTheWidth) {
    const Case cases[] = {
        // "{ " is 2 columns, every number 2 and its separator 2: "10, 11, " ends in column 10.
        {"return {10, 11, 12}", "{ 10, 11, \n  12,  }", 10},
        {"return {10, 11, 12}", "{ 10, 11, 12,  }", 12},
        {"return {10, 11, 12}", "{ 10, 11, \n  12,  }", 11},
        {"return {'abcdefgh', 5}", "{ \"abcdefgh\", \n  5,  }", 14},
        {"return {true, nil, false}", "{ true, \n  nil, \n  false,  }", 8},
        // A key wraps behind its bracket, a value behind the equals sign; a marker is one atom of 11.
        {"return {[100] = 1}", "{ \n  [\n  100] = \n  1,\n}", 5},
        {"return {[10] = 1}", "{ \n  [10] = \n  1,\n}", 5},
        {"local t = {} t.x = t return t", "{ \n  x = \n  { [-1]... },\n}", 13},
        {"local t = {} t.x = t return t", "{ \n  x = { [-1]... },\n}", 12},
        // An atom that would not fit on a fresh line either stays where it is.
        {"return {1, 1234567890}", "{ 1, 1234567890,  }", 8},
    };
    for (const Case& c : cases) EXPECT_EQ(text_of(c.code, c.width), c.expected) << c.code;
}

TEST_F(LuaPrinterTest, SelfReferences) {
    const Case cases[] = {
        {"local t = {} t.x = t return t", "{ \n  x = { [-1]... },\n}"},
        {"local t = {} t[1] = t return t", "{ \n  { [-1]... }, \n}"},
        {"local t = {a = {}} t.a.b = t return t", "{ \n  a = { \n        b = { [-2]... },\n  },\n}"},
        {"local t = {{{}}} t[1][1][1] = t return t",
         "{ \n  { \n    { \n      { [-3]... }, \n    }, \n  }, \n}"},
        // The outermost table left the list when the first nested one ended, so it is printed a second time.
        // Then it is in the list again, and so are the two tables that stayed there.
        {"local t = {{}} t[2] = {t} return t",
         "{ \n  {  }, \n  { \n    { \n      { [-2]... }, \n      { [-1]... }, \n    }, \n  }, \n}"},
        // Tables without a cycle are printed as often as they are met.
        {"local s = {1} return {s, s}", "{ \n  { 1,  }, \n  { [-1]... }, \n}"},
        {"local e = setmetatable({}, {__eq = function() return true end}) "
         "return {x = setmetatable({y = e}, getmetatable(e))}",
         "{ \n  x = { [-1]... },\n}"},
    };
    for (const Case& c : cases) EXPECT_EQ(text_of(c.code), c.expected) << c.code;
}

// A nested table stays in the list of ancestors, which grows with every one.
TEST_F(LuaPrinterTest, ManyNestedTables) {
    std::string expected = "{ ";
    for (int i = 0; i < 5000; ++i) expected += "\n  {  }, ";
    EXPECT_EQ(text_of("local t = {} for i = 1, 5000 do t[i] = {} end return t"), expected + "\n}");
}

TEST_F(LuaPrinterTest, TextEndsWithZeroAfterAnError) {
    text_of("return ('old'):rep(100)");
    ASSERT_EQ(luaL_dostring(L, "return {setmetatable({}, {__eq = function() error({}) end})}"), LUA_OK);
    lua_printer_begin(L);
    lua_pushcfunction(L, [](lua_State* state) {
        lua_value_to_text(state, 1);
        return 0;
    });
    lua_insert(L, -2);
    EXPECT_EQ(lua_pcall(L, 1, 0, 0), LUA_ERRRUN);
    lua_printer_end(L);
    EXPECT_STREQ(lua_printer.text, "{ \n  ");
}

TEST_F(LuaPrinterTest, DepthLimit) {
    // Every level of {{...}} indents by two; the limit is passed at an indentation of 66.
    std::string text = text_of("local t = {} for i = 1, 60 do t = {t} end return t");
    EXPECT_NE(text.find("\n" + std::string(66, ' ') + "{ ... }, \n"), std::string::npos) << text;
    EXPECT_EQ(text.find("\n" + std::string(67, ' ')), std::string::npos);
    // Another width, another limit: 20 * 8 / 10 is 16.
    text = text_of("local t = {} for i = 1, 60 do t = {t} end return t", 20);
    EXPECT_NE(text.find("\n" + std::string(18, ' ') + "{ ... }, \n"), std::string::npos) << text;
}

TEST_F(LuaPrinterTest, OwnTextByMetafield) {
    const Case cases[] = {
        {"return setmetatable({}, {__tostring = function() return 'me' end})", "me"},
        {"return {setmetatable({}, {__tostring = function() return 'me' end})}", "{ \n  me, \n}"},
        {"return setmetatable({}, {__tostring = function() return 12 end})", "12"},
        {"return setmetatable({}, {__tostring = function() error('bad', 0) end})", "bad"},
        {"return setmetatable({}, {__tostring = function() return {} end})", ""},
        {"return setmetatable({}, {__tostring = function() end})", ""},
        {"return setmetatable({}, {__tostring = 5})", "attempt to call a number value"},
        {"return {[setmetatable({}, {__tostring = function() return 'key' end})] = 1}",
         "{ \n  [key] = 1,\n}"},
        {"return setmetatable({1, x = 2}, {__pairs = function() error('called') end})", "{ 1, \n  x = 2,\n}"},
        // Elements are read with metamethods, and the length without.
        {"return setmetatable({1, nil, 3}, {__index = function(t, k) return 'k'..k end})",
         "{ 1, \"k2\", 3,  }"},
        {"return setmetatable({1, 2}, {__len = function() return 5 end})", "{ 1, 2,  }"},
        {"debug.setmetatable(1, {__tostring = function(n) return 'n' end}) return 5", "n"},
    };
    for (const Case& c : cases) EXPECT_EQ(text_of(c.code), c.expected) << c.code;
}

TEST_F(LuaPrinterTest, Colours) {
    unsetenv("NO_COLOR");
    ox_colors_toggle(1);
    ASSERT_TRUE(ox_colors_enabled());
    EXPECT_EQ(text_of("return nil"), "\x1b[1mnil\x1b[22m");
    EXPECT_EQ(text_of("return true"), "\x1b[1mtrue\x1b[22m");
    EXPECT_EQ(text_of("return {x = 1}"), "{ \n  \x1b[1mx\x1b[22m = 1,\n}");
    EXPECT_EQ(text_of("return 5"), "5");
    EXPECT_EQ(text_of("local t = {} t[1] = t return t"), "{ \n  { \x1b[1m[-1]...\x1b[22m }, \n}");
    EXPECT_EQ(text_of("return print").rfind("<\x1b[1mfunction:\x1b[22m 0x", 0), 0U);
    EXPECT_EQ(text_of("return {['a b'] = 1}"), "{ \n  [\"a b\"] = 1,\n}");
    EXPECT_NE(text_of("local t = {} for i = 1, 60 do t = {t} end return t").find("{ \x1b[1m...\x1b[22m }"),
              std::string::npos);
    // Escape sequences take no columns.
    EXPECT_EQ(text_of("return {true, true}", 12), "{ \x1b[1mtrue\x1b[22m, \x1b[1mtrue\x1b[22m,  }");
    ox_colors_toggle(0);
}

TEST_F(LuaPrinterTest, VisibleWidth) {
    EXPECT_EQ(visible_width("abc", 3), 3U);
    EXPECT_EQ(visible_width("\x1b[1mab\x1b[22m", 11), 2U);
    EXPECT_EQ(visible_width("\x1b[1", 3), 0U);
    EXPECT_EQ(visible_width("a\n\t", 3), 3U);
}

TEST_F(LuaPrinterTest, BufferGrowsExactly) {
    free(lua_printer.text);
    lua_printer.text = nullptr;
    lua_printer.capacity = 0;
    text_of("return 'x'");
    size_t before = lua_printer.capacity;
    std::string text = text_of("return ('y'):rep(5000)");
    EXPECT_GT(lua_printer.capacity, before);
    EXPECT_EQ(lua_printer.capacity, text.size() + 1);
    text_of("return 1");
    EXPECT_EQ(lua_printer.capacity, text.size() + 1);
}

}  // namespace
