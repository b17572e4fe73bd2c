// Patterns of values, both syntaxes: any pattern and any text end with a verdict, and the words that are made
// up from a pattern match it.
#include "fuzz.hpp"
#include "store/expression.hpp"
#include "store/words.hpp"

namespace {

constexpr size_t MOST_STEPS = 32;  // of those whose words are looked at
constexpr size_t MOST_TEXT = 256;  // the time is in proportion to both

void words_match(const obxd::Expression& program) {
    obxd::Words words({program}, {{0, 8}});
    uint64_t count = words.count();
    for (uint64_t number : {uint64_t{0}, count / 2, count - 1}) {
        if (number < count) REQUIRE(obxd::expression_matches(*program, words.word(number)));
    }
}

}  // namespace

// Lines: the pattern behind a byte for its syntax, and a text.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    auto syntax = input.number(2) ? obxd::Syntax::POSIX : obxd::Syntax::XML_SCHEMA;
    std::string pattern = input.text();
    std::string text = input.rest().substr(0, MOST_TEXT);
    std::string why;
    obxd::Expression program = obxd::expression_compile(pattern, syntax, why);
    REQUIRE(!program == !why.empty());
    if (!program) return 0;
    obxd::expression_matches(*program, text);
    if (program->steps.size() <= MOST_STEPS) words_match(program);
    return 0;
}
