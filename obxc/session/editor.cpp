#include "session/editor.hpp"

#include <errno.h>
#include <stdio.h>
#include <unistd.h>

#include "ox_fs.hpp"
#include "ox_history.hpp"

namespace {

bool history_refused = false;  // the file cannot be used, as was told
bool somebody_types = false;   // as it was when the history was loaded: isatty fails after a hang-up

void tell_refusal(const char* path, int error) {
    fprintf(stderr, "The history is not kept: %s: %s\n", path, ox_fs_reason(error));
    history_refused = true;
}

}  // namespace

void editor_history_load(const char* path) {
    history_refused = false;
    somebody_types = isatty(STDIN_FILENO);
    if (ox_history_load(path) < 0 && somebody_types) tell_refusal(path, errno);
}

void editor_history_save(const char* path) {
    if (!somebody_types || history_refused) return;
    if (ox_history_dump(path, -1) < 0) tell_refusal(path, errno);
}
