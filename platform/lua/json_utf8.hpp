// Plain characters of JSON texts.
#pragma once

/// The first byte from `text` on (or `end`) that does not stand for itself between the quotes of a JSON text:
/// a quote, a backslash, a control character, or 0x80 and above where no valid UTF-8 character begins.
const char* json_plain_end(const char* text, const char* end);
