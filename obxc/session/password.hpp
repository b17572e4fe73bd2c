// Passwords: how one is asked for, and how its text is released.
#pragma once

#include "ox_raii.hpp"

/// Overwrites and frees a text; null-safe.
void password_drop(char* text);
/// Owns the text of a password.
using PasswordRef = ox_owner<char, password_drop>;

/// Prints the question, reads one line without echo. The text, or null at end of input. The wait may be left
/// by a jump.
PasswordRef password_prompt(const char* format, ...) __attribute__((format(printf, 1, 2)));
