// Texts for people that hold names of others' making.
#pragma once

#include <string>
#include <string_view>

namespace obxd {

/// The text with each control character (C0, DEL, and C1 in UTF-8) as \xNN: it is one line, and steers no
/// terminal.
std::string one_line(std::string_view text);

}  // namespace obxd
