// Checks of passwords, whose computing takes long on purpose: what waits for its turn.
#pragma once

#include <stdint.h>

#include <functional>
#include <list>
#include <map>
#include <string>

namespace obxd {

struct PasswordCheck {
    int failures = 0;  ///< wrong ones before it on the same connection: who had fewer is first
    std::string hash, password;
    std::function<void(bool matches)> done;
    std::string source{};  ///< "": local root, which waits for nobody else
};

/// A source that was checked a while ago is forgotten.
struct PasswordSource {
    int64_t last = 0;     ///< when its last check began (ms); the source whose is oldest is first
    int64_t not_yet = 0;  ///< a wrong one makes its next wait until then
};

struct PasswordGate {
    std::list<PasswordCheck> waiting;
    std::map<std::string, PasswordSource> sources;
    int running = 0;
    int running_of_root = 0;
    bool timed = false;  ///< a timer will start the next
};

}  // namespace obxd
