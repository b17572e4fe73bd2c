// Users files: read whole, or refused with a reason.
#include "fuzz.hpp"
#include "users/users.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    obxd::Users users;
    std::string error;
    bool fine = obxd::users_load(file_of(input.rest()), users, error);
    REQUIRE(fine == error.empty());
    if (!fine) return 0;
    for (const obxd::User& user : users.list) {
        REQUIRE(obxd::users_find(users, user.name) != nullptr);
        obxd::caller_of(user);
    }
    return 0;
}
