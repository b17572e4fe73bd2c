#include "locale.hpp"

#include <langinfo.h>
#include <locale.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <unistd.h>

namespace {

/// The locale that the environment names for characters, or null.
const char* named_locale(void) {
    static const char* const names[] = {"LC_ALL", "LC_CTYPE", "LANG"};
    for (const char* name : names) {
        const char* value = getenv(name);
        if (value && *value) return value;
    }
    return nullptr;
}

bool is_c_locale(const char* locale) {
    return strcmp(locale, "C") == 0 || strcmp(locale, "POSIX") == 0;
}

/// The character set in a locale's name, or null.
const char* charset_of(const char* locale) {
    const char* dot = strchr(locale, '.');
    return dot ? dot + 1 : nullptr;
}

bool is_utf8(const char* charset) {
    return strncasecmp(charset, "utf-8", 5) == 0 || strncasecmp(charset, "utf8", 4) == 0;
}

/// Whether C.UTF-8 may stand in for a locale that is not installed.
bool may_be_utf8(const char* locale) {
    const char* charset = charset_of(locale);
    return !charset || is_utf8(charset);
}

}  // namespace

bool terminal_is_utf8(void) {
    const char* locale = named_locale();
    if (!locale || is_c_locale(locale)) return true;
    const char* charset = charset_of(locale);
    if (!charset) {
        terminal_init_locale();
        charset = nl_langinfo(CODESET);
    }
    return is_utf8(charset);
}

bool terminal_draws_lines(void) {
    const char* locale = named_locale();
    if (!locale) return isatty(STDOUT_FILENO);
    return !is_c_locale(locale) && terminal_is_utf8();
}

const char* terminal_init_locale(void) {
    static const char* stand_in = nullptr;
    static bool done = false;
    if (done) return stand_in;
    done = true;
    const char* locale = named_locale();
    bool is_named = locale && !is_c_locale(locale);
    if (is_named && (setlocale(LC_CTYPE, "") || !may_be_utf8(locale))) return nullptr;
    stand_in = setlocale(LC_CTYPE, "C.UTF-8") ? "C.UTF-8" : nullptr;
    return stand_in;
}
