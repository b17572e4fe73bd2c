// Texts that live as long as the model: descriptions, units, versions. Equal ones are kept once.
#pragma once

#include <memory>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace obxd {

class Texts {
public:
    /// The text, NUL-terminated, in memory of its own; null for an empty one.
    const char* keep(std::string_view text);
    /// Gives back what only helps to find equal ones. Texts stay; others may still be kept.
    void settle();

private:
    std::vector<std::unique_ptr<char[]>> blocks_;
    char* next_ = nullptr;
    size_t left_ = 0;
    std::unordered_set<std::string_view> known_;
};

}  // namespace obxd
