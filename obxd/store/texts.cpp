#include "texts.hpp"

#include <string.h>

#include <algorithm>

namespace obxd {

constexpr size_t BLOCK = 32768;

const char* Texts::keep(std::string_view text) {
    if (text.empty()) return nullptr;
    auto known = known_.find(text);
    if (known != known_.end()) return known->data();
    size_t size = text.size() + 1;
    if (size > left_) {
        left_ = std::max(size, BLOCK);
        blocks_.push_back(std::make_unique_for_overwrite<char[]>(left_));
        next_ = blocks_.back().get();
    }
    char* kept = next_;
    memcpy(kept, text.data(), text.size());
    kept[text.size()] = '\0';
    next_ += size;
    left_ -= size;
    known_.emplace(kept, text.size());
    return kept;
}

void Texts::settle() {
    known_ = {};
}

}  // namespace obxd
