// A long text in pieces: it grows without being moved, and what was sent of it is given back.
#pragma once

#include <stddef.h>
#include <string.h>
#include <sys/uio.h>

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace obxd {

class Text {
public:
    Text() = default;
    Text(Text&& other) noexcept { *this = std::move(other); }
    Text& operator=(Text&& other) noexcept;
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;
    ~Text() = default;

    size_t size() const { return before_ + static_cast<size_t>(end_ - begin_); }
    bool empty() const { return size() == 0; }

    void append(char byte) { append(std::string_view(&byte, 1)); }
    void append(std::string_view bytes) {
        if (bytes.size() > static_cast<size_t>(limit_ - end_)) return append_over(bytes);
        if (bytes.empty()) return;
        // end_ is null only where there is no room:
        memcpy(end_, bytes.data(), bytes.size());  // NOLINT(clang-analyzer-core.NonNullParamChecker)
        end_ += bytes.size();
    }
    /// Appends another text; long ones are not copied.
    void append(Text&& other);
    /// Appends a text that several hold: its bytes are there once. A short one is copied.
    void share(const std::shared_ptr<const Text>& other);

    /// Fills in where the first pieces are, at most `count`; returns how many.
    int pieces(iovec* into, int count) const;
    /// Gives back the first `size` bytes.
    void drop(size_t size);
    void clear() { *this = Text(); }

    /// A copy in one piece.
    std::string str() const;

private:
    struct Piece {
        std::shared_ptr<const void> owner;
        const char* data;
        size_t size;
    };
    void append_over(std::string_view bytes);
    void close_block();

    std::vector<Piece> closed_;  ///< from `first_` on they are there
    size_t first_ = 0;
    size_t before_ = 0;              ///< bytes in them
    std::shared_ptr<char[]> block_;  ///< grows: from `begin_` to `end_`, its room ends at `limit_`
    char* begin_ = nullptr;
    char* end_ = nullptr;
    char* limit_ = nullptr;
};

}  // namespace obxd
