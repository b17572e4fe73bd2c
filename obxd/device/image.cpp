#include "device/image.hpp"

#include <ctype.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <memory>
#include <string_view>

#include "digest.hpp"

namespace obxd {

namespace {

constexpr std::string_view MAGIC = "OBXFW 1\n";
constexpr size_t MAX_HEADER = 4096;
constexpr size_t MAX_VERSION = 64;
constexpr size_t DIGEST = 64;  // digits
constexpr std::string_view ALSO = "._+-";

struct CloseFile {
    void operator()(FILE* file) const { fclose(file); }
};
using FilePtr = std::unique_ptr<FILE, CloseFile>;

bool wrong(std::string& error, std::string what) {
    error = std::move(what);
    return false;
}

void set_field(Image& image, std::string_view line) {
    size_t colon = line.find(": ");
    if (colon == std::string_view::npos) return;
    std::string value(line.substr(colon + 2));
    std::string_view name = line.substr(0, colon);
    if (name == "Version") image.version = value;
    if (name == "SHA256") image.digest = value;
    if (name == "Size") image.size = strtoull(value.c_str(), nullptr, 10);
}

// Leaves the file at the payload's first byte.
bool read_header(FILE* file, Image& image) {
    char block[MAX_HEADER];
    size_t got = fread(block, 1, sizeof block, file);
    std::string_view text(block, got);
    size_t end = text.find("\n\n");
    if (!text.starts_with(MAGIC) || end == std::string_view::npos) return false;
    std::string_view fields = text.substr(MAGIC.size(), end + 1 - MAGIC.size());
    while (!fields.empty()) {
        size_t line = fields.find('\n');
        set_field(image, fields.substr(0, line));
        fields.remove_prefix(line + 1);
    }
    if (!version_ok(image.version) || image.digest.size() != DIGEST) return false;
    return fseek(file, static_cast<long>(end + 2), SEEK_SET) == 0;
}

// The digest and size of the rest of the file. False when it cannot be read.
bool digest_rest(FILE* file, std::string& digest, uint64_t& size) {
    Digest sum("SHA256");
    unsigned char block[16384];
    size_t got = 0;
    size = 0;
    while ((got = fread(block, 1, sizeof block, file)) > 0) {
        sum.add(block, got);
        size += got;
    }
    digest = sum.end();
    return !ferror(file);
}

bool copy_rest(FILE* from, FILE* to) {
    char block[16384];
    size_t got = 0;
    while ((got = fread(block, 1, sizeof block, from)) > 0) {
        if (fwrite(block, 1, got, to) != got) return false;
    }
    return !ferror(from) && fflush(to) == 0;
}

}  // namespace

bool version_ok(std::string_view version) {
    if (version.empty() || version.size() > MAX_VERSION) return false;
    for (char c : version) {
        if (!isalnum(static_cast<unsigned char>(c)) && ALSO.find(c) == ALSO.npos) return false;
    }
    return true;
}

bool image_check(const std::string& file, Image& image, std::string& error) {
    FilePtr in(fopen(file.c_str(), "rbe"));
    if (!in) return wrong(error, "The image cannot be read");
    image = Image();
    if (!read_header(in.get(), image))
        return wrong(error, "No firmware image: the header is missing or wrong");
    std::string digest;
    uint64_t size = 0;
    if (!digest_rest(in.get(), digest, size)) return wrong(error, "The image cannot be read");
    if (size != image.size)
        return wrong(error, "The image is " + std::to_string(size) + " bytes long, its header says " +
                                std::to_string(image.size));
    if (digest != image.digest) return wrong(error, "The image's checksum is wrong");
    return true;
}

bool image_make(const std::string& version, const std::string& payload, const std::string& file,
                std::string& error) {
    if (!version_ok(version))
        return wrong(error, "\"" + version + "\" is no version: letters, digits, . _ + -");
    FilePtr in(fopen(payload.c_str(), "rbe"));
    std::string digest;
    uint64_t size = 0;
    if (!in || !digest_rest(in.get(), digest, size)) return wrong(error, payload + ": " + strerror(errno));
    rewind(in.get());
    FilePtr out(fopen(file.c_str(), "wbe"));
    if (!out) return wrong(error, file + ": " + strerror(errno));
    fprintf(out.get(), "%sVersion: %s\nSize: %llu\nSHA256: %s\n\n", MAGIC.data(), version.c_str(),
            static_cast<unsigned long long>(size), digest.c_str());
    if (!copy_rest(in.get(), out.get())) return wrong(error, file + ": " + strerror(errno));
    return true;
}

}  // namespace obxd
