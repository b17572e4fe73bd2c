#include "session/patience.hpp"

#include <stdio.h>

#include "ox_jrpcapi.hpp"
#include "ox_note.hpp"

namespace {

void tell(const char* what) {
    char text[160];
    if (what) snprintf(text, sizeof(text), "Waiting for the daemon (%s). Ctrl-C leaves.", what);
    ox_rl_note(what ? text : nullptr);
}

}  // namespace

void patience_init(void) {
    ox_jrpcapi_on_slow(tell);
}

void patience_leave(void) {
    if (ox_rl_note(nullptr)) fputs("^C", stdout);
}
