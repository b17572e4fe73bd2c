// Users files: read whole, or refused with a reason; what was read can be written and is read as
// the same.
#include <jansson.h>

#include "fuzz.hpp"
#include "owners.hpp"
#include "users/hash.hpp"
#include "users/users.hpp"

namespace {

using obxd::JsonRef;
using obxd::User;
using obxd::Users;

std::string text_of(const Users& users) {
    JsonRef list(json_array());
    for (const User& user : users.list) {
        json_t* entry = json_pack("{s:s, s:s, s:b, s:[]}", "name", user.name.c_str(), "role",
                                  user.role.c_str(), "system_access", user.system_access, "tokens");
        REQUIRE(entry);
        if (!user.password.empty())
            json_object_set_new(entry, "password", json_string(user.password.c_str()));
        for (const std::string& token : user.tokens)
            json_array_append_new(json_object_get(entry, "tokens"), json_string(token.c_str()));
        json_array_append_new(list, entry);
    }
    JsonRef root(json_pack("{s:O}", "users", list.get()));
    obxd::CharsRef text(json_dumps(root, 0));
    REQUIRE(text);
    return text.get();
}

void each_is_known(const Users& users) {
    for (const User& user : users.list) {
        REQUIRE(obxd::users_find(users, user.name) == &user);
        REQUIRE(user.password.empty() || obxd::users_hash(users, user.name) == user.password);
        REQUIRE(obxd::caller_of(user).user == user.name);
    }
    std::string stranger(65, 'x');  // longer than names may be
    REQUIRE(!obxd::users_find(users, stranger));
    REQUIRE(obxd::users_hash(users, stranger)[0] == obxd::HASH_LOCKED);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    Users users, again;
    std::string error;
    bool fine = obxd::users_load(file_of(input.rest()), users, error);
    REQUIRE(fine == error.empty());
    if (!fine) return 0;
    each_is_known(users);
    std::string written = text_of(users);
    REQUIRE(obxd::users_load(file_of(written), again, error));
    REQUIRE(text_of(again) == written);
    return 0;
}
