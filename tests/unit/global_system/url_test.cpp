// URLs.
#include <gtest/gtest.h>
#include <string.h>

#include <string>

#include "ox_url.hpp"

namespace {

std::string part(const ox_url_part& piece) {
    return piece.text ? std::string(piece.text, piece.length) : "-";
}

struct Url {
    const char* text;
    const char* parts;  ///< null: no URL
};

TEST(Url, PartsOfUrls) {
    const Url rows[] = {
        {"http://host/a/b", "http - - host 0 /a/b"},
        {"https://user:pa:ss@host:8443/", "https user pa:ss host 8443 /"},
        {"ftp://user@host", "ftp user - host 0 -"},
        {"tftp://[fe80::1]:69/x", "tftp - - fe80::1 69 /x"},
        {"file:///etc/x", "file - -  0 /etc/x"},
        {"netcat://192.0.2.1:40000", "netcat - - 192.0.2.1 40000 -"},
        {"a+b.c-d://h", "a+b.c-d - - h 0 -"},
        {"http://a@b@host/", "http a@b - host 0 /"},
        {"http://host:/x", "http - - host 0 /x"},
        {"http://host?q=1", "http - - host?q=1 0 -"},
        {"", nullptr},
        {"fw.bin", nullptr},
        {"/tmp/a://b", nullptr},
        {"://host", nullptr},
        {"1http://host", nullptr},
        {"ht_tp://host", nullptr},
        {"http:/host", nullptr},
        {"http://", nullptr},
        {"http://host:99999/", nullptr},
        {"http://host:1x/", nullptr},
        {"http://[::1/", nullptr},
        {"http://:80/", nullptr},
    };
    for (const Url& row : rows) {
        ox_url url;
        bool fine = ox_url_parse_mem(&url, row.text, strlen(row.text)) != 0;
        EXPECT_EQ(fine, row.parts != nullptr) << row.text;
        if (!fine || !row.parts) continue;
        std::string parts = part(url.scheme) + " " + part(url.user) + " " + part(url.password) + " " +
                            part(url.host) + " " + std::to_string(url.port) + " " + part(url.path);
        EXPECT_EQ(parts, row.parts) << row.text;
    }
    ox_url url;
    EXPECT_EQ(ox_url_parse_mem(&url, "http://host/path", 8), 1);  // only what the length covers
    EXPECT_EQ(part(url.host), "h");
    EXPECT_EQ(ox_url_parse_mem(&url, nullptr, 0), 0);
    EXPECT_EQ(ox_url_parse_mem(&url, "ht\0p://host", 11), 0);
}

}  // namespace
