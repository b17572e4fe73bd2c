#include "options.hpp"

#include <gtest/gtest.h>

#include "address.hpp"

// clang-format off

namespace {

using namespace obxd;

bool parse(std::vector<const char*> words, Options& options, std::string& error) {
    words.insert(words.begin(), "obxd");
    words.push_back(nullptr);
    return options_parse(static_cast<int>(words.size()) - 1, const_cast<char* const*>(words.data()), options, error);
}

TEST(ObxdOptions, AreTaken) {
    Options options;
    std::string error;
    ASSERT_TRUE(parse({"--socket", "/s", "--listen", "[::1]:80", "--tls-cert", "c", "--tls-key", "k", "--model", "m",
                       "--state", "d", "--users", "u", "--reboot-ms", "1", "--flash-ms", "2"}, options, error));
    EXPECT_EQ(options.socket, "/s");
    EXPECT_EQ(options.listen_host, "::1");
    EXPECT_EQ(options.listen_port, 80);
    EXPECT_EQ(options.tls_cert + options.tls_key + options.model + options.state_dir + options.users, "ckmdu");
    EXPECT_EQ(options.reboot_ms, 1);
    EXPECT_EQ(options.flash_ms, 2);
}

TEST(ObxdOptions, BoundsAndDirectories) {
    Options options;
    std::string error;
    ASSERT_TRUE(parse({"--max-connections", "9", "--max-guests", "5", "--max-per-source", "2", "--guest-idle", "0",
                       "--upload-dir", "/a", "--upload-dir", "/b"}, options, error));
    EXPECT_EQ(options.bounds.connections, 9);
    EXPECT_EQ(options.bounds.guests, 5);
    EXPECT_EQ(options.bounds.per_source, 2);
    EXPECT_EQ(options.bounds.guest_idle_s, 0);
    EXPECT_EQ(options.upload_dirs, (std::vector<std::string>{"/a", "/b"}));
}

TEST(ObxdOptions, Defaults) {
    Options options;
    std::string error;
    ASSERT_TRUE(parse({}, options, error));
    EXPECT_EQ(options.socket, "/var/run/obxd.sock");
    EXPECT_EQ(options.listen_port, -1);
}

TEST(ObxdOptions, MistakesGetOneLine) {
    const struct {
        std::vector<const char*> words;
        const char* error;
    } rows[] = {
        {{"--wrong"}, "unknown option \"--wrong\""},
        {{"-x"}, "unknown option \"-x\""},
        {{"--socket"}, "--socket needs an argument"},
        {{"--socket", ""}, "--socket needs a path"},
        {{"word"}, "unexpected argument \"word\""},
        {{"--listen", "80"}, "--listen: \"80\" is no HOST:PORT"},
        {{"--listen", "h:"}, "--listen: \"h:\" is no HOST:PORT"},
        {{"--listen", "h:x"}, "--listen: \"h:x\" is no HOST:PORT"},
        {{"--listen", "h:65536"}, "--listen: \"h:65536\" is no HOST:PORT"},
        {{"--listen", "::1:80"}, "--listen: \"::1:80\" is no HOST:PORT"},
        {{"--tls-cert", "c"}, "--tls-cert and --tls-key go together"},
        {{"--tls-key", "k"}, "--tls-cert and --tls-key go together"},
        {{"--reboot-ms", "-1"}, "--reboot-ms: \"-1\" is no number of milliseconds up to 600000"},
        {{"--flash-ms", "1s"}, "--flash-ms: \"1s\" is no number of milliseconds up to 600000"},
        {{"--max-connections", "0"}, "--max-connections: \"0\" is no number from 1 to 100000"},
        {{"--max-guests", "x"}, "--max-guests: \"x\" is no number from 1 to 100000"},
        {{"--max-per-source", "1e3"}, "--max-per-source: \"1e3\" is no number from 1 to 100000"},
        {{"--guest-idle", "-1"}, "--guest-idle: \"-1\" is no number from 0 to 86400"},
        {{"--make-image", "1.0", "payload"}, "--make-image needs VERSION, PAYLOAD and OUT"},
    };
    for (const auto& row : rows) {
        Options options;
        std::string error;
        EXPECT_FALSE(parse(row.words, options, error)) << row.error;
        EXPECT_EQ(error, row.error);
    }
}

TEST(ObxdOptions, HelpAndVersionWinOverWhatFollows) {
    Options options;
    std::string error;
    ASSERT_TRUE(parse({"--help", "--wrong"}, options, error));
    EXPECT_EQ(options.action, Options::HELP);
    ASSERT_TRUE(parse({"--version"}, options, error));
    EXPECT_EQ(options.action, Options::VERSION);
}

TEST(HostPort, Forms) {
    const struct {
        const char *text, *host;
        int port;
    } rows[] = {{"h:1", "h", 1}, {":0", "", 0}, {"*:7", "", 7}, {"[::]:9", "::", 9}, {"127.0.0.1:65535", "127.0.0.1", 65535}};
    for (const auto& row : rows) {
        std::string host;
        int port = -1;
        ASSERT_TRUE(split_host_port(row.text, host, port)) << row.text;
        EXPECT_EQ(host, row.host);
        EXPECT_EQ(port, row.port);
    }
}

}  // namespace
