// Building the outcomes of requests.
#pragma once

#include <string>

#include "store.hpp"

namespace obxd {

/// Codes that belong to the message exchange itself.
enum RpcCode : int {
    RPC_PARSE_ERROR = -32700,
    RPC_INVALID_REQUEST = -32600,
    RPC_METHOD_NOT_FOUND = -32601,
    RPC_INVALID_PARAMS = -32602,
};

/// The text that goes with a code in error messages; "Error" for an unknown one.
const char* code_text(int code);

/// Takes over `result` (null: an empty object).
Answer answer_result(json_t* result = nullptr);
Answer answer_fault(int code, std::string detail);
/// Takes over `data`: an object of named extra values.
Answer answer_fault(int code, std::string detail, json_t* data);
/// Drops the references of an answer that nobody will get.
void answer_drop(Answer& answer);

}  // namespace obxd
