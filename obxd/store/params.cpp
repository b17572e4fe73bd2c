#include "params.hpp"

#include <string_view>
#include <unordered_set>

#include "ox_tr_names.hpp"

namespace obxd {

const char* param_text(const json_t* params, const char* key, Answer& refused) {
    const char* text = json_string_value(json_object_get(params, key));
    if (!text) refused = answer_fault(FAULT_INVALID_ARGUMENTS, std::string(key) + " is no text");
    return text;
}

bool param_flag(const json_t* params, const char* key) {
    return json_is_true(json_object_get(params, key));
}

bool param_dry_run(const json_t* params, bool& dry, Answer& refused) {
    const json_t* flag = json_object_get(params, OX_TR_DRY_RUN);
    dry = json_is_true(flag);
    if (!flag || json_is_boolean(flag) || json_is_null(flag)) return true;
    refused = answer_fault(FAULT_INVALID_ARGUMENTS, "DryRun is neither true nor false");
    return false;
}

const json_t* param_list(const json_t* params, Answer& refused) {
    const json_t* list = json_object_get(params, OX_TR_PARAMETER_LIST);
    if (json_is_array(list)) return list;
    refused = answer_fault(FAULT_INVALID_ARGUMENTS, "ParameterList is no array");
    return nullptr;
}

Answer param_names(const json_t* params, const std::function<Answer(const char* name)>& visit) {
    const json_t* names = json_object_get(params, OX_TR_PARAMETER_NAMES);
    if (!json_is_array(names)) return answer_fault(FAULT_INVALID_ARGUMENTS, "ParameterNames is no array");
    size_t count = json_array_size(names);
    std::unordered_set<std::string_view> visited;
    for (size_t i = 0; i < count; i++) {
        const char* name = json_string_value(json_array_get(names, i));
        if (!name) return answer_fault(FAULT_INVALID_ARGUMENTS, "ParameterNames holds what is no text");
        if (count > 1 && !visited.insert(name).second) continue;
        Answer answer = visit(name);
        if (answer.code) return answer;
    }
    return {};
}

Answer answer_of(const char* key, json_t* value) {
    return answer_result(json_pack("{s:o}", key, value));
}

void refuse(JsonRef& data, const char* name, int code, const std::string& why) {
    if (!data) data.reset(json_object());
    json_object_set_new(data, name, json_pack("{s:i, s:s}", "code", code, "message", why.c_str()));
}

Answer answer_refused(JsonRef data, std::string detail) {
    return answer_fault(FAULT_INVALID_ARGUMENTS, std::move(detail), data.release());
}

}  // namespace obxd
