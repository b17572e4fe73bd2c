// Reading an XML file as a stream of elements: expat, kept within bounds.
//
// Entities of the document's own DTD are expanded; nothing outside of the file is ever read. Depth, size and
// what entities expand to are bounded.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace obxd {

/// The attributes of an element that stand in no namespace; valid while its start is told.
class XmlAttributes {
public:
    explicit XmlAttributes(const char* const* pairs) : pairs_(pairs) {}
    /// The value as it stands, or null.
    const char* find(std::string_view name) const;
    /// The value without the blanks around it, "" where there is none.
    std::string_view token(std::string_view name) const;

private:
    const char* const* pairs_;
};

/// What is told of a file, in its order. Names are split into namespace ("" for none) and local name. A
/// function that gives false ends the reading, with `why` filled.
struct XmlHandler {
    std::function<bool(std::string_view space, std::string_view name, const XmlAttributes&, std::string& why)>
        start;
    std::function<bool(std::string& why)> end;
    std::function<void(std::string_view)> text;
    /// The line that is being read, counted from 1: kept up to date for each start and end.
    unsigned long line = 0;
};

/// False with `error` ("FILE:LINE: what is wrong") where the file cannot be read, is no XML, goes beyond a
/// bound, or a function gave false.
bool xml_read(const std::string& file, XmlHandler& handler, std::string& error);

/// The text without the blanks around it.
std::string_view xml_trim(std::string_view text);
/// Whether an attribute's text is XML's word for true.
bool xml_is_true(std::string_view text);

}  // namespace obxd
