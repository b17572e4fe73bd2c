#include "net/framing.hpp"

namespace obxd {

namespace {

constexpr size_t KEEP_CAPACITY = size_t{1024} * 1024;

bool is_space(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

// Goes on to the end of the open object. True when it was found; `scanned` then stands behind it.
bool scan_object(Input& input) {
    const char* data = input.bytes.data();
    size_t size = input.bytes.size();
    size_t at = input.scanned;
    for (; at < size; at++) {
        char c = data[at];
        if (input.escaped) {
            input.escaped = false;
        } else if (input.in_string) {
            if (c == '\\') input.escaped = true;
            if (c == '"') input.in_string = false;
        } else if (c == '"') {
            input.in_string = true;
        } else if (c == '{') {
            input.depth++;
        } else if (c == '}' && --input.depth == 0) {
            input.scanned = at + 1;
            return true;
        }
    }
    input.scanned = at;
    return false;
}

}  // namespace

void input_append(Input& input, const char* data, size_t size) {
    if (input.taken > 0) {
        input.bytes.erase(0, input.taken);
        input.scanned -= input.taken;
        input.taken = 0;
        if (input.bytes.empty() && input.bytes.capacity() > KEEP_CAPACITY) input.bytes.shrink_to_fit();
    }
    input.bytes.append(data, size);
}

Frame input_next(Input& input, std::string_view& message) {
    if (input.depth == 0) {
        size_t at = input.scanned;
        while (at < input.bytes.size() && is_space(input.bytes[at])) at++;
        input.taken = input.scanned = at;
        if (at == input.bytes.size()) return Frame::PARTIAL;
        if (input.bytes[at] != '{') return Frame::NO_OBJECT;
    }
    bool whole = scan_object(input);
    if (input.scanned - input.taken > MAX_MESSAGE) return Frame::TOO_LONG;
    if (!whole) return Frame::PARTIAL;
    message = std::string_view(input.bytes).substr(input.taken, input.scanned - input.taken);
    input.taken = input.scanned;
    return Frame::MESSAGE;
}

}  // namespace obxd
