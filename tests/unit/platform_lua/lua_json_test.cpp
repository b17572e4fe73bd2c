// ox.json: texts and values, held against the JSON library.
#include <gtest/gtest.h>
#include <string.h>

#include <random>
#include <string>

#include "ox_lua.hpp"
#include "ox_raii.hpp"

namespace {

class LuaJsonTest : public ::testing::Test {
protected:
    void SetUp() override { ctx = ox_lua_init(0); }
    void TearDown() override { ox_lua_free(ctx); }

    /// What the code prints, or its error.
    std::string run(const std::string& code) {
        if (ox_lua_exec(ctx, code.c_str(), code.size(), nullptr, nullptr) != 0) {
            return {ox_dynarray_get(ctx->err), ox_str_length(ctx->err)};
        }
        return {ox_dynarray_get(ctx->out), ox_str_length(ctx->out)};
    }

    /// The text decoded and encoded again; nil and the message where it is none.
    std::string again(const std::string& text) {
        lua_pushlstring(ctx->L, text.data(), text.size());
        lua_setglobal(ctx->L, "text");
        return run(
            "local v, message = ox.json.decode(text) io.write(v == nil and message or ox.json.encode(v))");
    }

    /// What the library makes of it.
    static std::string expected(const std::string& text) {
        json_error_t error;
        JsonRef json(json_loadb(text.data(), text.size(), JSON_DECODE_ANY | JSON_ALLOW_NUL, &error));
        if (!json) {
            CharsRef message(
                ox_str_printf_new("%s (line %d, column %d)", error.text, error.line, error.column));
            return static_cast<const char*>(message);
        }
        CharsRef dump(json_dumps(json, JSON_ENCODE_ANY | JSON_SORT_KEYS | JSON_COMPACT));
        return static_cast<const char*>(dump);
    }

    ox_lua_ctx* ctx = nullptr;
};

TEST_F(LuaJsonTest, TextsAreReadAndWrittenAsTheLibraryDoes) {
    const std::string texts[] = {
        "null",
        "true",
        "false",
        " 1 ",
        "-1",
        "0",
        "-0",
        "[]",
        "{}",
        "[[],{}]",
        "[1,2,3]",
        "\"\"",
        "\"text\"",
        R"({"b":1,"a":[true,null,{"c":""}],"":2})",
        R"("\"\\\/\b\f\n\r\t")",
        R"("\u0041\u00e9\u4e2d\ud83d\ude00\u0000x")",
        R"({"b\n":1,"b":2,"b ":3,"a\"":4,"ab":5,"\u00fc":6,"z":7,"B":8})",
        "\"gr\xc3\xbcn \xf0\x9f\x98\x80 \xe4\xb8\xad\x7f\"",
        "[0.5,-2.5,1e3,1E-3,1.0,123456.789]",
        "9223372036854775807",
        "-9223372036854775808",
        "\t[ 1 , \r\n 2 ]\n",
        R"({"a":1,"a":2})",
        "\"0123456789abcdef\\n0123456789abcdef\"",
        // None of these is JSON.
        "",
        " ",
        "nul",
        "tru",
        "falsey",
        "[",
        "]",
        "[1",
        "[1,",
        "[1,]",
        "[1 2]",
        "{",
        "{\"a\"",
        "{\"a\":",
        "{\"a\":1",
        "{\"a\":1,}",
        "{a:1}",
        "{1:2}",
        "{\"a\" 1}",
        "\"",
        "\"abc",
        "\"a\nb\"",
        "\"\\x\"",
        "\"\\u12\"",
        "\"\\u12g4\"",
        "\"\\ud800\"",
        "\"\\ud800\\u0041\"",
        "\"\\udc00\"",
        "\"\\",
        "\"\\u",
        "01",
        "-",
        "+1",
        "1.",
        ".5",
        "1e",
        "1e+",
        "0x10",
        "1 2",
        "[1]]",
        "'a'",
        "\"\xff\"",
        "\"\xc3\"",
        "\"\xc0\xaf\"",
        "\"\xed\xa0\x80\"",
        "\"\xe0\x80\x80\"",
        "\"\xf4\x90\x80\x80\"",
        "9223372036854775808",
        "-9223372036854775809",
        "99999999999999999999",
        "1e999",
        "-1e999",
        "{\"a\\u0000b\":1}",
        std::string("1\0", 2),
        std::string("[\0]", 3),
        "\xef\xbb\xbf[]",
        "// note\n1",
        "NaN",
        "Infinity",
    };
    for (const std::string& text : texts) EXPECT_EQ(again(text), expected(text)) << text;
}

TEST_F(LuaJsonTest, DeepTextsAreReadAsTheLibraryDoes) {
    for (int depth : {150, 190}) {
        std::string text = std::string(depth, '[') + std::string(depth, ']');
        EXPECT_EQ(again(text), text) << depth;
    }
    for (int depth : {600, 1500}) {
        std::string text = std::string(depth, '[') + "7" + std::string(depth, ']');
        lua_pushlstring(ctx->L, text.data(), text.size());
        lua_setglobal(ctx->L, "text");
        EXPECT_EQ(run("local v = ox.json.decode(text) while type(v) == 'table' do v = v[1] end print(v)"),
                  "7\n");
    }
    EXPECT_EQ(again(std::string(100000, '[')), expected(std::string(100000, '[')));
}

TEST_F(LuaJsonTest, Floats) {
    const struct {
        const char* number;
        const char* text;
    } cases[] = {
        {"0.0", "0.0"},
        {"-0.0", "-0.0"},
        {"1.0", "1.0"},
        {"-1.5", "-1.5"},
        {"0.1", "0.1"},
        {"100.0", "100.0"},
        {"1e14", "100000000000000.0"},
        {"1e15", "1e15"},
        {"1e16", "1e16"},
        {"999999999999999.0", "999999999999999.0"},
        {"0.0001", "0.0001"},
        {"0.00001", "1e-5"},
        {"1.1e-7", "1.1e-7"},
        {"1e300", "1e300"},
        {"5e-324", "4.94065645841247e-324"},
        {"1/3", "0.33333333333333331"},
        {"2^53", "9007199254740992.0"},
        {"2^60", "1.152921504606847e18"},
        {"0.99999999999999999", "1.0"},
        {"1.7976931348623157e308", "1.7976931348623157e308"},
        {"1e22", "1e22"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(run(std::string("io.write(ox.json.encode(") + c.number + "))"), c.text) << c.number;
    }
    EXPECT_EQ(run("print(pcall(ox.json.encode, 1/0))"),
              "false\ta number that is not finite cannot be JSON\n");
    EXPECT_EQ(run("local r = math.random for i = 1, 20000 do"
                  " local x = string.unpack('d', string.pack('I4I4', r(0, 4294967295), r(0, 4294967295)))"
                  " if x == x and x ~= 1/0 and x ~= -1/0 then"
                  "  assert(ox.json.decode(ox.json.encode(x)) == x, x)"
                  "  local y = r(-99999999, 99999999) / 10 ^ r(0, 12)"
                  "  assert(ox.json.decode(ox.json.encode(y)) == y, y)"
                  "  assert(#ox.json.encode(y) <= #('%.15g'):format(y) + 2, y)"
                  " end end"),
              "");
}

TEST_F(LuaJsonTest, ValuesThatAreNoJson) {
    const struct {
        const char* value;
        const char* message;
    } cases[] = {
        {"print", "a function cannot be JSON"},
        {"io.stdout", "a userdata cannot be JSON"},
        {"{[true] = 1}", "a boolean cannot be a key in JSON"},
        {"{['a\\0b'] = 1}", "a key with a zero byte cannot be JSON"},
        {"{['\\xff'] = 1}", "a key is not valid UTF-8"},
        {"{'\\xff'}", "a text is not valid UTF-8"},
        {"{{{0/0}}}", "a number that is not finite cannot be JSON"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(run(std::string("print(select(2, pcall(ox.json.encode, ") + c.value + ")))"),
                  std::string(c.message) + "\n");
    }
    EXPECT_EQ(run("local t = {} t[1] = t print(select(2, pcall(ox.json.encode, t)))"),
              "a table is nested too deep for JSON, or contains itself\n");
}

TEST_F(LuaJsonTest, Objects) {
    EXPECT_EQ(run("print(ox.json.encode({b = {d = 1, c = {}}, a = {1, {x = ox.null}}, [2] = 'two', [1.5] = "
                  "true}))"),
              "{\"1.5\":true,\"2\":\"two\",\"a\":[1,{\"x\":null}],\"b\":{\"c\":{},\"d\":1}}\n");
    EXPECT_EQ(run("print(ox.json.encode({b = {1, {}}, a = {c = ox.json.array()}}, 2))"),
              "{\n  \"a\": {\n    \"c\": []\n  },\n  \"b\": [\n    1,\n    {}\n  ]\n}\n");
    // A number and a text that are the same key: one of them.
    EXPECT_EQ(run("local t = ox.json.decode(ox.json.encode({[3] = 1, ['3'] = 1, x = 2})) local n = 0"
                  " for _ in pairs(t) do n = n + 1 end print(n, t['3'], t.x)"),
              "2\t1\t2\n");
    EXPECT_EQ(run("local t = {} for i = 1, 5000 do t['k' .. i] = {i = i, ['j' .. i % 3] = {}} end"
                  " local text = ox.json.encode(t) local u = ox.json.decode(text)"
                  " for k, v in pairs(t) do assert(u[k].i == v.i) end assert(ox.json.encode(u) == text)"
                  " print(text:sub(1, 20))"),
              "{\"k1\":{\"i\":1,\"j1\":{}\n");
}

}  // namespace
