#include "xml_reader.hpp"

#define XML_DTD  // the header declares the bounds of entities for those only who say so
#include <errno.h>
#include <expat.h>
#include <fcntl.h>
#include <string.h>
#include <unistd.h>

#include <memory>
#include <vector>

#include "owners.hpp"

namespace obxd {
namespace {

constexpr char SEPARATOR = '|';  // no URI has it
constexpr int PIECE = 64 * 1024;
constexpr int MAX_DEPTH = 64;
constexpr uint64_t MAX_FILE = uint64_t{256} << 20;
// What entities may make of a document: ten times its own size, and never refused below a megabyte.
constexpr float MAX_AMPLIFICATION = 10;
constexpr uint64_t FREE_EXPANSION = 1 << 20;

struct parser_drop {
    void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
};
using ParserRef = std::unique_ptr<std::remove_pointer_t<XML_Parser>, parser_drop>;

struct Reading {
    XML_Parser parser;
    XmlHandler& handler;
    std::string why;  ///< not empty: the reading has ended
    int depth = 0;
    uint64_t taken = 0;                 ///< octets of the file
    uint64_t delivered = 0;             ///< octets that were told
    size_t lines = 0;                   ///< that are behind and forgotten
    std::vector<uint32_t> line_ends{};  ///< of later ones, where they stand in the file
    size_t next = 0;                    ///< the first of them that is not behind
};

/// Tells the handler what line is being read.
void line_tell(Reading& reading) {
    XML_Index here = XML_GetCurrentByteIndex(reading.parser);
    const auto& ends = reading.line_ends;
    while (reading.next < ends.size() && static_cast<XML_Index>(ends[reading.next]) < here) reading.next++;
    reading.handler.line = reading.lines + reading.next + 1;
}

/// Takes note of the line ends of what is read next; expat would go through all text once more for that.
void lines_note(Reading& reading, std::string_view piece) {
    line_tell(reading);
    reading.line_ends.erase(reading.line_ends.begin(),
                            reading.line_ends.begin() + static_cast<ptrdiff_t>(reading.next));
    reading.lines += reading.next;
    reading.next = 0;
    for (size_t at = piece.find('\n'); at != piece.npos; at = piece.find('\n', at + 1))
        reading.line_ends.push_back(static_cast<uint32_t>(reading.taken + at));
}

void stop(Reading& reading, const std::string& why) {
    if (!reading.why.empty()) return;
    reading.why = why;
    XML_StopParser(reading.parser, XML_FALSE);
}

/// Counts what was told, so that entities in attributes and texts cannot grow without end.
void count(Reading& reading, size_t octets) {
    reading.delivered += octets;
    if (reading.delivered > FREE_EXPANSION + reading.taken * static_cast<uint64_t>(MAX_AMPLIFICATION))
        stop(reading, "entities expand to too much");
}

void XMLCALL on_start(void* data, const XML_Char* name, const XML_Char** pairs) {
    Reading& reading = *static_cast<Reading*>(data);
    if (!reading.why.empty()) return;
    line_tell(reading);
    for (const XML_Char** at = pairs; *at; at++) count(reading, strlen(*at));
    if (++reading.depth > MAX_DEPTH) return stop(reading, "nested too deeply");
    std::string_view full = name, space;
    size_t cut = full.rfind(SEPARATOR);
    if (cut != std::string_view::npos) {
        space = full.substr(0, cut);
        full.remove_prefix(cut + 1);
    }
    std::string why;
    if (reading.why.empty() && !reading.handler.start(space, full, XmlAttributes(pairs), why))
        stop(reading, why);
}

void XMLCALL on_end(void* data, const XML_Char*) {
    Reading& reading = *static_cast<Reading*>(data);
    if (!reading.why.empty()) return;
    reading.depth--;
    line_tell(reading);
    std::string why;
    if (!reading.handler.end(why)) stop(reading, why);
}

void XMLCALL on_text(void* data, const XML_Char* text, int length) {
    Reading& reading = *static_cast<Reading*>(data);
    if (!reading.why.empty()) return;
    line_tell(reading);
    count(reading, static_cast<size_t>(length));
    reading.handler.text({text, static_cast<size_t>(length)});
}

ParserRef parser_make(Reading& reading) {
    ParserRef parser(XML_ParserCreateNS(nullptr, SEPARATOR));
    if (!parser) return parser;
    reading.parser = parser.get();
    XML_SetUserData(parser.get(), &reading);
    XML_SetElementHandler(parser.get(), on_start, on_end);
    XML_SetCharacterDataHandler(parser.get(), on_text);
    XML_SetParamEntityParsing(parser.get(), XML_PARAM_ENTITY_PARSING_NEVER);
#if XML_MAJOR_VERSION > 2 || XML_MINOR_VERSION >= 4
    XML_SetBillionLaughsAttackProtectionMaximumAmplification(parser.get(), MAX_AMPLIFICATION);
    XML_SetBillionLaughsAttackProtectionActivationThreshold(parser.get(), FREE_EXPANSION);
#endif
    return parser;
}

/// The next piece of the file; less than 0 with errno.
ssize_t piece_read(int fd, void* into) {
    ssize_t got;
    do got = read(fd, into, PIECE);
    while (got < 0 && errno == EINTR);
    return got;
}

}  // namespace

const char* XmlAttributes::find(std::string_view name) const {
    for (const char* const* pair = pairs_; *pair; pair += 2)
        if (name == pair[0]) return pair[1];
    return nullptr;
}

std::string_view XmlAttributes::token(std::string_view name) const {
    const char* value = find(name);
    return value ? xml_trim(value) : std::string_view();
}

std::string_view xml_trim(std::string_view text) {
    constexpr const char BLANKS[] = " \t\r\n";
    size_t from = text.find_first_not_of(BLANKS);
    return from == std::string_view::npos ? std::string_view()
                                          : text.substr(from, text.find_last_not_of(BLANKS) - from + 1);
}

bool xml_is_true(std::string_view text) {
    return text == "true" || text == "1";
}

bool xml_read(const std::string& file, XmlHandler& handler, std::string& error) {
    Fd fd(open(file.c_str(), O_RDONLY | O_CLOEXEC));
    if (fd.get() < 0) {
        error = file + ": " + strerror(errno);
        return false;
    }
    Reading reading{nullptr, handler};
    ParserRef parser = parser_make(reading);
    reading.parser = parser.get();
    for (bool last = false; !last;) {
        void* piece = parser ? XML_GetBuffer(parser.get(), PIECE) : nullptr;
        ssize_t got = piece ? piece_read(fd.get(), piece) : -1;
        if (got < 0) {
            error = file + ": " + strerror(piece ? errno : ENOMEM);
            return false;
        }
        last = got == 0;
        lines_note(reading, {static_cast<const char*>(piece), static_cast<size_t>(got)});
        reading.taken += static_cast<uint64_t>(got);
        if (reading.taken > MAX_FILE) {
            error = file + ": is too large";
            return false;
        }
        if (XML_ParseBuffer(parser.get(), static_cast<int>(got), last) != XML_STATUS_ERROR) continue;
        const char* broken = XML_ErrorString(XML_GetErrorCode(parser.get()));
        unsigned long line = reading.why.empty() ? XML_GetCurrentLineNumber(parser.get()) : handler.line;
        error = file + ":" + std::to_string(line) + ": " + (reading.why.empty() ? broken : reading.why);
        return false;
    }
    return true;
}

}  // namespace obxd
