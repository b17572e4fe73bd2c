#include "device/clock.hpp"

#include <stdio.h>

namespace obxd {

std::string time_text() {
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    return time_text(now);
}

std::string time_text(const timespec& now) {
    tm parts;
    gmtime_r(&now.tv_sec, &parts);
    char text[64];
    size_t used = strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
    snprintf(text + used, sizeof text - used, ".%06ldZ", now.tv_nsec / 1000);
    return text;
}

}  // namespace obxd
