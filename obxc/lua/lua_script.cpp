// Lua script files.
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>

#include "lua/lua.hpp"
#include "lua/lua_session.hpp"
#include "ox_raii.hpp"

namespace {

void file_close(FILE* file) {
    if (file) fclose(file);
}
using FileRef = ox_owner<FILE, file_close>;

/// The whole file; null when it cannot be read to its end.
ox_str* read_script(FILE* file) {
    struct stat info;
    bool regular = fstat(fileno(file), &info) == 0 && S_ISREG(info.st_mode);
    ox_str* text = ox_dynarray_init_reserved(regular ? static_cast<size_t>(info.st_size) + 1 : 0);
    char* line = nullptr;
    size_t capacity = 0;
    for (ssize_t length = 0; (length = getline(&line, &capacity, file)) >= 0;) {
        ox_str_add_n(text, line, static_cast<size_t>(length));
    }
    free(line);
    if (!ferror(file)) return text;
    ox_str_free(text);
    return nullptr;
}

/// Empties a first line that begins with "#!"; its newline stays, so that lines keep their numbers.
void cut_first_line(ox_str* text) {
    const char* data = ox_dynarray_get(text);
    if (strncmp(data, "#!", 2) != 0) return;
    const auto* newline = static_cast<const char*>(memchr(data, '\n', ox_str_length(text)));
    if (newline) ox_dynarray_cut(text, 0, static_cast<size_t>(newline - data));
}

}  // namespace

int lua_script_run(const char* path, json_t* args) {
    JsonRef word;
    if (!path) {
        word.reset(json_incref(json_array_get(args, 0)));
        if (word) json_array_remove(args, 0);
        path = json_string_value(word);
        if (!path) path = "";
    }
    FileRef file(fopen(path, "r"));
    StrRef text(file ? read_script(file) : nullptr);
    if (!text) {
        printf("Cannot open script file %s\n", path);
        return -1;
    }
    cut_first_line(text);
    ox_lua_ctx* ctx = lua_context_new();
    if (!ctx) {
        puts("not enough memory");
        return 0;
    }
    // What the script printed goes out while it runs, and the rest when the context is freed.
    ox_lua_set_flags(ctx, OX_LUA_STREAM);
    size_t size = ox_dynarray_size(text);
    if (ox_lua_exec(ctx, ox_dynarray_get(text), size > 0 ? size - 1 : 0, path, args) != 0) {
        puts(ox_dynarray_get(ctx->err));
    }
    ox_lua_free(ctx);
    return 0;
}
