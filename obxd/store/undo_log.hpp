// The record of what an open change has altered.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <functional>
#include <list>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "store/tree.hpp"

namespace obxd {

struct UndoLog {
    struct Entry {
        enum Kind { VALUE, ADDED, DELETED, MOVED } kind;
        std::string path;               ///< of the parameter, of the row, or (MOVED) of the table
        JsonRef value = JsonRef();      ///< VALUE: the one before
        std::unique_ptr<Node> row{};    ///< DELETED
        std::vector<uint32_t> order{};  ///< MOVED: the numbers of the rows in their order before
        size_t size = 0;                ///< about so many bytes
    };
    using Entries = std::list<Entry>;

    bool mine = false;  ///< what is altered now belongs to the change
    Entries entries;    ///< in the order of what was done; of a value or an order the first only
    std::unordered_map<std::string, Entries::iterator> values, orders;  ///< by path
    std::set<std::string, std::less<>> added;                           ///< rows that came with the change
    size_t size = 0;                                                    ///< of all entries
};

}  // namespace obxd
