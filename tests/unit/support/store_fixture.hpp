// Shared by the store's tests: a loaded test model, and requests written as JSON with single quotes.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "ox_raii.hpp"
#include "store/store.hpp"

inline JsonRef json_of(std::string text) {
    std::replace(text.begin(), text.end(), '\'', '"');
    json_error_t error;
    JsonRef json(json_loads(text.c_str(), JSON_DECODE_ANY, &error));
    EXPECT_TRUE(json) << text << ": " << error.text;
    return json;
}

/// A model's text as a file, as long as this is there.
struct ModelText {
    std::string file = testing::TempDir() + "obxd_model_XXXXXX";

    explicit ModelText(const std::string& text) {
        Fd fd(mkstemp(file.data()));
        EXPECT_EQ(write(fd.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    ModelText(const ModelText&) = delete;
    ModelText& operator=(const ModelText&) = delete;
    ~ModelText() { unlink(file.c_str()); }
};

/// The store of a model in JSON with single quotes.
inline std::unique_ptr<obxd::Store> store_of(std::string model, std::string& error) {
    std::replace(model.begin(), model.end(), '\'', '"');
    return obxd::Store::load(ModelText(model).file, error);
}

inline std::string text_of(const json_t* json) {
    if (!json) return "(none)";
    CharsRef dump(json_dumps(json, JSON_COMPACT | JSON_ENCODE_ANY));
    std::string text = dump.get();
    std::replace(text.begin(), text.end(), '"', '\'');
    return text;
}

/// The result of an answer, whether it is a tree or text.
inline JsonRef result_of(const obxd::Answer& answer) {
    return answer.result ? JsonRef(json_incref(answer.result)) : json_of(answer.text.str());
}

/// The outcome as text: the result, or "code detail" with the data behind it.
inline std::string text_of(const obxd::Answer& answer) {
    if (!answer.code) return answer.cut ? "(cut)" : text_of(result_of(answer).get());
    std::string text = std::to_string(answer.code);
    if (!answer.detail.empty()) text += " " + answer.detail;
    return answer.data ? text + " " + text_of(answer.data.get()) : text;
}

/// What a request to set values answers when the one value of that path is refused.
inline std::string refusal(const std::string& path, int code, const std::string& why) {
    return "9003 nothing was set {'" + path + "':{'code':" + std::to_string(code) + ",'message':'" + why +
           "'}}";
}

struct StoreTest : testing::Test {
    std::unique_ptr<obxd::Store> store;
    std::vector<std::string> changes;  ///< what the listener was told
    obxd::Caller guest{"", "guest", false}, user{"u", "user", false}, admin{"a", "admin", false},
        root{"root", "system", true};

    void SetUp() override {
        std::string error;
        store = obxd::Store::load(OBX_SOURCE_DIR "/tests/data/store_model.json", error);
        ASSERT_TRUE(store) << error;
        store->set_listener([this](const obxd::Change& change) {
            if (change.kind == obxd::Change::VALUE)
                changes.push_back(change.path + "=" + text_of(change.value));
            else
                changes.push_back((change.kind == obxd::Change::ADD ? "+" : "-") + change.path + " " +
                                  std::to_string(change.instance));
        });
    }

    std::string get(const std::string& names, const obxd::Caller& caller, bool ignore = false) {
        JsonRef params(json_pack("{s:O, s:b}", "ParameterNames", json_of("[" + names + "]").get(),
                                 "IgnoreAccessError", ignore));
        return text_of(store->get_values(caller, params));
    }
    /// The value alone, or the fault.
    std::string value(const std::string& name) {
        JsonRef params(json_pack("{s:[s]}", "ParameterNames", name.c_str()));
        obxd::Answer answer = store->get_values(root, params);
        if (answer.code) return text_of(answer);
        JsonRef result = result_of(answer);
        json_t* list = json_object_get(result, "ParameterList");
        return text_of(json_object_get(json_array_get(list, 0), "Value"));
    }
    /// Sets from a list like "'Device.X': 1, 'Device.Y': true".
    std::string set(const std::string& values, const obxd::Caller& caller, bool raw = false) {
        JsonRef pairs = json_of("{" + values + "}");
        JsonRef list(json_array());
        const char* key;
        json_t* entry;
        json_object_foreach(pairs.get(), key, entry)
            json_array_append_new(list, json_pack("{s:s, s:O}", "Name", key, "Value", entry));
        JsonRef params(json_pack("{s:O}", "ParameterList", list.get()));
        return text_of(store->set_values(caller, params, raw));
    }
    std::string set(const std::string& values) { return set(values, admin); }

    using Read = obxd::Answer (obxd::Store::*)(const obxd::Caller&, const json_t*, size_t room);
    using Change = obxd::Answer (obxd::Store::*)(const obxd::Caller&, const json_t*);
    std::string ask(Read read, const std::string& params, const obxd::Caller& caller,
                    size_t room = obxd::MAX_MESSAGE) {
        return text_of((store.get()->*read)(caller, json_of(params), room));
    }
    std::string ask(Change change, const std::string& params, const obxd::Caller& caller) {
        return text_of((store.get()->*change)(caller, json_of(params)));
    }
    template <typename Request>
    std::string ask(Request request, const std::string& params) {
        return ask(request, params, admin);
    }
    std::string add(const std::string& object) {
        return ask(&obxd::Store::add_object, "{'ObjectName':'" + object + "'}");
    }
    std::string del(const std::string& object) {
        return ask(&obxd::Store::delete_object, "{'ObjectName':'" + object + "'}");
    }
};
