#include "answers.hpp"

namespace obxd {

namespace {

constexpr struct {
    int code;
    const char* text;
} CODE_TEXTS[] = {
    {RPC_PARSE_ERROR, "Parse error"},
    {RPC_INVALID_REQUEST, "Invalid request"},
    {RPC_METHOD_NOT_FOUND, "Method not found"},
    {RPC_INVALID_PARAMS, "Invalid params"},
    {FAULT_METHOD_NOT_SUPPORTED, "Method not supported"},
    {FAULT_REQUEST_DENIED, "Request denied"},
    {FAULT_INTERNAL, "Internal error"},
    {FAULT_INVALID_ARGUMENTS, "Invalid arguments"},
    {FAULT_RESOURCES, "Resources exceeded"},
    {FAULT_INVALID_NAME, "Invalid parameter name"},
    {FAULT_INVALID_TYPE, "Invalid parameter type"},
    {FAULT_INVALID_VALUE, "Invalid parameter value"},
    {FAULT_NOT_WRITABLE, "Attempt to set a non-writable parameter"},
    {FAULT_TRANSFER, "File transfer failure"},
    {FAULT_UPLOAD, "Upload failure"},
    {FAULT_PROTOCOL, "Unsupported protocol for file transfer"},
    {FAULT_CORRUPTED, "File corrupted"},
};

/// A detail that repeats what a client sent is no answer of its size.
constexpr size_t DETAIL_MAX = 4096;

std::string shortened(std::string detail) {
    if (detail.size() <= DETAIL_MAX) return detail;
    size_t size = DETAIL_MAX;
    while (size > 0 && (detail[size] & 0xc0) == 0x80) size--;  // not in the middle of a character
    detail.resize(size);
    return detail + "...";
}

}  // namespace

const char* code_text(int code) {
    for (const auto& row : CODE_TEXTS) {
        if (row.code == code) return row.text;
    }
    return "Error";
}

Answer answer_result(json_t* result) {
    Answer answer;
    answer.result.reset(result ? result : json_object());
    return answer;
}

Answer answer_text(Text text) {
    Answer answer;
    answer.text = std::move(text);
    return answer;
}

Answer answer_fault(int code, std::string detail) {
    return answer_fault(code, std::move(detail), nullptr);
}

Answer answer_fault(int code, std::string detail, json_t* data) {
    Answer answer;
    answer.code = code;
    answer.message = code_text(code);
    answer.detail =
        code == FAULT_INVALID_NAME && detail.empty() ? "the name is empty" : shortened(std::move(detail));
    answer.data.reset(data);
    return answer;
}

}  // namespace obxd
