#include "requests/large.hpp"

#include "../platform/global/jrpc/json_reader.hpp"

namespace obxd {

namespace {

constexpr std::string_view NULL_ESCAPE = "\\u0000";
constexpr size_t LONGEST_OUTLINE = size_t{64} * 1024;

// An escape whose backslash is not itself escaped.
bool holds_null_character(std::string_view text) {
    for (size_t at = 0; (at = text.find(NULL_ESCAPE, at)) != std::string_view::npos;
         at += NULL_ESCAPE.size()) {
        size_t before = at;
        while (before > 0 && text[before - 1] == '\\') before--;
        if ((at - before) % 2 == 0) return true;
    }
    return false;
}

// The length of the text that begins with a quote, both quotes included.
size_t quoted_size(std::string_view text) {
    size_t at = 1;
    while (at < text.size() && text[at] != '"') at += text[at] == '\\' ? 2 : 1;
    return at < text.size() ? at + 1 : text.size();
}

}  // namespace

Reading large_read(std::string_view text, JsonRef& message) {
    JsonReader reader{};
    size_t taken = 0;
    json_reader_state state = json_reader_feed(&reader, text.data(), text.size(), &taken);
    if (state == JSON_READER_WHOLE) message.reset(json_reader_take(&reader));
    json_reader_reset(&reader);
    switch (state) {
        case JSON_READER_WHOLE:
            return holds_null_character(text) ? Reading::UNFIT : Reading::WHOLE;
        case JSON_READER_NUMBER:
            return Reading::UNFIT;
        case JSON_READER_LARGE:
            return Reading::COSTLY;
        default:
            return holds_null_character(text) ? Reading::UNFIT : Reading::BROKEN;
    }
}

std::string message_outline(std::string_view text) {
    std::string outline;
    size_t depth = 0;
    while (!text.empty() && outline.size() <= LONGEST_OUTLINE) {
        size_t size = text[0] == '"' ? quoted_size(text) : 1;
        bool opens = text[0] == '{' || text[0] == '[';
        bool closes = text[0] == '}' || text[0] == ']';
        if (opens && ++depth == 2) outline += "null";
        if (depth == 1) outline += text.substr(0, size);
        if (closes && depth > 0) depth--;
        text.remove_prefix(size);
    }
    return outline.size() <= LONGEST_OUTLINE ? outline : "";
}

}  // namespace obxd
