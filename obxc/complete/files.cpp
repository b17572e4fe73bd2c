#include "complete/files.hpp"

#include <dirent.h>
#include <limits.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "line/quote.hpp"
#include "ox_home.hpp"
#include "ox_memory.hpp"
#include "ox_raii.hpp"
#include "ox_string.hpp"

namespace {

enum { DIRECTORY_SIZE = 4096 };

/// What is looked for in each directory.
struct Search {
    const char* prefix;
    size_t prefix_length;
    int access_mode;  // what access() must grant
    TypedWord typed;
    json_t* seen;  // the candidates that were found already, as keys
    Candidates candidates;
};

struct DirRef {
    DIR* handle;
    explicit DirRef(const char* path) : handle(opendir(path)) {}
    ~DirRef() {
        if (handle) closedir(handle);
    }
    DirRef(const DirRef&) = delete;
    DirRef& operator=(const DirRef&) = delete;
};

bool has_control_characters(const char* name) {
    for (; *name != '\0'; ++name) {
        if (static_cast<unsigned char>(*name) < ' ' || *name == 0x7f) return true;
    }
    return false;
}

void offer_entry(const Search& search, const char* directory, const char* name) {
    if (strncmp(name, search.prefix, search.prefix_length) != 0) return;
    if (strcmp(name, ".") == 0 || strcmp(name, "..") == 0 || has_control_characters(name)) return;
    char path[DIRECTORY_SIZE + NAME_MAX + 2];
    snprintf(path, sizeof path, "%s/%s", directory, name);
    struct stat status;
    if (access(path, search.access_mode) != 0) return;
    bool is_directory = stat(path, &status) == 0 && S_ISDIR(status.st_mode);
    CharsRef whole(is_directory ? ox_str_printf_new("%s/", name) : ox_memory_text(name));
    JsonRef candidate(quoted_candidate(search.typed, whole, search.prefix_length, !is_directory));
    const char* text = json_string_value(candidate);  // null where the name is no UTF-8
    if (!text || json_object_get(search.seen, text)) return;
    json_object_set(search.seen, text, candidate);
    json_array_append(search.candidates.texts, candidate);
}

void offer_directory(const Search& search, const char* path) {
    DirRef directory(path);
    if (!directory.handle) return;
    while (!candidates_full(search.candidates)) {
        struct dirent* entry = readdir(directory.handle);
        if (!entry) return;
        offer_entry(search, path, entry->d_name);
    }
}

void offer_path_directories(const Search& search) {
    const char* path = getenv("PATH");
    if (!path) return;
    CharsRef copy(ox_memory_text(path));
    char* state = nullptr;
    for (char* part = strtok_r(copy, ":", &state); part; part = strtok_r(nullptr, ":", &state)) {
        if (strlen(part) < DIRECTORY_SIZE) offer_directory(search, part);
    }
}

/// The directory that a text names, up to and including its last "/"; false when it is too long.
bool directory_of(const char* text, const char* slash, char out[DIRECTORY_SIZE]) {
    if (!slash) return getcwd(out, DIRECTORY_SIZE) != nullptr;
    CharsRef typed(ox_memory_text_n(text, static_cast<size_t>(slash - text) + 1));
    CharsRef directory(ox_home_expand(typed));
    return ox_string_strlcpy(out, directory, DIRECTORY_SIZE) < DIRECTORY_SIZE;
}

/// The homes of users, for a text of "~" and the start of a name.
void offer_homes(const Search& search) {
    JsonRef homes(json_array());
    ox_home_users(search.prefix + 1, homes);
    size_t index;
    json_t* home;
    json_array_foreach(homes, index, home) {
        const char* text = json_string_value(home);
        if (!text || candidates_full(search.candidates)) continue;
        json_t* candidate = quoted_candidate(search.typed, text, search.prefix_length, false);
        json_array_append_new(search.candidates.texts, candidate);
    }
}

void offer_entries(const TypedLine& line, bool programs) {
    const char* text = line.current ? line.current : "";
    const char* slash = programs ? nullptr : strrchr(text, '/');
    const char* prefix = slash ? slash + 1 : text;
    JsonRef seen(json_object());
    Search search = {prefix, strlen(prefix), programs ? X_OK : F_OK, typed_word(line.text, '/'),
                     seen,   line.candidates};
    if (programs) {
        offer_path_directories(search);
    } else {
        char directory[DIRECTORY_SIZE];
        if (!directory_of(text, slash, directory)) return;
        offer_directory(search, directory);
        if (!slash && *prefix == '~') offer_homes(search);
    }
    candidates_sort(line.candidates, OX_SORT_ASCENDING);
}

}  // namespace

void offer_files(const TypedLine& line, const Offer& /*offer*/) {
    offer_entries(line, false);
}

void offer_programs(const TypedLine& line, const Offer& /*offer*/) {
    offer_entries(line, line.count < 2);
}
