#include "read.hpp"

#include "ox_tr_names.hpp"
#include "store/answer_text.hpp"
#include "store/live.hpp"
#include "store/params.hpp"
#include "store/walk.hpp"

namespace obxd {
namespace {

struct Reader {
    ListText& list;
    int rank;
    bool ignore_denied;
    std::string denied;  ///< the first name that may not be read

    bool enter(const Place&, const std::string&) const { return !list.full() && denied.empty(); }
    void leave(const Place&) const {}
    void leaf(const Place& place, const std::string& path) {
        if (place.is_method() || list.full()) return;
        if (rank >= place.schema->read_rank) return list.add(path, JsonRef(place_value(place, &path)));
        if (!ignore_denied && denied.empty()) denied = path;
    }
};

}  // namespace

Answer values_get(Model& model, const Caller& caller, const json_t* params, size_t room) {
    ListText list(OX_TR_PARAMETER_LIST, OX_TR_VALUE, room);
    Reader reader{list, caller_rank(caller), param_flag(params, OX_TR_IGNORE_ACCESS_ERROR), {}};
    Answer answer = param_names(params, [&](const char* name) -> Answer {
        bool method = false;
        bool found = places_each(place_top(model), name, [&](const Place& place, const std::string& path) {
            method |= place.is_method();
            if (place.is_object())
                walk<Walk::VALUES>(reader, place, path);
            else
                reader.leaf(place, path);
        });
        if (!found || method) return answer_fault(FAULT_INVALID_NAME, name);
        return reader.denied.empty() ? Answer() : answer_fault(FAULT_REQUEST_DENIED, reader.denied);
    });
    return answer.code ? std::move(answer) : list.end();
}

}  // namespace obxd
