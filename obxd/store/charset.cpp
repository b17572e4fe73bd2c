#include "charset.hpp"

#include <ctype.h>

#include <algorithm>
#include <iterator>

namespace obxd {
namespace {

constexpr char32_t LAST = 0x10ffff;

const CharSet BLANKS = {{'\t', '\n'}, {'\r', '\r'}, {' ', ' '}};

/// The first characters of XML names.
const CharSet INITIALS = {{':', ':'},       {'A', 'Z'},       {'_', '_'},       {'a', 'z'},
                          {0xc0, 0xd6},     {0xd8, 0xf6},     {0xf8, 0x2ff},    {0x370, 0x37d},
                          {0x37f, 0x1fff},  {0x200c, 0x200d}, {0x2070, 0x218f}, {0x2c00, 0x2fef},
                          {0x3001, 0xd7ff}, {0xf900, 0xfdcf}, {0xfdf0, 0xfffd}, {0x10000, 0xeffff}};
const CharSet NAME_REST = {{'-', '.'}, {'0', '9'}, {0xb7, 0xb7}, {0x300, 0x36f}, {0x203f, 0x2040}};

const CharSet PUNCTUATION = {
    {'!', '#'},       {'%', '*'},       {',', '/'},       {':', ';'},       {'?', '@'},
    {'[', ']'},       {'_', '_'},       {'{', '{'},       {'}', '}'},       {0xa1, 0xa1},
    {0xa7, 0xa7},     {0xab, 0xab},     {0xb6, 0xb7},     {0xbb, 0xbb},     {0xbf, 0xbf},
    {0x37e, 0x37e},   {0x387, 0x387},   {0x55a, 0x55f},   {0x2010, 0x2027}, {0x2030, 0x2043},
    {0x2045, 0x2051}, {0x2053, 0x205e}, {0x2308, 0x230b}, {0x2329, 0x232a}, {0x2e00, 0x2e5d},
    {0x3001, 0x3003}, {0x3008, 0x3011}, {0x3014, 0x301f}, {0xff01, 0xff03}, {0xff05, 0xff0a},
    {0xff0c, 0xff0f}, {0xff1a, 0xff1b}, {0xff1f, 0xff20}, {0xff3b, 0xff3d}, {0xff3f, 0xff3f}};
const CharSet SYMBOLS = {{'$', '$'},       {'+', '+'},       {'<', '>'},       {'^', '^'},
                         {'`', '`'},       {'|', '|'},       {'~', '~'},       {0xa2, 0xa6},
                         {0xa8, 0xa9},     {0xac, 0xac},     {0xae, 0xb1},     {0xb4, 0xb4},
                         {0xb8, 0xb8},     {0xd7, 0xd7},     {0xf7, 0xf7},     {0x2044, 0x2044},
                         {0x2052, 0x2052}, {0x20a0, 0x20c0}, {0x2190, 0x2307}, {0x230c, 0x2328},
                         {0x232b, 0x2775}, {0x2794, 0x27bf}, {0x27f0, 0x2bff}};
const CharSet SEPARATORS = {{' ', ' '},       {0xa0, 0xa0},     {0x1680, 0x1680}, {0x2000, 0x200a},
                            {0x2028, 0x2029}, {0x202f, 0x202f}, {0x205f, 0x205f}, {0x3000, 0x3000}};
const CharSet CONTROLS = {{0, 0x1f},        {0x7f, 0x9f},     {0xad, 0xad},       {0x200b, 0x200f},
                          {0x202a, 0x202e}, {0x2060, 0x206f}, {0xd800, 0xf8ff},   {0xfeff, 0xfeff},
                          {0xfff0, 0xfffb}, {0xfffe, 0xffff}, {0xe0000, 0x10ffff}};
const CharSet UPPER = {{'A', 'Z'},     {0xc0, 0xd6},   {0xd8, 0xde},
                       {0x391, 0x3a1}, {0x3a3, 0x3ab}, {0x400, 0x42f}};
const CharSet LOWER = {{'a', 'z'}, {0xb5, 0xb5}, {0xdf, 0xf6}, {0xf8, 0xff}, {0x3ac, 0x3ce}, {0x430, 0x45f}};

/// The zeros of the scripts that have decimal digits; nine more follow each.
const char32_t ZEROS[] = {
    0x30,   0x660,   0x6f0,   0x7c0,   0x966,   0x9e6,   0xa66,   0xae6,   0xb66,   0xbe6,   0xc66,  0xce6,
    0xd66,  0xde6,   0xe50,   0xed0,   0xf20,   0x1040,  0x1090,  0x17e0,  0x1810,  0x1946,  0x19d0, 0x1a80,
    0x1a90, 0x1b50,  0x1bb0,  0x1c40,  0x1c50,  0xa620,  0xa8d0,  0xa900,  0xa9d0,  0xa9f0,  0xaa50, 0xabf0,
    0xff10, 0x104a0, 0x11066, 0x110f0, 0x11136, 0x111d0, 0x1d7ce, 0x1d7d8, 0x1d7e2, 0x1d7ec, 0x1d7f6};

CharSet digits() {
    CharSet set;
    for (char32_t zero : ZEROS) set.emplace_back(zero, zero + 9);
    charset_settle(set);
    return set;
}

void add(CharSet& set, const CharSet& more) {
    set.insert(set.end(), more.begin(), more.end());
}

CharSet joined(std::initializer_list<const CharSet*> sets) {
    CharSet all;
    for (const CharSet* set : sets) add(all, *set);
    charset_settle(all);
    return all;
}

CharSet letters() {
    CharSet beyond = charset_without(INITIALS, {{0, 0x7f}});
    CharSet ascii = {{'A', 'Z'}, {'a', 'z'}};
    CharSet all = joined({&ascii, &beyond});
    CharSet others = joined({&PUNCTUATION, &SYMBOLS, &SEPARATORS, &CONTROLS});
    return charset_without(charset_without(all, others), digits());
}

}  // namespace

void charset_settle(CharSet& set) {
    std::sort(set.begin(), set.end());
    CharSet settled;
    for (auto [first, last] : set) {
        if (!settled.empty() && first <= settled.back().second + 1)
            settled.back().second = std::max(settled.back().second, last);
        else
            settled.emplace_back(first, last);
    }
    set = std::move(settled);
}

CharSet charset_complement(const CharSet& set) {
    CharSet rest;
    char32_t next = 0;
    for (auto [first, last] : set) {
        if (first > next) rest.emplace_back(next, first - 1);
        next = last + 1;
    }
    if (next <= LAST) rest.emplace_back(next, LAST);
    return rest;
}

CharSet charset_without(const CharSet& set, const CharSet& taken) {
    CharSet rest;
    for (auto [first, last] : set) {
        for (auto [from, to] : taken) {
            if (to < first || from > last) continue;
            if (from > first) rest.emplace_back(first, from - 1);
            first = to + 1;
            if (first > last) break;
        }
        if (first <= last) rest.emplace_back(first, last);
    }
    return rest;
}

bool charset_has(const CharSet& set, char32_t c) {
    auto past = std::upper_bound(set.begin(), set.end(), c,
                                 [](char32_t wanted, const auto& pair) { return wanted < pair.first; });
    return past != set.begin() && c <= std::prev(past)->second;
}

bool charset_escape(CharSet& set, char letter) {
    CharSet named;
    switch (tolower(static_cast<unsigned char>(letter))) {
        case 'i':
            named = INITIALS;
            break;
        case 'c':
            named = joined({&INITIALS, &NAME_REST});
            break;
        case 'd':
            named = digits();
            break;
        case 's':
            named = BLANKS;
            break;
        case 'w':
            named = charset_complement(joined({&PUNCTUATION, &SEPARATORS, &CONTROLS}));
            break;
        default:
            return false;
    }
    add(set, isupper(static_cast<unsigned char>(letter)) ? charset_complement(named) : named);
    return true;
}

bool charset_category(CharSet& set, std::string_view name) {
    if (name == "L") return add(set, letters()), true;
    if (name == "Lu") return add(set, UPPER), true;
    if (name == "Ll") return add(set, LOWER), true;
    if (name == "N" || name == "Nd") return add(set, digits()), true;
    if (name == "P") return add(set, PUNCTUATION), true;
    if (name == "S") return add(set, SYMBOLS), true;
    if (name == "Z" || name == "Zs") return add(set, SEPARATORS), true;
    if (name == "C" || name == "Cc") return add(set, CONTROLS), true;
    if (name == "IsBasicLatin") return add(set, {{0, 0x7f}}), true;
    return name == "IsLatin-1Supplement" && (add(set, {{0x80, 0xff}}), true);
}

bool charset_posix(CharSet& set, std::string_view name) {
    static const struct {
        std::string_view name;
        int (*is)(int);
    } CLASSES[] = {{"alpha", isalpha}, {"digit", isdigit}, {"alnum", isalnum}, {"upper", isupper},
                   {"lower", islower}, {"space", isspace}, {"blank", isblank}, {"punct", ispunct},
                   {"print", isprint}, {"graph", isgraph}, {"cntrl", iscntrl}, {"xdigit", isxdigit}};
    for (const auto& row : CLASSES) {
        if (row.name != name) continue;
        for (char32_t c = 0; c < 0x80; c++)
            if (row.is(static_cast<int>(c))) set.emplace_back(c, c);
        return true;
    }
    return false;
}

}  // namespace obxd
