#include "requests/response.hpp"

#include "bounds.hpp"
#include "json_text.hpp"
#include "owners.hpp"

namespace obxd {

namespace {

void append_error(Text& text, const Answer& answer) {
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
    text.append("\"error\":");
    json_put(text, error);
}

}  // namespace

Text response_text(const json_t* id, Answer answer) {
    Text head;
    head.append("{\"jsonrpc\":\"2.0\",\"id\":");
    json_put(head, id);
    head.append(',');
    Text body;
    if (answer.code == 0) {
        body.append("\"result\":");
        if (!answer.result)
            body.append(answer.text.empty() && !answer.cut ? "{}" : "");
        else if (!json_put(body, answer.result))
            answer = answer_fault(FAULT_INTERNAL, "");
        body.append(std::move(answer.text));
    }
    if (answer.cut || head.size() + body.size() + 2 > MAX_MESSAGE)
        answer = answer_fault(FAULT_RESOURCES, "The answer is longer than 64 MiB");
    if (answer.code != 0) append_error(body = Text(), answer);
    head.append(std::move(body));
    head.append("}\n");
    return head;
}

}  // namespace obxd
