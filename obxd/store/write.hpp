// Setting values: all that a request names, or none; and the daemon's own setting.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "answers.hpp"
#include "caller.hpp"
#include "store/model.hpp"

namespace obxd {

/// How values are set.
struct Setting {
    bool raw = false;                     ///< texts are as a person typed them
    bool dry = false;                     ///< all is checked, nothing is set
    std::string row{};                    ///< what names are relative to: a row that is being added
    std::function<void()> accepted = {};  ///< called when all is checked and set, before anybody is told
};

/// Sets what a ParameterList holds, all or none.
Answer values_apply(Model& model, const Caller& caller, const json_t* list, const Setting& how);
/// SetParameterValues; `raw`: values are texts as a person typed them.
Answer values_set(Model& model, const Caller& caller, const json_t* params, bool raw);

/// Sets one value with no permission check and regardless of read-only; takes over `value`; tells the
/// listener. False when there is no such parameter, or the value does not fit it.
bool value_set(Model& model, std::string_view path, json_t* value);
/// Sets the parameters of one object that can be set (not of those below it) to the values of the model file.
/// False when there is no such object.
bool object_reset(Model& model, std::string_view path);

}  // namespace obxd
