// Checks of the textual parameter types.
#pragma once

#include <stdint.h>

#include <string_view>
#include <vector>

namespace obxd {

/// What is wrong with the text of a value of type `type` (an ox_tr type code), or null when it is well
/// formed. `family` 4 or 6: of addresses and prefixes, that version alone.
const char* text_wrong(int type, std::string_view text, uint8_t family = 0);
/// Its length as bounds count it: octets for base64 and hexBinary, else UTF-8 characters.
size_t text_length(int type, std::string_view text);

/// The items of a list's text, without the blanks around them; an empty list has none. Views into `text`.
std::vector<std::string_view> list_items(std::string_view text);
/// The same where items may be lists in brackets, whose commas divide nothing: "[1,2]" and "[3]".
std::vector<std::string_view> list_groups(std::string_view text);

}  // namespace obxd
