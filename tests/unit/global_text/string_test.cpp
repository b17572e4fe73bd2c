#include <gtest/gtest.h>
#include <string.h>

#include <string>

#include "ox_raii.hpp"
#include "ox_string.hpp"
#include "ox_vect.hpp"

namespace {

struct Copy {
    size_t size;
    const char* src;
    const char* dst;
    size_t length;
};

TEST(String, CopiesWithinTheSize) {
    const Copy rows[] = {
        {8, "abc", "abc", 3}, {4, "abc", "abc", 3}, {3, "abc", "ab", 3}, {1, "abc", "", 3}, {8, "", "", 0}};
    for (const Copy& row : rows) {
        char buffer[9] = "########";
        EXPECT_EQ(ox_string_strlcpy(buffer, row.src, row.size), row.length);
        EXPECT_STREQ(buffer, row.dst);
        if (row.size < 8) {
            EXPECT_EQ(buffer[row.size], '#');
        }
    }
    char untouched[2] = "#";
    EXPECT_EQ(ox_string_strlcpy(untouched, "abc", 0), 3U);
    EXPECT_EQ(untouched[0], '#');
}

TEST(String, AppendsWithinTheSize) {
    char buffer[8] = "ab";
    EXPECT_EQ(ox_string_strlcat(buffer, "cd", 8), 4U);
    EXPECT_STREQ(buffer, "abcd");
    EXPECT_EQ(ox_string_strlcat(buffer, "efgh", 8), 8U);
    EXPECT_STREQ(buffer, "abcdefg");
    char full[3] = {'x', 'y', 'z'};
    EXPECT_EQ(ox_string_strlcat(full, "a", 3), 4U);  // no terminator within: nothing is written
    EXPECT_EQ(memcmp(full, "xyz", 3), 0);
}

struct Unsigned {
    const char* text;
    int length;
    int base;
    int rc;
    uint64_t value;
};

TEST(String, UnsignedNumbers) {
    const Unsigned rows[] = {
        {"0", -1, 10, 0, 0},
        {"42", -1, 10, 0, 42},
        {"42x", 2, 10, 0, 42},
        {"18446744073709551615", -1, 10, 0, UINT64_MAX},
        {"18446744073709551616", -1, 10, -1, 0},
        {"0x1F", -1, 0, 0, 31},
        {"0x1F", -1, 16, 0, 31},
        {"ff", -1, 16, 0, 255},
        {"017", -1, 0, 0, 15},
        {"017", -1, 10, 0, 17},
        {"101", -1, 2, 0, 5},
        {"102", -1, 2, -1, 0},
        {"", -1, 10, -1, 0},
        {"42", 0, 10, -1, 0},
        {" 42", -1, 10, -1, 0},
        {"42 ", -1, 10, -1, 0},
        {"-1", -1, 10, -1, 0},
        {"+1", -1, 10, -1, 0},
        {"4.2", -1, 10, -1, 0},
        {"0x", -1, 0, -1, 0},
        {"x", -1, 10, -1, 0},
        {nullptr, -1, 10, -1, 0},
    };
    for (const Unsigned& row : rows) {
        uint64_t value = 0;
        EXPECT_EQ(ox_string_strntoul(row.text, row.length, row.base, &value), row.rc)
            << (row.text ? row.text : "");
        EXPECT_EQ(value, row.value) << (row.text ? row.text : "");
    }
    uint64_t kept = 7;
    EXPECT_EQ(ox_string_strntoul("x", -1, 10, &kept), -1);
    EXPECT_EQ(kept, 7U);
    EXPECT_EQ(ox_string_strntoul(std::string(1000, '0').c_str(), -1, 10, &kept), -1);
}

TEST(String, SignedNumbers) {
    struct Row {
        const char* text;
        int rc;
        int64_t value;
    };
    const Row rows[] = {
        {"-5", 0, -5},
        {"+5", 0, 5},
        {"9223372036854775807", 0, INT64_MAX},
        {"-9223372036854775808", 0, INT64_MIN},
        {"9223372036854775808", -1, 0},
        {"-9223372036854775809", -1, 0},
        {"-", -1, 0},
        {"- 5", -1, 0},
        {"", -1, 0},
        {"5e3", -1, 0},
    };
    for (const Row& row : rows) {
        int64_t value = 0;
        EXPECT_EQ(ox_string_strntol(row.text, -1, 10, &value), row.rc) << row.text;
        EXPECT_EQ(value, row.value) << row.text;
    }
}

TEST(String, RealNumbers) {
    struct Row {
        const char* text;
        int rc;
        double value;
    };
    const Row rows[] = {
        {"1.5", 0, 1.5},  {"-1e3", 0, -1000},   {"0", 0, 0},       {".5", 0, 0.5},
        {"1e-400", 0, 0}, {"1e400", -1, 0},     {"-1e400", -1, 0}, {"nan", -1, 0},
        {"inf", -1, 0},   {"-infinity", -1, 0}, {"1,5", -1, 0},    {"", -1, 0},
        {" 1", -1, 0},    {"1 ", -1, 0},        {"1.5.2", -1, 0},  {"e", -1, 0},
    };
    for (const Row& row : rows) {
        double value = 0;
        EXPECT_EQ(ox_string_strntod(row.text, -1, &value), row.rc) << row.text;
        EXPECT_EQ(value, row.value) << row.text;
    }
    double value = 0;
    EXPECT_EQ(ox_string_strntod("1.5xyz", 3, &value), 0);
    EXPECT_EQ(value, 1.5);
}

TEST(String, Hashes) {
    EXPECT_EQ(ox_string_get_hash(nullptr), 0U);
    EXPECT_EQ(ox_string_get_hash(""), 2166136261U);
    EXPECT_EQ(ox_string_get_hash("a"), 0xe40c292cU);
    EXPECT_EQ(ox_string_get_hash("foobar"), 0xbf9cf968U);
    EXPECT_NE(ox_string_get_hash("get"), ox_string_get_hash("set"));
}

TEST(String, SortsJsonStrings) {
    struct Row {
        const char* array;
        int order;
        const char* sorted;
    };
    const Row rows[] = {
        {R"(["b","a","C"])", 1, R"(["C","a","b"])"},
        {R"(["b","a","C"])", 0, R"(["b","a","C"])"},
        {R"(["10","9","1"])", 1, R"(["1","10","9"])"},
        {R"([5,"b",null,"a"])", 1, R"(["a","b",5,null])"},
        {R"([5,"a","b"])", 0, R"(["b","a",5])"},
        {R"(["a","a"])", 1, R"(["a","a"])"},
        {R"(["10.","9.","max_instance","1."])", 2, R"(["1.","9.","10.","max_instance"])"},
        {R"(["b10","b9","B","a-b","a.","ab"])", 2, R"(["B","a-b","a.","ab","b10","b9"])"},
        {R"([":10.",":9.",":x"])", 2, R"([":9.",":10.",":x"])"},
        {R"(["D.H.10.","D.H.2.","D.H.2.A","D.Gx.1","D.H","D.H.max"])", 2,
         R"(["D.Gx.1","D.H","D.H.2.","D.H.2.A","D.H.10.","D.H.max"])"},
        {R"(["10","1a","2","007","7","18446744073709551616","99999999999999999999999"])", 2,
         R"(["2","007","7","10","18446744073709551616","99999999999999999999999","1a"])"},
        {"[]", 1, "[]"},
    };
    for (const Row& row : rows) {
        JsonRef array(json_loads(row.array, 0, nullptr));
        ox_qsort_json(array, row.order);
        CharsRef text(json_dumps(array, JSON_COMPACT));
        EXPECT_STREQ(text, row.sorted);
    }
    ox_qsort_json(nullptr, 1);
}

int destroyed = 0;

TEST(Vect, SortsAndOwns) {
    auto compare = [](const void* a, const void* b) {
        return strcmp(static_cast<const char*>(a), static_cast<const char*>(b));
    };
    auto copy = [](const void* text) -> void* { return strdup(static_cast<const char*>(text)); };
    auto destroy = [](void* text) {
        ++destroyed;
        free(text);
    };
    ox_vect* vector = __ox_vect_init_adv(compare, copy, destroy, 0);
    for (int i = 99; i >= 0; --i) {
        char text[8];
        snprintf(text, sizeof(text), "%02d", i);
        EXPECT_EQ(__ox_vect_add(vector, text), 0);
    }
    ox_vect_sort(vector);
    EXPECT_STREQ(static_cast<char*>(ox_vect_get(vector, 0)), "00");
    EXPECT_STREQ(static_cast<char*>(ox_vect_get(vector, 99)), "99");
    EXPECT_EQ(ox_vect_get(vector, 100), nullptr);
    ox_vect_free(vector);
    EXPECT_EQ(destroyed, 100);
    ox_vect_free(nullptr);
    ox_vect* plain = __ox_vect_init_adv(nullptr, nullptr, nullptr, 0);
    int item = 0;
    __ox_vect_add(plain, &item);
    ox_vect_sort(plain);
    EXPECT_EQ(ox_vect_get(plain, 0), &item);
    ox_vect_free(plain);
}

}  // namespace
