#include "text.hpp"

#include <algorithm>

namespace obxd {

namespace {

constexpr size_t LEAST_BLOCK = 1024;
constexpr size_t MOST_BLOCK = size_t{64} * 1024;
constexpr size_t LEAST_SHARED = 4096;  // less is copied

}  // namespace

Text& Text::operator=(Text&& other) noexcept {
    closed_ = std::move(other.closed_);
    block_ = std::move(other.block_);
    first_ = std::exchange(other.first_, 0);
    before_ = std::exchange(other.before_, 0);
    begin_ = std::exchange(other.begin_, nullptr);
    end_ = std::exchange(other.end_, nullptr);
    limit_ = std::exchange(other.limit_, nullptr);
    other.closed_.clear();
    return *this;
}

// What comes next begins a block of its own; the room behind the last one stays unused.
void Text::close_block() {
    auto size = static_cast<size_t>(end_ - begin_);
    if (size > 0) closed_.push_back({block_, begin_, size});
    before_ += size;
    begin_ = end_;
}

void Text::append_over(std::string_view bytes) {
    auto room = std::min(bytes.size(), static_cast<size_t>(limit_ - end_));
    if (room > 0) memcpy(end_, bytes.data(), room);
    end_ += room;
    bytes.remove_prefix(room);
    close_block();
    size_t size = std::max(bytes.size(), std::clamp(before_, LEAST_BLOCK, MOST_BLOCK));
    block_ = std::make_shared_for_overwrite<char[]>(size);
    begin_ = block_.get();
    limit_ = begin_ + size;
    memcpy(begin_, bytes.data(), bytes.size());
    end_ = begin_ + bytes.size();
}

void Text::append(Text&& other) {
    if (other.size() < LEAST_SHARED) {
        for (size_t i = other.first_; i < other.closed_.size(); i++)
            append(std::string_view(other.closed_[i].data, other.closed_[i].size));
        append(std::string_view(other.begin_, static_cast<size_t>(other.end_ - other.begin_)));
        return other.clear();
    }
    close_block();
    for (size_t i = other.first_; i < other.closed_.size(); i++)
        closed_.push_back(std::move(other.closed_[i]));
    before_ += other.before_;
    block_ = std::move(other.block_);
    begin_ = other.begin_;
    end_ = other.end_;
    limit_ = other.limit_;
    other.clear();
}

void Text::share(const std::shared_ptr<const Text>& other) {
    bool small = other->size() < LEAST_SHARED;
    if (!small) close_block();
    auto put = [&](const char* data, size_t size) {
        if (small) return append(std::string_view(data, size));
        if (size > 0) closed_.push_back({other, data, size});
        before_ += size;
    };
    for (size_t i = other->first_; i < other->closed_.size(); i++)
        put(other->closed_[i].data, other->closed_[i].size);
    put(other->begin_, static_cast<size_t>(other->end_ - other->begin_));
}

int Text::pieces(iovec* into, int count) const {
    int used = 0;
    auto put = [&](const char* data, size_t size) {
        into[used].iov_base = const_cast<char*>(data);
        into[used++].iov_len = size;
    };
    for (size_t i = first_; i < closed_.size() && used < count; i++) put(closed_[i].data, closed_[i].size);
    if (used < count && end_ > begin_) put(begin_, static_cast<size_t>(end_ - begin_));
    return used;
}

void Text::drop(size_t size) {
    while (size > 0 && first_ < closed_.size()) {
        Piece& piece = closed_[first_];
        size_t part = std::min(size, piece.size);
        piece.data += part;
        piece.size -= part;
        before_ -= part;
        size -= part;
        if (piece.size > 0) return;
        piece.owner.reset();
        first_++;
    }
    if (first_ == closed_.size()) {
        closed_.clear();
        first_ = 0;
    }
    begin_ += size;
    if (empty()) clear();
}

std::string Text::str() const {
    std::string whole;
    whole.reserve(size());
    for (size_t i = first_; i < closed_.size(); i++) whole.append(closed_[i].data, closed_[i].size);
    if (end_ > begin_) whole.append(begin_, static_cast<size_t>(end_ - begin_));
    return whole;
}

}  // namespace obxd
