// Answers that are written as JSON text while the model is gone through: no tree of them is ever made.
#pragma once

#include <jansson.h>

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "answers.hpp"
#include "json_text.hpp"
#include "owners.hpp"

namespace obxd {

/// {`key`:[{"Name":...,`member`:...},...]}, at most `room` bytes of it.
class ListText {
public:
    ListText(const char* key, const char* member, size_t room);

    void add(std::string_view name, const json_t* value);
    /// The same with the value as JSON text.
    void add(std::string_view name, std::string_view value);
    /// True when what comes is not written any more.
    bool full() const { return text_.size() > room_; }
    /// The answer; the list is empty afterwards.
    Answer end();

private:
    void open(std::string_view name);

    std::string head_, middle_;  ///< of an element, around its name
    Text text_;
    size_t room_;
    size_t begun_;
    bool broken_ = false;
};

/// Nested objects as text, at most `room` bytes.
class TreeText {
public:
    explicit TreeText(size_t room) : room_(room) {}

    /// A member of the object that is open (or, first of all, of none: then it is the text itself).
    Text& member(std::string_view name);
    void value(std::string_view name, const json_t* value);
    void open(std::string_view name);
    void open();
    void close();
    bool full() const { return text_.size() > room_; }
    /// The text as an answer.
    Answer end();

private:
    Text text_;
    size_t room_;
    bool fresh_ = true;  ///< no member stands in the object that is open
    bool broken_ = false;
};

/// Writes members at their paths, the objects on the way opened where they are not. Each is opened once as
/// long as what stands below it comes in a row, as it does in the model's order.
class PathWriter {
public:
    explicit PathWriter(TreeText& tree) : tree_(tree) {}

    /// Opens what is above the path and closes what is not; returns the name of the member that is due.
    std::string_view go(std::string_view path);
    /// Closes what is open.
    void end() { close_to(0); }

private:
    void close_to(size_t depth);

    TreeText& tree_;
    std::vector<std::string> open_;
};

/// The texts of values that come again and again: each is written once and then copied. Holds the values, so
/// that what is found is right even where they are made for one answer.
class KnownTexts {
public:
    /// Borrowed, for as long as this lives.
    std::string_view of(json_t* value);

private:
    struct Entry {
        JsonRef value;
        std::string text;
    };
    std::unordered_map<const json_t*, Entry> known_;
};

}  // namespace obxd
