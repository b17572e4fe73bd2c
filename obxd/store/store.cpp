#include "store.hpp"

#include "impl.hpp"

namespace obxd {

const char* fault_text(int code) {
    switch (code) {
        case FAULT_METHOD_NOT_SUPPORTED:
            return "Method not supported";
        case FAULT_REQUEST_DENIED:
            return "Request denied";
        case FAULT_INTERNAL:
            return "Internal error";
        case FAULT_INVALID_ARGUMENTS:
            return "Invalid arguments";
        case FAULT_RESOURCES:
            return "Resources exceeded";
        case FAULT_INVALID_NAME:
            return "Invalid parameter name";
        case FAULT_INVALID_TYPE:
            return "Invalid parameter type";
        case FAULT_INVALID_VALUE:
            return "Invalid parameter value";
        case FAULT_NOT_WRITABLE:
            return "Attempt to set a non-writable parameter";
        default:
            return "Failure";
    }
}

Answer fault(int code, std::string detail) {
    Answer answer;
    answer.code = code;
    answer.message = fault_text(code);
    answer.detail = std::move(detail);
    if (code == FAULT_INVALID_NAME && answer.detail.empty()) answer.detail = "the name is empty";
    return answer;
}

Store::Store() : impl_(new Impl) {}
Store::~Store() = default;

void Store::set_listener(std::function<void(const Change&)> listener) {
    impl_->listener = std::move(listener);
}

}  // namespace obxd
