// login, logout, login_if_guest: who uses the shell.
#pragma once

#include "obxc.hpp"

int login_command(const char* name, json_t* args);
int logout_command(const char* name, json_t* args);
int login_if_guest_command(const char* name, json_t* args);

/// Whether a shell line logs in with a password or a token that stands on it: no history may keep it.
bool login_line_is_secret(const char* line);
