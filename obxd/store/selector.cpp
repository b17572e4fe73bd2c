#include "selector.hpp"

#include <ctype.h>
#include <string.h>

#include "ox_tr_names.hpp"

namespace obxd {
namespace {

constexpr size_t MAX_LENGTH = 4096;
constexpr int MAX_DEPTH = 16;
constexpr size_t MAX_CONDITIONS = 64;

struct Parser {
    std::string_view text;
    std::string& error;
    size_t at = 0;
    size_t conditions = 0;

    bool fail(const std::string& what) {
        error = what + " at character " + std::to_string(at + 1);
        return false;
    }
    char peek() const { return at < text.size() ? text[at] : '\0'; }
    bool take(std::string_view token) {
        if (text.substr(at, token.size()) != token) return false;
        at += token.size();
        return true;
    }
    void blanks() {
        while (peek() == ' ' || peek() == '\t') at++;
    }
};

/// A run of characters that end at one of `stops` (or at the end of the text).
std::string run(Parser& parser, const char* stops) {
    size_t start = parser.at;
    while (parser.at < parser.text.size() && !strchr(stops, parser.text[parser.at])) parser.at++;
    return std::string(parser.text.substr(start, parser.at - start));
}

bool quoted_text(Parser& parser, std::string& out) {
    size_t start = parser.at;
    char quote = parser.text[parser.at++];
    while (parser.at < parser.text.size() && parser.text[parser.at] != quote) {
        if (parser.text[parser.at] == '\\' && parser.at + 1 < parser.text.size()) parser.at++;
        out += parser.text[parser.at++];
    }
    if (parser.take(std::string_view(&quote, 1))) return true;
    parser.at = start;
    return parser.fail("quote that is never closed");
}

bool operator_parse(Parser& parser, Condition::Kind& kind) {
    static const struct {
        const char* text;
        Condition::Kind kind;
    } rows[] = {{"==", Condition::EQ}, {"!=", Condition::NE},       {"<=", Condition::LE},
                {">=", Condition::GE}, {"~=", Condition::CONTAINS}, {"<", Condition::LT},
                {">", Condition::GT}};
    for (auto& row : rows) {
        if (!parser.take(row.text)) continue;
        kind = row.kind;
        return true;
    }
    return parser.fail("comparison (==, !=, <, >, <=, >= or ~=) expected");
}

std::unique_ptr<Condition> comparison(Parser& parser) {
    auto condition = std::make_unique<Condition>();
    if (++parser.conditions > MAX_CONDITIONS) return parser.fail("too many comparisons"), nullptr;
    condition->name = run(parser, "=!<>~&|()[]{} \t\"'");
    if (condition->name.empty()) return parser.fail("parameter name expected"), nullptr;
    parser.blanks();
    if (!operator_parse(parser, condition->kind)) return nullptr;
    parser.blanks();
    condition->quoted = parser.peek() == '"' || parser.peek() == '\'';
    if (condition->quoted) {
        if (!quoted_text(parser, condition->text)) return nullptr;
    } else {
        // Blanks inside belong to it: the shell takes plain quotes away.
        condition->text = run(parser, "&|()[]{}\"'=<>");
        while (!condition->text.empty() && strchr(" \t", condition->text.back())) condition->text.pop_back();
        if (condition->text.empty()) return parser.fail("value expected"), nullptr;
    }
    parser.blanks();
    return condition;
}

std::unique_ptr<Condition> alternatives(Parser& parser, int depth);

std::unique_ptr<Condition> term(Parser& parser, int depth) {
    parser.blanks();
    if (parser.peek() != '(') return comparison(parser);
    if (depth >= MAX_DEPTH) return parser.fail("parentheses nested too deeply"), nullptr;
    parser.at++;
    auto inner = alternatives(parser, depth + 1);
    if (!inner) return nullptr;
    if (!parser.take(")")) return parser.fail("\")\" expected"), nullptr;
    parser.blanks();
    return inner;
}

std::unique_ptr<Condition> joined(Condition::Kind kind, std::unique_ptr<Condition> left,
                                  std::unique_ptr<Condition> right) {
    auto condition = std::make_unique<Condition>();
    condition->kind = kind;
    condition->left = std::move(left);
    condition->right = std::move(right);
    return condition;
}

std::unique_ptr<Condition> conjunction(Parser& parser, int depth) {
    auto left = term(parser, depth);
    while (left && parser.take("&&")) {
        auto right = term(parser, depth);
        if (!right) return nullptr;
        left = joined(Condition::AND, std::move(left), std::move(right));
    }
    return left;
}

std::unique_ptr<Condition> alternatives(Parser& parser, int depth) {
    auto left = conjunction(parser, depth);
    while (left && parser.take("||")) {
        auto right = conjunction(parser, depth);
        if (!right) return nullptr;
        left = joined(Condition::OR, std::move(left), std::move(right));
    }
    return left;
}

bool filter_parse(Parser& parser, SelectorStep& step) {
    if (!parser.take("[")) return true;
    step.filter = alternatives(parser, 0);
    if (!step.filter) return false;
    return parser.take("]") || parser.fail("\"]\" expected");
}

bool members_parse(Parser& parser, Selector& selector) {
    parser.at++;
    do {
        parser.blanks();
        std::string member = run(parser, ",{}[] \t");
        if (member.empty()) return parser.fail("member name expected");
        selector.members.push_back(std::move(member));
        parser.blanks();
    } while (parser.take(","));
    return parser.take("}") || parser.fail("\",\" or \"}\" expected");
}

/// Steps divided by dots; a filter may stand behind a name, or alone for every instance ("Host.[...]").
bool steps_parse(Parser& parser, Selector& selector) {
    while (parser.at < parser.text.size() && parser.peek() != '{') {
        SelectorStep step;
        step.name = run(parser, ".[]{}() \t\"'=!<>~&|,");
        if (step.name.empty()) {
            if (parser.peek() != '[') return parser.fail("name expected");
            step.name = "*";
        }
        if (step.name == OX_TR_TEMPLATE) step.name = "*";
        if (!filter_parse(parser, step)) return false;
        selector.steps.push_back(std::move(step));
        if (!parser.take(".") && parser.at < parser.text.size() && parser.peek() != '{')
            return parser.fail("\".\" expected");
    }
    return true;
}

}  // namespace

bool selector_parse(std::string_view text, Selector& selector, std::string& error) {
    while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
    Parser parser{text, error};
    if (text.size() > MAX_LENGTH) return parser.fail("selector of more than 4096 characters");
    parser.take(":");
    if (parser.at == text.size()) return parser.fail("path expected");
    if (text.substr(parser.at) == ".") return true;
    if (!steps_parse(parser, selector)) return false;
    if (parser.peek() == '{' && !members_parse(parser, selector)) return false;
    return parser.at == text.size() || parser.fail("end of the selector expected");
}

}  // namespace obxd
