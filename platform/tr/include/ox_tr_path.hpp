// Dotted paths of the data model: "Device.Hosts.Host.3.", its components, its instance numbers.
//
// Components are what stands between dots. A dot in front, one behind and doubled ones make no components, so
// "Device.Hosts", ".Device..Hosts" and "Device.Hosts." have the same two.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <string_view>

/// The components of a path one by one: `for (std::string_view name : ox_tr_components(path))`. Each is a
/// piece of the path's own text, so `name.data() + name.size()` is where the path goes on.
class ox_tr_components {
public:
    class iterator {
    public:
        iterator(const char* text, const char* end) : at_(text), end_(end) { find(); }
        std::string_view operator*() const { return {at_, length_}; }
        iterator& operator++() {
            at_ += length_;
            find();
            return *this;
        }
        bool operator!=(const iterator& other) const { return at_ != other.at_; }

    private:
        void find() {
            while (at_ < end_ && *at_ == '.') ++at_;
            length_ = 0;
            while (at_ + length_ < end_ && at_[length_] != '.') ++length_;
        }
        const char* at_;
        const char* end_;
        size_t length_ = 0;
    };

    explicit ox_tr_components(std::string_view path) : path_(path) {}
    iterator begin() const { return {path_.data(), path_.data() + path_.size()}; }
    iterator end() const { return {path_.data() + path_.size(), path_.data() + path_.size()}; }

private:
    std::string_view path_;
};

/// Whether a component is an instance number as a person may type it: 1 to 20 decimal digits, zeros in front
/// included.
bool ox_tr_is_instance(std::string_view component);
/// The number of an instance as the daemon writes it: 1 to 2^32-1 without zeros in front. False for anything
/// else; then `number` is left alone.
bool ox_tr_instance_number(std::string_view component, uint32_t* number);

/// Bytes of the path without its last component and the dots around it: "Device.Hosts" for
/// "Device.Hosts.Host." and 0 where there is one component or none.
size_t ox_tr_path_parent(std::string_view path);
/// The last component; empty where there is none.
std::string_view ox_tr_path_leaf(std::string_view path);
/// Appends a component to the text in a buffer of `size` bytes, with "." between them. False, and nothing is
/// changed, when it does not fit.
bool ox_tr_path_join(char* path, size_t size, std::string_view component);
/// What `path` goes on with below `base`, component by component: a pointer into `path` behind the last one
/// that they share ("" or a text that begins with "."); null when it lies elsewhere. A null base or "." is
/// the top.
const char* ox_tr_path_below(const char* path, const char* base);

/// 1 for a full path, one that does not end in "." ("Device.Hosts"); the empty path is neither full nor
/// partial.
int ox_tr_path_is_full(const char* path);
/// 1 for a partial path, one that ends in ".".
int ox_tr_path_is_partial(const char* path);
/// Whether a path is spelled as the daemon takes it: no empty component but behind the last dot; "." is the
/// top. Not empty.
bool ox_tr_path_is_exact(std::string_view path);
