// Checks of the textual parameter types.
#pragma once

#include <string_view>
#include <vector>

namespace obxd {

/// What is wrong with the text of a value of type `type` (an ox_tr type code), or null when it is well
/// formed.
const char* text_wrong(int type, std::string_view text);
/// Its length as bounds count it: octets for base64 and hexBinary, else UTF-8 characters.
size_t text_length(int type, std::string_view text);

/// The items of a list's text, without the blanks around them; an empty list has none. Views into `text`.
std::vector<std::string_view> list_items(std::string_view text);

}  // namespace obxd
