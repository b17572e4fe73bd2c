// The values of a path, asked for at once or, where that is too much for an answer, in parts.
#pragma once

#include "commands/value_list.hpp"
#include "ox_jrpcmsg.hpp"
#include "ox_raii.hpp"

/// What was asked for, and what came.
struct ValueRequest {
    const char* query;          ///< the path as it is sent
    bool ignore_access_errors;  ///< leave out what may not be read
    int timeout_ms;
    ValueList values = ValueList();
    MsgRef failure = MsgRef();    ///< the answer, when it was an error and nothing came, or null
    JsonRef refused = JsonRef();  ///< names of what is too large for an answer of its own, or null
    MsgRef refusal = MsgRef();    ///< what was said of the last one
};

/// Asks for the values. An answer that is too large is asked for again by its children, and by theirs.
void values_request(ValueRequest* request);
