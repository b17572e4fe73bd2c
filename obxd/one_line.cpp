#include "one_line.hpp"

namespace obxd {

namespace {

constexpr unsigned char C1_LEAD = 0xc2;

bool is_control(std::string_view rest) {
    auto first = static_cast<unsigned char>(rest[0]);
    if (first < 0x20 || first == 0x7f) return true;
    return first == C1_LEAD && rest.size() > 1 && static_cast<unsigned char>(rest[1]) < 0xa0;
}

void add_escaped(std::string& out, char c) {
    static const char DIGITS[] = "0123456789abcdef";
    auto byte = static_cast<unsigned char>(c);
    out += "\\x";
    out += DIGITS[byte >> 4];
    out += DIGITS[byte & 15];
}

}  // namespace

std::string one_line(std::string_view text) {
    std::string line;
    line.reserve(text.size());
    for (; !text.empty(); text.remove_prefix(1)) {
        if (!is_control(text)) {
            line += text[0];
            continue;
        }
        add_escaped(line, text[0]);
        if (static_cast<unsigned char>(text[0]) != C1_LEAD) continue;
        text.remove_prefix(1);
        add_escaped(line, text[0]);
    }
    return line;
}

}  // namespace obxd
