#include "requests/response.hpp"

#include "net/framing.hpp"
#include "owners.hpp"

namespace obxd {

namespace {

int append_bytes(const char* data, size_t size, void* text) {
    static_cast<std::string*>(text)->append(data, size);
    return 0;
}

void append_json(std::string& text, const json_t* value) {
    json_dump_callback(value, append_bytes, &text, JSON_COMPACT | JSON_ENCODE_ANY | JSON_REAL_PRECISION(15));
}

void append_error(std::string& text, const Answer& answer) {
    JsonRef error(json_pack("{s:i}", "code", answer.code));
    const char* message = answer.message.empty() ? code_text(answer.code) : answer.message.c_str();
    json_object_set_new(error, "message", json_string(message));
    if (!answer.detail.empty() || json_object_size(answer.data) > 0) {
        JsonRef data(json_object());
        if (!answer.detail.empty())
            json_object_set_new(data, "Detail", json_stringn(answer.detail.data(), answer.detail.size()));
        if (answer.data) json_object_update_missing(data, answer.data);
        json_object_set(error, "data", data);
    }
    text += "\"error\":";
    append_json(text, error);
}

}  // namespace

void response_append(std::string& text, const json_t* id, Answer answer) {
    size_t start = text.size();
    text += "{\"jsonrpc\":\"2.0\",\"id\":";
    append_json(text, id);
    text += ',';
    size_t body = text.size();
    if (answer.code == 0) {
        text += "\"result\":";
        size_t before = text.size();
        append_json(text, answer.result);
        if (text.size() == before) text += "{}";
    } else {
        append_error(text, answer);
    }
    if (text.size() - start + 2 > MAX_MESSAGE) {
        text.resize(body);
        append_error(text, answer_fault(FAULT_RESOURCES, "The answer is longer than 64 MiB"));
    }
    text += "}\n";
    answer_drop(answer);
}

}  // namespace obxd
