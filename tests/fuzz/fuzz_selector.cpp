// Selectors of any bytes end with a verdict, and what was read can be written and is read as the same.
#include "fuzz.hpp"
#include "store/selector.hpp"

namespace {

using obxd::Condition;
using obxd::Selector;

constexpr size_t MOST_TEXT = 4096;  // of a selector

std::string text_of(const Condition& condition);

std::string operand(const Condition& condition, bool grouped) {
    return grouped ? "(" + text_of(condition) + ")" : text_of(condition);
}

std::string quoted(const std::string& text) {
    std::string all = "\"";
    for (char c : text) {
        if (c == '"' || c == '\\') all += '\\';
        all += c;
    }
    return all + '"';
}

/// What the parser joins from the left needs no parentheses there.
std::string text_of(const Condition& condition) {
    static const char* const operators[] = {"&&", "||", "==", "!=", "<", ">", "<=", ">=", "~="};
    const char* sign = operators[condition.kind];
    if (!condition.left)
        return condition.name + sign + (condition.quoted ? quoted(condition.text) : condition.text);
    bool conjunction = condition.kind == Condition::AND;
    bool right_joins = condition.right->left && (conjunction || condition.right->kind == Condition::OR);
    return operand(*condition.left, conjunction && condition.left->kind == Condition::OR) + sign +
           operand(*condition.right, right_joins);
}

std::string text_of(const Selector& selector) {
    std::string all = ":";
    for (const auto& step : selector.steps) {
        all += step.name;
        if (step.filter) all += "[" + text_of(*step.filter) + "]";
        all += ".";
    }
    if (selector.members.empty()) return selector.steps.empty() ? "." : all;
    const char* before = "{";
    for (const auto& member : selector.members) {
        all += before + member;
        before = ",";
    }
    return all + "}";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Selector selector, again;
    std::string error;
    std::string_view text(reinterpret_cast<const char*>(data), size);
    bool fine = obxd::selector_parse(text, selector, error);
    REQUIRE(fine == error.empty());
    if (!fine) return 0;
    std::string written = text_of(selector);
    if (written.size() > MOST_TEXT) return 0;
    REQUIRE(obxd::selector_parse(written, again, error));
    REQUIRE(text_of(again) == written);
    return 0;
}
