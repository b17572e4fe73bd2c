// Owners that release what they hold when they leave scope.
#pragma once

#include <jansson.h>
#include <stdlib.h>
#include <unistd.h>

#include "ox_held.hpp"
#include "ox_str.hpp"

/// Owns one pointer released by `Release`, which must accept null. `Base` says whether a jump out of the
/// running command releases it too: ox_held or ox_unheld.
template <typename T, void (*Release)(T*), typename Base = ox_held>
class ox_owner : Base {
public:
    explicit ox_owner(T* pointer = nullptr) : Base(drop), pointer_(pointer) {}
    ox_owner(ox_owner&& other) noexcept : Base(drop), pointer_(other.release()) {}
    ox_owner& operator=(ox_owner&& other) noexcept {
        reset(other.release());
        return *this;
    }
    ox_owner(const ox_owner&) = delete;
    ox_owner& operator=(const ox_owner&) = delete;
    ~ox_owner() { Release(pointer_); }

    T* get() const { return pointer_; }
    operator T*() const { return pointer_; }
    T* operator->() const { return pointer_; }
    /// Gives the pointer to the caller.
    T* release() {
        T* pointer = pointer_;
        pointer_ = nullptr;
        return pointer;
    }
    /// Takes over the pointer and releases the old one: a reference to the same value must be one of its own.
    void reset(T* pointer = nullptr) {
        T* old = pointer_;
        pointer_ = pointer;
        Release(old);
    }

private:
    static void drop(Base* self) { static_cast<ox_owner*>(self)->~ox_owner(); }
    T* pointer_;
};

inline void ox_json_drop(json_t* json) {
    json_decref(json);
}
inline void ox_chars_drop(char* text) {
    free(text);
}

/// Owns one reference to a JSON value.
using JsonRef = ox_owner<json_t, ox_json_drop>;
using StrRef = ox_owner<ox_str, ox_str_free>;
/// Owns a heap text or block.
using CharsRef = ox_owner<char, ox_chars_drop>;

/// Owns a file descriptor.
template <typename Base>
class ox_fd : Base {
public:
    explicit ox_fd(int fd = -1) : Base(drop), fd_(fd) {}
    ox_fd(ox_fd&& other) noexcept : Base(drop), fd_(other.release()) {}
    ox_fd& operator=(ox_fd&& other) noexcept {
        reset(other.release());
        return *this;
    }
    ox_fd(const ox_fd&) = delete;
    ox_fd& operator=(const ox_fd&) = delete;
    ~ox_fd() { reset(); }

    int get() const { return fd_; }
    int release() {
        int fd = fd_;
        fd_ = -1;
        return fd;
    }
    void reset(int fd = -1) {
        if (fd_ >= 0) close(fd_);
        fd_ = fd;
    }

private:
    static void drop(Base* self) { static_cast<ox_fd*>(self)->~ox_fd(); }
    int fd_;
};
using Fd = ox_fd<ox_held>;

/// The same for code that never waits and that other threads run too.
using UnheldChars = ox_owner<char, ox_chars_drop, ox_unheld>;
using UnheldFd = ox_fd<ox_unheld>;
