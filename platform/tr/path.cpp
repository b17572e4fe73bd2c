#include <string.h>

#include "ox_tr_path.hpp"

namespace {

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

bool is_all_digits(std::string_view text) {
    for (char c : text) {
        if (!is_digit(c)) return false;
    }
    return !text.empty();
}

}  // namespace

bool ox_tr_is_instance(std::string_view component) {
    enum { DIGITS = 20 };
    return component.size() <= DIGITS && is_all_digits(component);
}

bool ox_tr_instance_number(std::string_view component, uint32_t* number) {
    enum { DIGITS = 10 };
    if (component.size() > DIGITS || !is_all_digits(component) || component[0] == '0') return false;
    uint64_t sum = 0;
    for (char c : component) sum = sum * 10 + static_cast<uint64_t>(c - '0');
    if (sum > UINT32_MAX) return false;
    *number = static_cast<uint32_t>(sum);
    return true;
}

size_t ox_tr_path_parent(std::string_view path) {
    size_t length = path.size();
    while (length > 0 && path[length - 1] == '.') --length;
    while (length > 0 && path[length - 1] != '.') --length;
    while (length > 0 && path[length - 1] == '.') --length;
    return length;
}

std::string_view ox_tr_path_leaf(std::string_view path) {
    size_t end = path.size();
    while (end > 0 && path[end - 1] == '.') --end;
    size_t start = end;
    while (start > 0 && path[start - 1] != '.') --start;
    return {path.data() + start, end - start};
}

bool ox_tr_path_join(char* path, size_t size, std::string_view component) {
    size_t used = strlen(path);
    size_t dot = used > 0 && path[used - 1] != '.' ? 1 : 0;
    if (component.size() >= size || used + dot + component.size() >= size) return false;
    if (dot) path[used++] = '.';
    memcpy(path + used, component.data(), component.size());
    path[used + component.size()] = '\0';
    return true;
}

const char* ox_tr_path_below(const char* path, const char* base) {
    ox_tr_components names(path);
    auto name = names.begin();
    for (std::string_view wanted : ox_tr_components(base ? base : "")) {
        if (*name != wanted) return nullptr;
        path = (*name).data() + (*name).size();
        ++name;
    }
    return path;
}

int ox_tr_path_is_full(const char* path) {
    return path && *path && path[strlen(path) - 1] != '.';
}

int ox_tr_path_is_partial(const char* path) {
    return path && *path && path[strlen(path) - 1] == '.';
}

bool ox_tr_path_is_exact(std::string_view path) {
    if (path == ".") return true;
    return !path.empty() && path.front() != '.' && path.find("..") == std::string_view::npos;
}
