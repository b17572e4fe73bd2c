// Who asks, and the ladder of who may do what.
#pragma once

#include <stdint.h>

#include <string>

namespace obxd {

/// Who asks.
struct Caller {
    std::string user;            ///< "" for a guest
    std::string role = "guest";  ///< "guest", "user", "admin" or "system" (system access)
    bool system_access = false;
};

/// The one ladder of who may do what: each may what those before it may. Methods of the device stand on it as
/// well as the nodes of the model.
enum Rank : uint8_t { RANK_GUEST, RANK_USER, RANK_ADMIN, RANK_SYSTEM };
/// The text of a rank as model and users files write it, and back (-1 when unknown).
const char* rank_text(int rank);
int rank_parse(const char* text);
/// Where the caller stands: by the role, but with system access at the top.
int caller_rank(const Caller& caller);

}  // namespace obxd
