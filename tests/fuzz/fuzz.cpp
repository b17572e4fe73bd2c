#include "fuzz.hpp"

#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "ox_screen.hpp"

namespace {

bool output_is_terminal = false;

std::string own_file(const char* name) {
    static const std::string directory = "/dev/shm/obx-fuzz." + std::to_string(getpid());
    mkdir(directory.c_str(), 0700);
    atexit([] {
        std::error_code error;
        std::filesystem::remove_all(directory, error);
    });
    return directory + name;
}

/// Bytes of a sequence "ESC [ digits and ; m" at the start of a text, else 0.
size_t colour_length(std::string_view text) {
    if (text.substr(0, 2) != "\x1b[") return 0;
    size_t end = text.find_first_not_of("0123456789;", 2);
    return end != std::string_view::npos && text[end] == 'm' ? end + 1 : 0;
}

}  // namespace

/// Standard output is what the target says it is.
extern "C" int isatty(int fd) {
    return fd == STDOUT_FILENO && output_is_terminal;
}

Printed::Printed(bool terminal) : saved_(stdout) {
    output_is_terminal = terminal;
    ox_out_refresh();
    stdout = open_memstream(&data_, &size_);
    REQUIRE(stdout);
}

Printed::~Printed() {
    restore();
    free(data_);
}

std::string Printed::text() {
    restore();
    return {data_, size_};
}

void Printed::restore() {
    if (!saved_) return;
    fclose(stdout);
    stdout = static_cast<FILE*>(saved_);
    saved_ = nullptr;
    output_is_terminal = false;
    ox_out_refresh();
}

bool steers(std::string_view text) {
    for (size_t i = 0; i < text.size(); i++) {
        auto c = static_cast<uint8_t>(text[i]);
        if (c == '\x1b') {
            size_t length = colour_length(text.substr(i));
            if (length == 0) return true;
            i += length - 1;
        } else if ((c < 0x20 && c != '\n' && c != '\t') || c == 0x7f) {
            return true;
        } else if (c == 0xc2 && i + 1 < text.size() && static_cast<uint8_t>(text[i + 1]) < 0xa0) {
            return true;
        }
    }
    return false;
}

const std::string& file_of(std::string_view bytes) {
    static const std::string path = own_file("/input");
    FILE* file = fopen(path.c_str(), "wb");
    REQUIRE(file && fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size());
    fclose(file);
    return path;
}

const std::string& second_file() {
    static const std::string path = own_file("/second");
    remove(path.c_str());
    return path;
}

const std::string& state_directory() {
    static const std::string path = own_file("/state");
    return path;
}
