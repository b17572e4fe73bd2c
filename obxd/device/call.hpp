// One call of a method of the model.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "device/device.hpp"
#include "owners.hpp"

namespace obxd {

/// One call of a method, kept until it is finished.
struct Call {
    Device& device;
    uint64_t boots;    ///< the device's boot in which it began
    std::string path;  ///< of the method
    JsonRef inputs;    ///< object of relative name to value, complete and checked
    Caller caller;
    Reply reply;
    bool async = false;     ///< the outcome is told in an event
    bool answered = false;  ///< the request was answered
    bool waits = false;     ///< an async call whose answer waits a while for the outcome
};
using CallPtr = std::shared_ptr<Call>;

/// Answers an async call that was not answered yet, which says no more than that it began.
void call_began(Call& call);
/// Ends a call with its output parameters (object of relative name to value; taken over).
void call_finish(const CallPtr& call, json_t* outputs);
void call_fail(const CallPtr& call, int code, const std::string& detail);
/// Runs `work` on a thread and `done` on the loop. The call fails when too many run already.
void call_job(const CallPtr& call, std::function<void()> work, std::function<void()> done);

/// The object that the call's method stands in, without the final ".".
std::string call_object(const CallPtr& call);
const char* call_text(const CallPtr& call, const char* name, const char* otherwise);
int64_t call_number(const CallPtr& call, const char* name, int64_t otherwise);

}  // namespace obxd
