#include "commands/login.hpp"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "line/split.hpp"
#include "ox_raii.hpp"
#include "session/identity.hpp"
#include "session/password.hpp"

int login_command(const char* name, json_t* args) {
    const char* login = json_string_value(json_array_get(args, 0));
    const char* password = nullptr;
    PasswordRef prompted;
    size_t count = json_array_size(args);
    const char* option = json_string_value(json_array_get(args, 1));
    if (count == 0) {
        login = getenv("USER");
    } else if (count == 1) {
        prompted = password_prompt("[obxc] password for %s: ", login);
        password = prompted;
    } else if (count == 3 && option && strcmp(option, "-p") == 0) {
        password = json_string_value(json_array_get(args, 2));
    } else {
        printf("syntax: %s [<login> [-p <password>]]\n", name);
        return -1;
    }
    // The input ended at the question: that must not become a login without a password.
    bool abandoned = count == 1 && !prompted;
    int result = abandoned ? -1 : login_with(login, password);
    if (result != 0) puts("Failed to authenticate user");
    return result;
}

int logout_command(const char* name, json_t* args) {
    if (json_array_size(args) > 0) {
        printf("syntax: %s\n", name);
        return -1;
    }
    return logout_session();
}

int login_if_guest_command(const char*, json_t* args) {
    if (current_user) return 0;
    login_with(json_string_value(json_array_get(args, 0)), json_string_value(json_array_get(args, 1)));
    return 0;
}

bool login_line_is_secret(const char* line) {
    JsonRef whole(json_string(line));
    if (!whole) return true;  // no UTF-8: the words cannot be told
    // A history is a thousand lines, and nearly all of them begin plainly with another command.
    std::string_view plain = line_plain_first_word(line);
    if (!plain.empty() && plain != "login" && plain != "login_if_guest") return false;
    JsonRef words(line_split(line, 0, nullptr));
    const char* command = json_string_value(json_array_get(words, 0));
    if (!command) return false;
    size_t arguments = json_array_size(words) - 1;
    if (strcmp(command, "login") == 0) return arguments >= 2;
    return strcmp(command, "login_if_guest") == 0 && arguments >= 1;
}
