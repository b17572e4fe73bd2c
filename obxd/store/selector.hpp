// The text of a selector as records. docs/selectors.md tells people the language.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace obxd {

/// One node of a filter.
struct Condition {
    enum Kind { AND, OR, EQ, NE, LT, GT, LE, GE, CONTAINS } kind = EQ;
    std::unique_ptr<Condition> left, right;  ///< of AND and OR
    std::string name;                        ///< of a comparison: the parameter, relative to the instance
    std::string text;                        ///< what it is compared with
    bool quoted = false;
};

struct SelectorStep {
    std::string name;  ///< "*" for every instance
    std::unique_ptr<Condition> filter;
};

struct Selector {
    std::vector<SelectorStep> steps;
    std::vector<std::string> members;  ///< of "{A,B}"; empty: everything
};

/// False with `error` saying what is wrong and at which character.
bool selector_parse(std::string_view text, Selector& selector, std::string& error);

}  // namespace obxd
