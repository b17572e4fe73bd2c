// What the fuzz targets share: their input cut into pieces, what code prints, bytes as a file.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>

#include <string>
#include <string_view>

/// What must hold, whatever the input is.
#define REQUIRE(condition)         \
    do {                           \
        if (!(condition)) abort(); \
    } while (0)

/// The input of one run, taken piece by piece from the front.
class Input {
public:
    Input(const uint8_t* data, size_t size) : left_(reinterpret_cast<const char*>(data), size) {}

    /// A number below `bound`; 0 where nothing is left.
    unsigned number(unsigned bound) {
        if (left_.empty()) return 0;
        unsigned value = static_cast<uint8_t>(left_[0]) % bound;
        left_.remove_prefix(1);
        return value;
    }
    /// The text up to the next `end`, which is passed over.
    std::string text(char end = '\n') {
        size_t length = left_.find(end);
        std::string found(left_.substr(0, length));
        left_.remove_prefix(length == std::string_view::npos ? left_.size() : length + 1);
        return found;
    }
    bool left() const { return !left_.empty(); }
    std::string rest() {
        std::string all(left_);
        left_ = {};
        return all;
    }

private:
    std::string_view left_;
};

/// Collects what is written to standard output, which is a terminal meanwhile or not.
class Printed {
public:
    explicit Printed(bool terminal);
    Printed(const Printed&) = delete;
    Printed& operator=(const Printed&) = delete;
    ~Printed();
    std::string text();

private:
    void restore();
    void* saved_;  ///< the real standard output
    char* data_ = nullptr;
    size_t size_ = 0;
};

/// Whether a text could steer a terminal: control characters other than newlines and tabs, C1 ones included,
/// but for the escape sequences that set colours.
bool steers(std::string_view text);

/// Writes the bytes to a file of this process's own, always the same, in memory; returns its path.
const std::string& file_of(std::string_view bytes);
/// Another such file, which is not there at first.
const std::string& second_file();
/// A directory of this process's own, in memory, that is not there at first.
const std::string& state_directory();
