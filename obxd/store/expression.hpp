// Regular expressions that a whole text must match: those of XML Schema, and POSIX extended ones.
//
// Matching takes time in proportion to the text times the expression, whatever both are.
#pragma once

#include <stdint.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "store/charset.hpp"

namespace obxd {

enum class Syntax : uint8_t { XML_SCHEMA, POSIX };

/// One step of a compiled expression.
struct Step {
    enum Kind : uint8_t {
        CHARS,  ///< takes one character of set `x`, goes on at the next step
        FORK,   ///< goes on at `x` and at `y`
        JUMP,   ///< goes on at `x`
        BEGIN,  ///< goes on where the text begins (POSIX "^")
        END,    ///< goes on where the text ends (POSIX "$")
        MATCH   ///< the end
    } kind;
    uint32_t x = 0, y = 0;
};

struct Program {
    std::vector<Step> steps;  ///< starts at the first
    std::vector<CharSet> sets;
};
/// Null: none yet.
using Expression = std::shared_ptr<const Program>;

/// Null with `why` for what is no expression, or one that grows beyond 20,000 steps.
Expression expression_compile(std::string_view text, Syntax syntax, std::string& why);
/// Whether the whole text (UTF-8) matches.
bool expression_matches(const Program& program, std::string_view text);

}  // namespace obxd
