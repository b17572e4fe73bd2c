#include "value_text.hpp"

#include <arpa/inet.h>
#include <ctype.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <string>

#include "ox_tr.hpp"

namespace obxd {
namespace {

bool hex_digit(char c) {
    return isxdigit(static_cast<unsigned char>(c)) != 0;
}
bool alnum(char c) {
    return isalnum(static_cast<unsigned char>(c)) != 0;
}

/// Matches a shape in which "d" is a digit, "x" a hexadecimal digit and anything else itself.
bool shaped(std::string_view text, std::string_view shape) {
    if (text.size() != shape.size()) return false;
    for (size_t i = 0; i < text.size(); i++) {
        if (shape[i] == 'd'   ? !isdigit(static_cast<unsigned char>(text[i]))
            : shape[i] == 'x' ? !hex_digit(text[i])
                              : text[i] != shape[i])
            return false;
    }
    return true;
}

int number_at(std::string_view text, size_t at, size_t digits) {
    return atoi(std::string(text.substr(at, digits)).c_str());
}

bool date_time(std::string_view text) {
    if (text.size() < 19 || !shaped(text.substr(0, 19), "dddd-dd-ddTdd:dd:dd")) return false;
    static const int days[] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    int year = number_at(text, 0, 4), month = number_at(text, 5, 2), day = number_at(text, 8, 2);
    if (month < 1 || month > 12 || day < 1 || day > days[month - 1]) return false;
    bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    if (month == 2 && day == 29 && !leap) return false;
    if (number_at(text, 11, 2) > 23 || number_at(text, 14, 2) > 59 || number_at(text, 17, 2) > 60)
        return false;
    text.remove_prefix(19);
    if (!text.empty() && text[0] == '.') {
        size_t digits = 1;
        while (digits < text.size() && isdigit(static_cast<unsigned char>(text[digits]))) digits++;
        if (digits == 1) return false;
        text.remove_prefix(digits);
    }
    if (text.empty() || text == "Z") return true;
    return (text[0] == '+' || text[0] == '-') && shaped(text.substr(1), "dd:dd") &&
           number_at(text, 1, 2) <= 14 && number_at(text, 4, 2) <= 59;
}

bool base64(std::string_view text) {
    if (text.size() % 4) return false;
    size_t padding = 0;
    while (padding < 2 && padding < text.size() && text[text.size() - 1 - padding] == '=') padding++;
    text.remove_suffix(padding);
    for (char c : text)
        if (!alnum(c) && c != '+' && c != '/') return false;
    return true;
}

bool hex_binary(std::string_view text) {
    for (char c : text)
        if (!hex_digit(c)) return false;
    return text.size() % 2 == 0;
}

/// 4 or 6 for an address of that version, else 0.
int address_version(std::string_view text) {
    unsigned char bytes[16];
    std::string address(text);
    if (inet_pton(AF_INET, address.c_str(), bytes) == 1) return 4;
    return inet_pton(AF_INET6, address.c_str(), bytes) == 1 ? 6 : 0;
}

bool address(std::string_view text, int family) {
    int version = address_version(text);
    return version && (!family || version == family);
}

/// "ADDRESS/n", or "/n" alone for the length of a prefix of either version.
bool prefix(std::string_view text, int family) {
    size_t slash = text.find('/');
    if (slash == std::string_view::npos) return false;
    int version = slash == 0 ? (family ? family : 6) : address_version(text.substr(0, slash));
    std::string_view bits = text.substr(slash + 1);
    if (!version || (family && version != family) || bits.empty() || bits.size() > 3) return false;
    for (char c : bits)
        if (!isdigit(static_cast<unsigned char>(c))) return false;
    return number_at(bits, 0, 3) <= (version == 4 ? 32 : 128);
}

bool url(std::string_view text) {
    size_t colon = text.find(':');
    if (colon == 0 || colon == std::string_view::npos || colon + 1 == text.size()) return false;
    if (!isalpha(static_cast<unsigned char>(text[0]))) return false;
    for (char c : text.substr(0, colon))
        if (!alnum(c) && c != '+' && c != '-' && c != '.') return false;
    for (char c : text)
        if (static_cast<unsigned char>(c) <= ' ') return false;
    return true;
}

/// The items up to each comma that `comma` finds in the rest of the text.
template <typename Comma>
std::vector<std::string_view> items_of(std::string_view text, const Comma& comma) {
    constexpr std::string_view BLANKS = " \t\r\n";
    std::vector<std::string_view> items;
    if (text.find_first_not_of(BLANKS) == std::string_view::npos) return items;
    for (;;) {
        size_t end = comma(text);
        std::string_view item = text.substr(0, end);
        item.remove_prefix(std::min(item.find_first_not_of(BLANKS), item.size()));
        item.remove_suffix(item.size() - (item.find_last_not_of(BLANKS) + 1));
        items.push_back(item);
        if (end == std::string_view::npos) return items;
        text.remove_prefix(end + 1);
    }
}

}  // namespace

const char* text_wrong(int type, std::string_view text, uint8_t family) {
    switch (type) {
        case OX_TR_DATE_TIME:
            return date_time(text) ? nullptr : "must be a date and time such as 2024-05-31T08:30:00Z";
        case OX_TR_BASE64:
            return base64(text) ? nullptr : "must be base64";
        case OX_TR_HEX_BINARY:
            return hex_binary(text) ? nullptr : "must be pairs of hexadecimal digits";
        case OX_TR_ALIAS:
            return !text.empty() && isalpha(static_cast<unsigned char>(text[0])) ? nullptr
                                                                                 : "must begin with a letter";
        default:
            break;
    }
    if (text.empty()) return nullptr;
    switch (type) {
        case OX_TR_IP_ADDRESS:
            if (address(text, family)) return nullptr;
            return family == 4   ? "must be an IPv4 address"
                   : family == 6 ? "must be an IPv6 address"
                                 : "must be an IP address";
        case OX_TR_IP_PREFIX:
            if (prefix(text, family)) return nullptr;
            return family == 4   ? "must be an IPv4 prefix such as 192.0.2.0/24"
                   : family == 6 ? "must be an IPv6 prefix such as 2001:db8::/32"
                                 : "must be an IP prefix such as 192.0.2.0/24";
        case OX_TR_MAC_ADDRESS:
            return shaped(text, "xx:xx:xx:xx:xx:xx") ? nullptr
                                                     : "must be a MAC address such as 02:00:5e:10:00:01";
        case OX_TR_URL:
            return url(text) ? nullptr : "must be a URL";
        case OX_TR_UUID:
            return shaped(text, "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx") ? nullptr : "must be a UUID";
        default:
            return nullptr;
    }
}

std::vector<std::string_view> list_items(std::string_view text) {
    return items_of(text, [](std::string_view rest) { return rest.find(','); });
}

std::vector<std::string_view> list_groups(std::string_view text) {
    return items_of(text, [](std::string_view rest) {
        int depth = 0;
        for (size_t i = 0; i < rest.size(); i++) {
            depth += (rest[i] == '[') - (rest[i] == ']');
            if (rest[i] == ',' && depth <= 0) return i;
        }
        return std::string_view::npos;
    });
}

size_t text_length(int type, std::string_view text) {
    if (type == OX_TR_HEX_BINARY) return text.size() / 2;
    if (type == OX_TR_BASE64) {
        size_t padding = text.ends_with("==") ? 2 : text.ends_with("=") ? 1 : 0;
        return text.size() / 4 * 3 - (text.size() >= 4 ? padding : 0);
    }
    size_t characters = 0;
    for (char c : text) characters += (static_cast<unsigned char>(c) & 0xc0) != 0x80;
    return characters;
}

}  // namespace obxd
