// The outcomes of requests, and how they are built.
#pragma once

#include <jansson.h>

#include <functional>
#include <string>

#include "owners.hpp"
#include "text.hpp"

namespace obxd {

/// Fault codes of the wire protocol.
enum FaultCode : int {
    FAULT_METHOD_NOT_SUPPORTED = 9000,
    FAULT_REQUEST_DENIED = 9001,
    FAULT_INTERNAL = 9002,
    FAULT_INVALID_ARGUMENTS = 9003,
    FAULT_RESOURCES = 9004,
    FAULT_INVALID_NAME = 9005,
    FAULT_INVALID_TYPE = 9006,
    FAULT_INVALID_VALUE = 9007,
    FAULT_NOT_WRITABLE = 9008,
    FAULT_TRANSFER = 9010,
    FAULT_UPLOAD = 9012,
    FAULT_PROTOCOL = 9013,
    FAULT_CORRUPTED = 9018,
};

/// Codes that belong to the message exchange itself.
enum RpcCode : int {
    RPC_PARSE_ERROR = -32700,
    RPC_INVALID_REQUEST = -32600,
    RPC_METHOD_NOT_FOUND = -32601,
    RPC_INVALID_PARAMS = -32602,
};

/// The outcome of a request: a result (a value, or its JSON text), or a fault with its text, detail and extra
/// values.
struct Answer {
    JsonRef result{};
    Text text;         ///< the result where it was written at once; `result` is null then
    bool cut = false;  ///< `text` grew beyond the room that there was for it, and was given up
    int code = 0;
    std::string message;
    std::string detail;
    JsonRef data{};  ///< object of named extra values, or null
};

/// Takes the outcome of a request, at once or later.
using Reply = std::function<void(Answer)>;

/// The text that goes with a code in error messages; "Error" for an unknown one.
const char* code_text(int code);

/// Takes over `result` (null: an empty object).
Answer answer_result(json_t* result = nullptr);
/// The result as JSON text.
Answer answer_text(Text text);
Answer answer_fault(int code, std::string detail);
/// Takes over `data`: an object of named extra values.
Answer answer_fault(int code, std::string detail, json_t* data);

}  // namespace obxd
