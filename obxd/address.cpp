#include "address.hpp"

#include <stdlib.h>

namespace obxd {

bool split_host_port(const std::string& text, std::string& host, int& port) {
    size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon + 1 == text.size()) return false;
    std::string name = text.substr(0, colon);
    if (name.size() >= 2 && name.front() == '[' && name.back() == ']') {
        name = name.substr(1, name.size() - 2);
    } else if (name.find(':') != std::string::npos) {
        return false;
    }
    const char* digits = text.c_str() + colon + 1;
    char* end = nullptr;
    long number = strtol(digits, &end, 10);
    if (*digits < '0' || *digits > '9' || *end || number > 65535) return false;
    host = name == "*" ? "" : name;
    port = static_cast<int>(number);
    return true;
}

}  // namespace obxd
