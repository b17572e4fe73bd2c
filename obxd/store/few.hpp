// A vector for records of which there are thousands and most hold none: as small as a pointer.
#pragma once

#include <memory>
#include <vector>

namespace obxd {

template <typename T>
class Few {
public:
    Few() = default;
    Few(const Few& other)
        : items_(other.items_ ? std::make_unique<std::vector<T>>(*other.items_) : nullptr) {}
    Few(Few&&) noexcept = default;
    Few& operator=(Few other) {
        items_ = std::move(other.items_);
        return *this;
    }

    bool empty() const { return !items_ || items_->empty(); }
    size_t size() const { return items_ ? items_->size() : 0; }
    T* begin() const { return items_ ? items_->data() : nullptr; }
    T* end() const { return items_ ? items_->data() + items_->size() : nullptr; }
    T& operator[](size_t at) const { return (*items_)[at]; }
    T& back() const { return items_->back(); }
    void push_back(T item) {
        if (!items_) items_ = std::make_unique<std::vector<T>>();
        items_->push_back(std::move(item));
    }

private:
    std::unique_ptr<std::vector<T>> items_;
};

}  // namespace obxd
