#include "net/framing.hpp"

#include <string.h>

#include <algorithm>

namespace obxd {

namespace {

constexpr size_t KEEP_CAPACITY = size_t{64} * 1024;

// Gives back the memory of long messages that are gone. Where there is none for a copy, all stays as it is.
void shrink(ox_array<char>& bytes) {
    if (bytes.capacity <= KEEP_CAPACITY || bytes.size > bytes.capacity / 4) return;
    ox_array<char> copy{};
    if (!copy.append(bytes.data, bytes.size)) return;
    bytes.clear();
    bytes = copy;
}

bool is_space(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

const char* find(const char* from, const char* end, char c) {
    const void* found = memchr(from, c, static_cast<size_t>(end - from));
    return found ? static_cast<const char*>(found) : end;
}

// Goes on to what stands behind the open text, or to the end of the bytes.
const char* skip_text(Input& input, const char* at, const char* end) {
    if (input.escaped && at < end) {
        input.escaped = false;
        at++;
    }
    const char* quote = at;
    for (;;) {
        if (quote <= at) quote = find(at, end, '"');
        const char* backslash = find(at, quote, '\\');
        if (backslash == quote) break;
        at = backslash + 2;
        if (at > end) input.escaped = true;
        if (at >= end) return end;
        if (at > quote) quote = at;
    }
    input.in_string = quote == end;
    return quote == end ? end : quote + 1;
}

// Goes on to the end of the open object. True when it was found; `scanned` then stands behind it.
bool scan_object(Input& input) {
    const char* at = input.bytes.data + input.scanned;
    const char* end = input.bytes.data + input.bytes.size;
    uint32_t depth = input.depth;
    uint32_t deepest = input.deepest;
    size_t values = input.values;
    if (input.in_string) at = skip_text(input, at, end);
    bool whole = false;
    while (at < end && !whole) {
        switch (*at++) {
            case '"':
                input.in_string = true;
                at = skip_text(input, at, end);
                break;
            case '{':
                depth++;
                deepest = std::max(deepest, depth);
                [[fallthrough]];
            case '[':
            case ',':
                values++;
                break;
            case '}':
                whole = --depth == 0;
                break;
            default:
                break;
        }
    }
    input.depth = depth;
    input.deepest = deepest;
    input.values = values;
    input.scanned = static_cast<size_t>(at - input.bytes.data);
    return whole;
}

}  // namespace

bool input_append(Input& input, const char* data, size_t size) {
    if (input.taken > 0) {
        input.bytes.size -= input.taken;
        memmove(input.bytes.data, input.bytes.data + input.taken, input.bytes.size);
        input.scanned -= input.taken;
        input.taken = 0;
        shrink(input.bytes);
    }
    return input.bytes.append(data, size);
}

Frame input_next(Input& input, std::string_view& message) {
    if (input.again == 0) {
        if (input.depth == 0) {
            size_t at = input.scanned;
            while (at < input.bytes.size && is_space(input.bytes[at])) at++;
            input.taken = input.scanned = at;
            input.values = input.deepest = 0;
            if (at == input.bytes.size) {
                input_done(input);
                return Frame::PARTIAL;
            }
            if (input.bytes[at] != '{') return Frame::NO_OBJECT;
        }
        bool whole = scan_object(input);
        if (input.scanned - input.taken > MAX_MESSAGE) return Frame::TOO_LONG;
        if (!whole) return Frame::PARTIAL;
    }
    message = std::string_view(input.bytes.data + input.taken, input.scanned - input.taken);
    input.taken = input.scanned;
    input.again = 0;
    return Frame::MESSAGE;
}

void input_give_back(Input& input, size_t size) {
    input.taken -= size;
    input.again = size;
}

void input_done(Input& input) {
    if (input.taken < input.bytes.size) return;
    input.bytes.size = input.taken = input.scanned = 0;
    if (input.bytes.capacity > KEEP_CAPACITY) input.bytes.clear();
}

void input_clear(Input& input) {
    input.bytes.clear();
    input.taken = input.scanned = input.values = input.again = 0;
    input.depth = input.deepest = 0;
    input.in_string = input.escaped = false;
}

}  // namespace obxd
