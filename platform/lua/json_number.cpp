#include "json_number.hpp"

#include <locale.h>
#include <math.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <charconv>

namespace {

enum { DIGITS = 17, SHORT_DIGITS = 15 };
constexpr int64_t EXACT = INT64_C(1) << 53;  // integers up to it are floats
constexpr int TEN_MAX = 22;                  // so are these powers of ten
const double tens[TEN_MAX + 1] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                  1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

/// `mantissa` * 10^`exponent`, rounded once.
double scaled(int64_t mantissa, int exponent) {
    if (mantissa <= EXACT && exponent >= -TEN_MAX && exponent <= TEN_MAX) {
        auto number = static_cast<double>(mantissa);
        return exponent < 0 ? number / tens[-exponent] : number * tens[exponent];
    }
    char text[48];
    snprintf(text, sizeof(text), "%llde%d", static_cast<long long>(mantissa), exponent);
    return strtod(text, nullptr);
}

/// A decimal number: 0.ddd... * 10^point.
struct Decimal {
    char digits[DIGITS + 1];
    int count;
    int point;
};

/// The 17 digits of a finite number above 0.
Decimal decimal_of(double number) {
    char text[48];
    snprintf(text, sizeof(text), "%.16e", number);
    Decimal decimal = {};
    const char* at = text;
    for (; *at && *at != 'e'; ++at) {
        if (*at >= '0' && *at <= '9' && decimal.count < DIGITS) decimal.digits[decimal.count++] = *at;
    }
    decimal.point = *at ? atoi(at + 1) + 1 : 1;
    return decimal;
}

/// Rounds to 15 digits when these read as the same number; false when they do not.
bool shorten(Decimal* decimal, double number) {
    int64_t mantissa = 0;
    for (int i = 0; i < SHORT_DIGITS; ++i) mantissa = mantissa * 10 + (decimal->digits[i] - '0');
    if (decimal->digits[SHORT_DIGITS] >= '5') ++mantissa;
    if (scaled(mantissa, decimal->point - SHORT_DIGITS) != number) return false;
    char* end = std::to_chars(decimal->digits, decimal->digits + DIGITS, mantissa).ptr;
    // Rounding up 999... gives one digit more.
    decimal->point += static_cast<int>(end - decimal->digits) - SHORT_DIGITS;
    decimal->count = SHORT_DIGITS;
    return true;
}

char* put(char* to, const char* from, int count) {
    memcpy(to, from, static_cast<size_t>(count));
    return to + count;
}

char* put_zeros(char* to, int count) {
    memset(to, '0', static_cast<size_t>(count));
    return to + count;
}

char* put_fixed(char* to, const Decimal* decimal) {
    if (decimal->point <= 0) {
        to = put(to, "0.", 2);
        to = put_zeros(to, -decimal->point);
        return put(to, decimal->digits, decimal->count);
    }
    int whole = decimal->point < decimal->count ? decimal->point : decimal->count;
    to = put(to, decimal->digits, whole);
    to = put_zeros(to, decimal->point - whole);
    *to++ = '.';
    if (whole == decimal->count) return put(to, "0", 1);
    return put(to, decimal->digits + whole, decimal->count - whole);
}

char* put_scientific(char* to, const Decimal* decimal) {
    *to++ = decimal->digits[0];
    if (decimal->count > 1) {
        *to++ = '.';
        to = put(to, decimal->digits + 1, decimal->count - 1);
    }
    *to++ = 'e';
    return std::to_chars(to, to + 8, decimal->point - 1).ptr;
}

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

const char* skip_digits(const char* at, const char* end) {
    while (at < end && is_digit(*at)) ++at;
    return at;
}

/// The parts of a number's text.
struct Parts {
    const char* digits;    ///< of the whole part
    const char* point;     ///< behind them
    const char* fraction;  ///< the digits behind the point
    const char* exponent;  ///< behind these
    const char* end;
};

/// False where no number begins, by the grammar of JSON.
bool split(const char* at, const char* end, Parts* parts) {
    parts->digits = at;
    parts->point = skip_digits(at, end);
    if (parts->point == at || (*at == '0' && parts->point - at > 1)) return false;
    at = parts->fraction = parts->exponent = parts->end = parts->point;
    if (at < end && *at == '.') {
        parts->fraction = at + 1;
        at = parts->exponent = parts->end = skip_digits(at + 1, end);
        if (at == parts->fraction) return false;
    }
    if (at == end || (*at != 'e' && *at != 'E')) return true;
    ++at;
    if (at < end && (*at == '-' || *at == '+')) ++at;
    parts->end = skip_digits(at, end);
    return parts->end != at;
}

/// The exponent's value, bounded.
int exponent_of(const Parts* parts) {
    if (parts->exponent == parts->end) return 0;
    const char* at = parts->exponent + 1;
    bool negative = *at == '-';
    if (*at == '-' || *at == '+') ++at;
    int value = 0;
    for (; at < parts->end && value < 100000; ++at) value = value * 10 + (*at - '0');
    return negative ? -value : value;
}

bool push_real(lua_State* L, const Parts* parts, bool negative) {
    enum { MANTISSA_DIGITS = 18 };
    auto whole = static_cast<size_t>(parts->point - parts->digits);
    auto fraction = static_cast<size_t>(parts->exponent - parts->fraction);
    double number = 0;
    if (whole + fraction > MANTISSA_DIGITS) {
        // strtod expects the locale's decimal point.
        const char* point = localeconv()->decimal_point;
        const char* text = lua_pushlstring(L, parts->digits, static_cast<size_t>(parts->end - parts->digits));
        if (*point != '.' || point[1]) text = luaL_gsub(L, text, ".", point);
        number = strtod(text, nullptr);
        lua_pop(L, *point != '.' || point[1] ? 2 : 1);
    } else {
        int64_t mantissa = 0;
        for (size_t i = 0; i < whole; ++i) mantissa = mantissa * 10 + (parts->digits[i] - '0');
        for (size_t i = 0; i < fraction; ++i) mantissa = mantissa * 10 + (parts->fraction[i] - '0');
        number = scaled(mantissa, exponent_of(parts) - static_cast<int>(fraction));
    }
    if (!isfinite(number)) return false;
    lua_pushnumber(L, negative ? -number : number);
    return true;
}

bool push_integer(lua_State* L, const Parts* parts, bool negative) {
    uint64_t value = 0;
    if (parts->point - parts->digits > 19) return false;
    for (const char* at = parts->digits; at < parts->point; ++at)
        value = value * 10 + static_cast<uint64_t>(*at - '0');
    if (value > static_cast<uint64_t>(INT64_MAX) + (negative ? 1 : 0)) return false;
    lua_pushinteger(L, static_cast<lua_Integer>(negative ? 0 - value : value));
    return true;
}

}  // namespace

size_t json_write_real(char* to, double number) {
    if (!isfinite(number)) return 0;
    char* at = to;
    if (signbit(number)) *at++ = '-';
    number = fabs(number);
    if (number == 0) return static_cast<size_t>(put(at, "0.0", 3) - to);
    Decimal decimal = decimal_of(number);
    int precision = shorten(&decimal, number) ? SHORT_DIGITS : DIGITS;
    while (decimal.count > 1 && decimal.digits[decimal.count - 1] == '0') --decimal.count;
    bool fixed = decimal.point > -4 && decimal.point <= precision;
    at = fixed ? put_fixed(at, &decimal) : put_scientific(at, &decimal);
    return static_cast<size_t>(at - to);
}

const char* json_push_number(lua_State* L, const char* text, const char* end) {
    bool negative = text < end && *text == '-';
    Parts parts;
    if (!split(text + negative, end, &parts)) return nullptr;
    auto* push = parts.point == parts.end ? push_integer : push_real;
    return push(L, &parts, negative) ? parts.end : nullptr;
}
