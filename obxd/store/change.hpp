// What a change of the model did, as those are told who listen.
#pragma once

#include <jansson.h>
#include <stdint.h>

#include <string>

namespace obxd {

struct Change {
    enum Kind { VALUE, ADD, DELETE } kind;
    std::string path;   ///< VALUE: the parameter; ADD: the multi-instance object; DELETE: the instance;
                        ///< objects end in "."
    uint32_t instance;  ///< ADD and DELETE
    json_t* value;      ///< VALUE: borrowed
};

}  // namespace obxd
