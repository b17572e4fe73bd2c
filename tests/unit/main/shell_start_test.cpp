// The start of the shell when memory for the model's root is refused.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "main/shell_loop.hpp"
#include "ox_jrpcapi.hpp"
#include "session/channels.hpp"
#include "session/identity.hpp"

namespace {

bool refused = false;

void* refuse_first(size_t size) {
    if (!refused) {
        refused = true;
        return nullptr;
    }
    return malloc(size);
}

TEST(ShellStart, WithoutARootTheShellSaysSoAndEnds) {
    request_channel = ox_jrpcapi_init();
    ox_jrpcapi_set_destination(request_channel, nullptr, "/nonexistent/obxd.sock", OX_SOCKET_LOCAL);
    current_user = strdup("somebody");  // nobody is to be logged in
    testing::internal::CaptureStdout();
    json_set_alloc_funcs(refuse_first, free);
    int result = shell_loop();
    json_set_alloc_funcs(malloc, free);
    fflush(stdout);
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(result, -1);
    const std::string banner = "Enter 'help' or '?' for help, 'q' for exit.\n";
    size_t at = out.find(banner);
    ASSERT_NE(at, std::string::npos);
    EXPECT_EQ(out.substr(at + banner.size()), "Error connecting to OBXD server\n");
    identity_free();
    ox_jrpcapi_deinit(request_channel);
    request_channel = nullptr;
}

}  // namespace
