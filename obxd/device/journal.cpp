#include "device/journal.hpp"

#include <stdarg.h>
#include <stdio.h>
#include <time.h>

#include "one_line.hpp"

namespace obxd {

namespace {

constexpr size_t MAX_LINES = 2000;

}  // namespace

void journal_add(Journal& journal, const char* format, ...) {
    char text[512];
    time_t now = time(nullptr);
    tm parts;
    localtime_r(&now, &parts);
    size_t used = strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S%z ", &parts);
    va_list args;
    va_start(args, format);
    vsnprintf(text + used, sizeof text - used, format, args);
    va_end(args);
    journal.lines.push_back(one_line(text));
    if (journal.lines.size() > MAX_LINES) journal.lines.pop_front();
}

std::string journal_text(const Journal& journal) {
    std::string text;
    for (const std::string& line : journal.lines) text += line + "\n";
    return text;
}

}  // namespace obxd
