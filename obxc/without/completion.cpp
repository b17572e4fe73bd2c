// In the place of completion, of what is told of a word, and of completion in Lua mode, where there is no
// line editor to ask for them.
#include "commands/completion.hpp"

#include "commands/describe.hpp"
#include "lua/lua_complete.hpp"

void complete_line(const char*, int, json_t*) {}

void complete_for_hint(const char*, json_t*) {}

char* hint_line(const char*) {
    return nullptr;
}

bool hint_continue(void) {
    return false;
}

char* describe_line(const char*, int, size_t) {
    return nullptr;
}

void lua_complete_use(ox_lua_ctx*) {}

void lua_complete(const char*, int, json_t*) {}

void lua_complete_tell(const char*, const char*) {}
