// A small model, the command table and the cache, as completion and hints find them.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>

#include "commands/completion.hpp"
#include "commands/navigate.hpp"
#include "complete/files.hpp"
#include "model/cache.hpp"
#include "model/changes.hpp"
#include "model/current.hpp"
#include "model/node_fetch.hpp"
#include "model_daemon.hpp"
#include "ox_jrpcevents.hpp"
#include "ox_raii.hpp"
#include "platform/global/jrpc/connection.hpp"
#include "session/interrupt.hpp"

using Texts = std::vector<std::string>;

inline Texts texts(const json_t* list) {
    Texts out;
    size_t index;
    json_t* item;
    json_array_foreach(list, index, item) out.push_back(json_string_value(item));
    return out;
}

inline Texts complete(const std::string& line, int cursor = -1) {
    JsonRef found(json_array());
    testing::internal::CaptureStdout();
    complete_line(line.c_str(), cursor < 0 ? static_cast<int>(line.size()) : cursor, found);
    fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << line;
    return texts(found);
}

inline std::string hint_at_once(const char* line) {
    CharsRef text(hint_line(line));
    return text ? text.get() : "(none)";
}

/// Waits for what hints have asked for.
inline void answers_come() {
    while (request_channel->underway) ox_jrpcapi_pump(20);
    while (hint_continue()) {
    }
}

/// The hint when everything that it asks for is answered.
inline std::string hint(const char* line) {
    std::string text = hint_at_once(line);
    while (request_channel->underway || fetch_goes_on()) {
        answers_come();
        text = hint_at_once(line);
    }
    return text;
}

class Complete : public testing::Test {
protected:
    ModelDaemon daemon;
    void SetUp() override {
        small_router(daemon);
        interrupt_init();
        ASSERT_NE(dm_reload(), nullptr);
        cd_command("cd", nullptr);
    }
    void TearDown() override {
        json_decref(pending_model_events);
        pending_model_events = nullptr;
        path_free(&current_path);
        path_free(&previous_path);
        current_path = {};
        previous_path = {};
        dm_free();
    }
    static void cd(const char* path) {
        JsonRef args(json_pack("[s]", path));
        ASSERT_EQ(cd_command("cd", args), 0);
    }
    static void event(const char* action, const char* path, int number) {
        if (!pending_model_events) pending_model_events = json_array();
        json_array_append_new(pending_model_events, json_pack("{s:s,s:s,s:i}", "Action", action, "Path", path,
                                                              "InstanceNumber", number));
    }
    /// The requests since the last call that are about this name.
    long asked(const char* name) {
        Texts requests = daemon.take_requests();
        return std::count_if(requests.begin(), requests.end(),
                             [&](const std::string& r) { return r.find(name) != std::string::npos; });
    }
};
