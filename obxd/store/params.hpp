// What requests to the model have in common: reading their members, and the lists they are answered with.
#pragma once

#include <jansson.h>

#include <functional>
#include <string>

#include "answers.hpp"
#include "owners.hpp"

namespace obxd {

/// A member that must be a text; null, with `refused` filled, when it is none.
const char* param_text(const json_t* params, const char* key, Answer& refused);
/// Whether a member is true.
bool param_flag(const json_t* params, const char* key);
/// Reads whether the request is a dry run. False, with `refused` filled, where that is neither true nor
/// false.
bool param_dry_run(const json_t* params, bool& dry, Answer& refused);
/// The ParameterList, which must be an array; null, with `refused` filled, when it is none.
const json_t* param_list(const json_t* params, Answer& refused);
/// Calls `visit` with each of the ParameterNames, once where it stands there several times, until it gives a
/// fault: that one, or that of a member that is no list of names, or code 0.
Answer param_names(const json_t* params, const std::function<Answer(const char* name)>& visit);

/// The answer {`key`: `value`}; takes over `value`.
Answer answer_of(const char* key, json_t* value);

/// Notes in `data` (made where it is null) why the named value is refused.
void refuse(JsonRef& data, const char* name, int code, const std::string& why);
/// The fault with what was noted.
Answer answer_refused(JsonRef data, std::string detail);

}  // namespace obxd
