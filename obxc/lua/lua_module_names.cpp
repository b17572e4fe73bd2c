#include "lua/lua_module_names.hpp"

#include <glob.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "lua/lua_complete.hpp"
#include "lua/lua_fields.hpp"

namespace {

/// The word as the module search sees it.
struct ModuleWord {
    const char* word;  ///< as typed
    const char* text;  ///< behind an opening quote
    char quote;        ///< the quote, or 0
    bool dotted;
};

/// Adds a candidate to the scratch table, unless it is there.
void add_scratch(lua_State* L, int scratch, const char* text) {
    lua_getfield(L, scratch, text);
    bool known = !lua_isnil(L, -1);
    lua_pop(L, 1);
    if (known) return;
    lua_pushboolean(L, 1);
    lua_setfield(L, scratch, text);
    lua_pushstring(L, text);
    lua_rawseti(L, scratch, static_cast<lua_Integer>(lua_rawlen(L, scratch)) + 1);
}

void append_scratch(lua_State* L, int scratch, json_t* candidates) {
    auto count = static_cast<lua_Integer>(lua_rawlen(L, scratch));
    for (lua_Integer i = 1; i <= count; ++i) {
        lua_rawgeti(L, scratch, i);
        json_array_append_new(candidates, json_string(lua_tostring(L, -1)));
        lua_pop(L, 1);
    }
}

bool global_is_nil(lua_State* L, const char* name) {
    lua_pushglobaltable(L);
    lua_pushstring(L, name);
    bool nil = lua_rawget(L, -2) == LUA_TNIL;
    lua_pop(L, 2);
    return nil;
}

/// Binds a loaded module to the global of its name, or loads the module that the word names. True when that
/// was the word's meaning.
bool load_named_module(lua_State* L, int package, const char* word) {
    int top = lua_gettop(L);
    lua_getfield(L, package, "loaded");
    if (lua_istable(L, -1)) {
        lua_getfield(L, -1, word);
        if (lua_toboolean(L, -1)) {
            if (global_is_nil(L, word)) {
                lua_setglobal(L, word);
                lua_complete_tell("Globalized", word);
            }
            lua_settop(L, top);
            return true;
        }
    }
    lua_settop(L, top);
    // Anything but names cannot be assigned to, or would have to be evaluated first.
    if (!lua_is_dotted_name(word)) return false;
    const char* code = lua_pushfstring(L, "%s=require(\"%s\")", word, word);
    bool loaded = luaL_loadstring(L, code) == LUA_OK && lua_pcall(L, 0, 0, 0) == LUA_OK;
    lua_settop(L, top);
    if (loaded) lua_complete_tell("Loaded", word);
    return loaded;
}

/// Adds the word itself, not the module's name, for each preloaded module whose name begins with it: it shows
/// that the word leads somewhere, and the names of preloaded modules stay unlisted.
void add_preloaded(lua_State* L, int package, int scratch, const ModuleWord& word) {
    lua_getfield(L, package, "preload");
    int preload = lua_gettop(L);
    if (lua_istable(L, preload)) {
        lua_pushnil(L);
        while (lua_next(L, preload) != 0) {
            if (lua_type(L, -2) == LUA_TSTRING &&
                strncmp(lua_tostring(L, -2), word.text, strlen(word.text)) == 0) {
                add_scratch(L, scratch, word.word);
            }
            lua_pop(L, 1);
        }
    }
    lua_pop(L, 1);
}

void add_found(lua_State* L, int scratch, const ModuleWord& word, const char* separator, const char* found,
               size_t length) {
    const char* name = lua_pushlstring(L, found, length);
    if (word.dotted) name = luaL_gsub(L, name, separator, ".");
    size_t size = strlen(name);
    if (size >= 4 && strcmp(name + size - 4, "init") == 0) return;
    if (word.quote) name = lua_pushfstring(L, "%c%s%c", word.quote, name, word.quote);
    add_scratch(L, scratch, name);
}

/// Adds the module names that one template of the search path finds.
void add_template(lua_State* L, int scratch, const ModuleWord& word, const char* config[3],
                  const char* entry) {
    int top = lua_gettop(L);
    const char* mark = strstr(entry, config[2]);
    if (!mark) return;
    size_t before = static_cast<size_t>(mark - entry);
    const char* after = mark + strlen(config[2]);
    const char* stem = word.dotted ? luaL_gsub(L, word.text, ".", config[0]) : word.text;
    lua_pushlstring(L, entry, before);
    lua_pushfstring(L, "%s%s*%s", lua_tostring(L, -1), stem, after);
    glob64_t files;
    if (glob64(lua_tostring(L, -1), 0, nullptr, &files) != 0) {
        lua_settop(L, top);
        return;
    }
    for (size_t i = 0; i < files.gl_pathc; ++i) {
        size_t length = strlen(files.gl_pathv[i]);
        size_t fixed = before + strlen(after);
        if (length >= fixed) {
            add_found(L, scratch, word, config[0], files.gl_pathv[i] + before, length - fixed);
        }
        lua_settop(L, top);
    }
    globfree64(&files);
}

/// Pushes the first three lines of package.config: directory separator, template separator, mark.
bool push_config(lua_State* L, int package, const char* config[3]) {
    lua_getfield(L, package, "config");
    const char* text = lua_tostring(L, -1);
    for (int i = 0; i < 3; ++i) {
        if (!text || !*text) return false;
        size_t length = strcspn(text, "\n");
        if (length == 0) return false;
        config[i] = lua_pushlstring(L, text, length);
        text += length + (text[length] == '\n');
    }
    return true;
}

void add_searched(lua_State* L, int package, int scratch, const ModuleWord& word) {
    int top = lua_gettop(L);
    const char* config[3];
    if (push_config(L, package, config)) {
        lua_getfield(L, package, "path");
        lua_getfield(L, package, "cpath");
        const char* path = lua_tostring(L, -2);
        const char* cpath = lua_tostring(L, -1);
        const char* list =
            lua_pushfstring(L, "%s%s%s%s", path ? path : "", config[1], cpath ? cpath : "", config[1]);
        while (const char* end = strstr(list, config[1])) {
            int base = lua_gettop(L);
            const char* entry = lua_pushlstring(L, list, static_cast<size_t>(end - list));
            add_template(L, scratch, word, config, entry);
            lua_settop(L, base);
            list = end + strlen(config[1]);
        }
    }
    lua_settop(L, top);
}

/// Pushes the table `package`, by way of `require`.
bool push_package(lua_State* L) {
    lua_pushglobaltable(L);
    lua_pushliteral(L, "require");
    lua_rawget(L, -2);
    if (!lua_isfunction(L, -1)) return false;
    lua_pushliteral(L, "package");
    return lua_pcall(L, 1, 1, 0) == LUA_OK && lua_istable(L, -1);
}

}  // namespace

void lua_complete_modules(lua_State* L, const char* word, json_t* candidates) {
    luaL_checkstack(L, 3 * LUA_MINSTACK, nullptr);
    ModuleWord module = {word, word, '\0', strchr(word, '.') != nullptr};
    if (*word == '"' || *word == '\'') {
        module.quote = *word;
        module.text = word + 1;
    }
    size_t length = strlen(word);
    bool ends_in_dot = length > 0 && word[length - 1] == '.';
    int top = lua_gettop(L);
    lua_newtable(L);
    int scratch = lua_gettop(L);
    if (push_package(L)) {
        int package = lua_gettop(L);
        bool named = !module.quote && !ends_in_dot && length > 0;
        if (!named || !load_named_module(L, package, word)) {
            add_preloaded(L, package, scratch, module);
            add_searched(L, package, scratch, module);
            append_scratch(L, scratch, candidates);
        }
    }
    lua_settop(L, top);
}
