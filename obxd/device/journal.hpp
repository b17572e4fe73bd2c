// The device's log: the last lines of what happened, as "Upload" of a Log gives them out.
#pragma once

#include <deque>
#include <string>

namespace obxd {

struct Journal {
    std::deque<std::string> lines;
};

/// Adds a line with the time; the oldest go when there are too many.
void journal_add(Journal& journal, const char* format, ...) __attribute__((format(printf, 2, 3)));
std::string journal_text(const Journal& journal);

}  // namespace obxd
