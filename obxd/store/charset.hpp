// Sets of characters, as regular expressions name them.
#pragma once

#include <string_view>
#include <utility>
#include <vector>

namespace obxd {

/// Unicode code points: pairs of first and last, ascending and apart.
using CharSet = std::vector<std::pair<char32_t, char32_t>>;

/// Sorts and joins pairs that were gathered in any order.
void charset_settle(CharSet& set);
CharSet charset_without(const CharSet& set, const CharSet& taken);
CharSet charset_complement(const CharSet& set);
bool charset_has(const CharSet& set, char32_t c);

/// Adds what "\x" stands for in XML Schema: i (first characters of XML names), c (their characters), d
/// (decimal digits), s (blanks), w (all but punctuation, separators and control characters), and the
/// complements of these as capitals. False for another letter.
bool charset_escape(CharSet& set, char letter);
/// Adds what "\p{name}" stands for: the categories L, Lu, Ll, N, Nd, P, S, Z and C, and the blocks
/// IsBasicLatin and IsLatin-1Supplement. Letters and punctuation are told apart exactly in Latin-1, beyond it
/// by blocks. False for another name.
bool charset_category(CharSet& set, std::string_view name);
/// Adds what "[:name:]" stands for in POSIX brackets. False for another name.
bool charset_posix(CharSet& set, std::string_view name);

}  // namespace obxd
