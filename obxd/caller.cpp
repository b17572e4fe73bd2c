#include "caller.hpp"

#include <string.h>

namespace obxd {

namespace {

const char* const RANKS[] = {"guest", "user", "admin", "system"};

}  // namespace

const char* rank_text(int rank) {
    return RANKS[rank];
}

int rank_parse(const char* text) {
    for (int i = 0; text && i < 4; i++)
        if (strcmp(text, RANKS[i]) == 0) return i;
    return -1;
}

int caller_rank(const Caller& caller) {
    if (caller.system_access) return RANK_SYSTEM;
    int rank = rank_parse(caller.role.c_str());
    return rank < 0 ? RANK_GUEST : rank;
}

}  // namespace obxd
