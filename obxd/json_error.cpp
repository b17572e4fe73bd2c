#include "json_error.hpp"

namespace obxd {

std::string json_error_text(const json_error_t& error) {
    std::string text = error.text;
    return error.line > 0 ? text.substr(0, text.find(" near ")) : text;
}

}  // namespace obxd
