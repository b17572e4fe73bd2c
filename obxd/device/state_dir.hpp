// The state directory: made, locked, and freed of what a crash has left in it.
#pragma once

#include <string>

#include "owners.hpp"

namespace obxd {

struct StateDir {
    std::string path;        ///< absolute
    bool temporary = false;  ///< it is removed at the end
    Fd lock = Fd();          ///< held as long as the daemon lives
};

/// Opens the directory `wanted`, making it where it is not there, or a temporary one for "". It is locked: a
/// second daemon on it is an error. What a daemon that crashed had begun is removed, abandoned temporary
/// directories too. False with one line in `error`.
bool state_dir_open(StateDir& dir, const std::string& wanted, std::string& error);
/// Removes a temporary one.
void state_dir_close(StateDir& dir);

/// True for the names, right below the state directory, of files and directories that the daemon keeps.
bool state_dir_keeps(const std::string& name);

/// A name for a file that is being fetched: such files are removed at the next start.
std::string state_dir_temp_file(const StateDir& dir, uint64_t number);

}  // namespace obxd
