#include <gtest/gtest.h>

#include <string>

#include "ox_raii.hpp"
#include "ox_str.hpp"

namespace {

TEST(Str, TextsGrow) {
    StrRef str(ox_str_init());
    EXPECT_EQ(ox_str_length(str), 0U);
    EXPECT_EQ(ox_dynarray_size(str), 0U);
    EXPECT_STREQ(ox_dynarray_get(str), "");
    EXPECT_EQ(ox_dynarray_get_unsafe(str), nullptr);
    std::string expected;
    for (int i = 0; i < 1000; ++i) {
        ox_str_add(str, "abc");
        expected += "abc";
    }
    EXPECT_EQ(ox_dynarray_get(str), expected);
    EXPECT_EQ(ox_str_length(str), 3000U);
    EXPECT_EQ(ox_dynarray_size(str), 3001U);
    ox_str_clear(str);
    EXPECT_STREQ(ox_dynarray_get(str), "");
    EXPECT_EQ(ox_str_length(str), 0U);
    ox_str_add(str, "");
    EXPECT_EQ(ox_dynarray_size(str), 1U);
    ox_str_replace_text(str, "new");
    EXPECT_STREQ(ox_dynarray_get(str), "new");
    ox_str_add_n(str, "x\0y", 3);
    EXPECT_EQ(ox_str_length(str), 6U);
    EXPECT_EQ(memcmp(ox_dynarray_get(str), "newx\0y", 7), 0);
}

TEST(Str, NullAndChars) {
    ox_str_free(nullptr);
    EXPECT_EQ(ox_str_length(nullptr), 0U);
    EXPECT_EQ(ox_dynarray_size(nullptr), 0U);
    EXPECT_STREQ(ox_dynarray_get(nullptr), "");
    StrRef str(ox_str_init_chars("start"));
    EXPECT_STREQ(ox_dynarray_get(str), "start");
}

TEST(Str, Formats) {
    StrRef str(ox_str_init());
    ox_str_printf_append(str, "%s=%d", "a", 5);
    ox_str_printf_append(str, ";%0*d", 300, 7);
    EXPECT_EQ(ox_dynarray_get(str), "a=5;" + std::string(299, '0') + "7");
    ox_str_printf(str, "%c", 'z');
    EXPECT_STREQ(ox_dynarray_get(str), "z");
    ox_str_printf(str, "%s", "");
    EXPECT_STREQ(ox_dynarray_get(str), "");
    CharsRef text(ox_str_printf_new("%s:%zu", "x", size_t{9}));
    EXPECT_STREQ(text, "x:9");
}

TEST(Str, Cut) {
    ox_dynarray* array = ox_dynarray_init_reserved(100);
    EXPECT_EQ(ox_dynarray_size(array), 0U);
    ox_str_add_n(array, "0123456789", 10);
    ox_dynarray_cut(array, 2, 3);
    EXPECT_EQ(std::string(ox_dynarray_get(array)), "0156789");
    EXPECT_EQ(ox_dynarray_size(array), 8U);
    ox_dynarray_cut(array, 5, 100);
    EXPECT_EQ(std::string(ox_dynarray_get(array), ox_dynarray_size(array)), "01567");
    ox_dynarray_cut(array, 5, 1);
    ox_dynarray_cut(array, 0, 5);
    EXPECT_EQ(ox_dynarray_size(array), 0U);
    ox_str_free(array);
}

struct Join {
    const char* array;
    const char* separator;
    const char* joined;
};

TEST(Str, JoinsJsonStrings) {
    const Join rows[] = {
        {R"(["a","b","c"])", " ", "a b c"},
        {R"(["a"])", ", ", "a"},
        {R"(["a",5,null,"b"])", "-", "a-b"},
        {R"(["",""])", "+", "+"},
        {"[]", " ", nullptr},
        {"[5]", " ", nullptr},
        {"{}", " ", nullptr},
    };
    for (const Join& row : rows) {
        JsonRef array(json_loads(row.array, 0, nullptr));
        StrRef joined(ox_str_json_join(array, row.separator));
        EXPECT_EQ(joined.get() != nullptr, row.joined != nullptr) << row.array;
        if (joined && row.joined) {
            EXPECT_STREQ(ox_dynarray_get(joined), row.joined);
        }
    }
    EXPECT_EQ(ox_str_json_join(nullptr, " "), nullptr);
}

}  // namespace
