#include "session/recording.hpp"

#include <stdio.h>
#include <string.h>

#include "ox_fs.hpp"
#include "ox_history.hpp"
#include "ox_home.hpp"
#include "ox_raii.hpp"
#include "ox_string.hpp"
#include "session/prompt.hpp"

bool recording = false;
unsigned record_lines = 0;

namespace {

char record_path[256];

}  // namespace

int record_abort(const char* name) {
    if (!recording) {
        printf("%s: no record found.\n", name);
        return -1;
    }
    recording = false;
    prompt_set_mode(nullptr);
    return 0;
}

int record_start(const char* name, const char* path) {
    if (recording) {
        printf("%s: already recording.\n", name);
        return -1;
    }
    CharsRef place(ox_home_expand(path));
    if (strlen(place) >= sizeof(record_path) || ox_fs_touch(place) < 0) {
        printf("%s: can't create record file %s.\n", name, path);
        return -1;
    }
    recording = true;
    record_lines = 0;
    ox_string_strlcpy(record_path, place, sizeof(record_path));
    prompt_set_mode("record");
    return 0;
}

void record_stop(void) {
    if (ox_history_dump(record_path, static_cast<int>(record_lines)) < 0) {
        printf("record: can't write record file %s.\n", record_path);
    }
    recording = false;
    prompt_set_mode(nullptr);
}
