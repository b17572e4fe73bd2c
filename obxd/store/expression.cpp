#include "expression.hpp"

#include <ctype.h>
#include <string.h>

#include <algorithm>

namespace obxd {
namespace {

constexpr size_t MOST_STEPS = 20000;
constexpr int DEEPEST = 200;
constexpr uint32_t ENDLESS = UINT32_MAX, MOST_TIMES = 100000;

/// A part of an expression as it is read.
struct Part {
    enum Kind : uint8_t { CHARS, BEGIN, END, SEQUENCE, EITHER, REPEAT } kind = SEQUENCE;
    CharSet set;                   ///< of CHARS
    std::vector<Part> parts;       ///< of SEQUENCE, EITHER and REPEAT (one)
    uint32_t least = 0, most = 0;  ///< of REPEAT
};

/// The next character of a UTF-8 text; what is none stands for itself, byte by byte.
char32_t take_char(std::string_view& text) {
    auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
    size_t size = byte(0) < 0xc2 ? 1 : byte(0) < 0xe0 ? 2 : byte(0) < 0xf0 ? 3 : byte(0) < 0xf5 ? 4 : 1;
    char32_t c = size == 1 ? byte(0) : byte(0) & (0x7f >> size);
    for (size_t i = 1; i < size; i++) {
        if (i >= text.size() || (byte(i) & 0xc0) != 0x80) {
            size = 1;
            c = byte(0);
            break;
        }
        c = c << 6 | (byte(i) & 0x3f);
    }
    text.remove_prefix(size);
    return c;
}

struct Parser {
    std::string_view rest;
    Syntax syntax;
    std::string& why;

    bool fail(const char* text) {
        if (why.empty()) why = text;
        return false;
    }
    bool at(char c) const { return !rest.empty() && rest[0] == c; }
    bool take(char c) {
        if (!at(c)) return false;
        rest.remove_prefix(1);
        return true;
    }
    bool posix() const { return syntax == Syntax::POSIX; }

    bool either(Part& out, int depth) {
        if (depth > DEEPEST) return fail("is nested too deeply");
        out.kind = Part::EITHER;
        do {
            out.parts.emplace_back();
            if (!sequence(out.parts.back(), depth)) return false;
        } while (take('|'));
        return true;
    }

    bool sequence(Part& out, int depth) {
        while (!rest.empty() && !at('|') && !at(')')) {
            Part part;
            if (!atom(part, depth) || !repeats(part)) return false;
            out.parts.push_back(std::move(part));
        }
        return true;
    }

    bool atom(Part& out, int depth) {
        if (take('(')) return either(out, depth + 1) && (take(')') || fail("has an open \"(\""));
        out.kind = Part::CHARS;
        if (take('[')) return brackets(out.set, depth);
        if (take('.')) {
            out.set = posix() ? CharSet{} : CharSet{{'\n', '\n'}, {'\r', '\r'}};
            out.set = charset_complement(out.set);
            return true;
        }
        if (take('\\')) {
            bool fine = escape(out.set);
            charset_settle(out.set);
            return fine;
        }
        if (posix() && (at('^') || at('$'))) {
            out.kind = at('^') ? Part::BEGIN : Part::END;
            rest.remove_prefix(1);
            return true;
        }
        if (at('?') || at('*') || at('+') || (at('{') && !posix())) return fail("repeats nothing");
        char32_t c = take_char(rest);
        out.set = {{c, c}};
        return true;
    }

    bool number(uint32_t& out) {
        if (rest.empty() || !isdigit(static_cast<unsigned char>(rest[0]))) return false;
        for (out = 0; !rest.empty() && isdigit(static_cast<unsigned char>(rest[0])); rest.remove_prefix(1))
            out = std::min(out * 10 + static_cast<uint32_t>(rest[0] - '0'), MOST_TIMES);
        return true;
    }

    bool times(uint32_t& least, uint32_t& most) {
        if (!number(least)) return fail("has a bad \"{\"");
        most = least;
        if (take(',') && !number(most)) most = ENDLESS;
        return (take('}') && least <= most) || fail("has a bad \"{\"");
    }

    /// What follows an atom. A "?" behind a repetition asks for the shortest match, which the whole text does
    /// not know.
    bool repeats(Part& part) {
        for (int stacked = 0;; stacked++) {
            uint32_t least = 0, most = ENDLESS;
            if (stacked > DEEPEST) return fail("is nested too deeply");
            if (take('?')) {
                if (stacked) continue;
                most = 1;
            } else if (take('+')) {
                least = 1;
            } else if (at('{') &&
                       (!posix() || (rest.size() > 1 && isdigit(static_cast<unsigned char>(rest[1]))))) {
                rest.remove_prefix(1);
                if (!times(least, most)) return false;
            } else if (!take('*')) {
                return true;
            }
            Part inner = std::move(part);
            part = Part{};
            part.kind = Part::REPEAT;
            part.least = least;
            part.most = most;
            part.parts.push_back(std::move(inner));
        }
    }

    /// What stands behind a "\".
    bool escape(CharSet& set) {
        if (rest.empty()) return fail("ends in \"\\\"");
        char letter = rest[0];
        bool in_posix = letter == 'w' || letter == 'W' || letter == 's' || letter == 'S';
        if ((in_posix || !posix()) && charset_escape(set, letter)) {
            rest.remove_prefix(1);
            return true;
        }
        if (!posix() && (letter == 'p' || letter == 'P')) return category(set);
        static const char LETTERS[] = "nrt", MEANT[] = "\n\r\t";
        const char* found = posix() ? nullptr : strchr(LETTERS, letter);
        if (!found && isalnum(static_cast<unsigned char>(letter))) return fail("has an unknown \"\\\"");
        char32_t c = take_char(rest);
        if (found) c = static_cast<char32_t>(MEANT[found - LETTERS]);
        set.emplace_back(c, c);
        return true;
    }

    bool category(CharSet& set) {
        bool others = take('P');
        if (!others) take('p');
        size_t end = rest.find('}');
        CharSet named;
        if (!at('{') || end == std::string_view::npos || !charset_category(named, rest.substr(1, end - 1)))
            return fail("has an unknown \"\\p\"");
        rest.remove_prefix(end + 1);
        if (others) named = charset_complement(named);
        set.insert(set.end(), named.begin(), named.end());
        return true;
    }

    /// One character of a range in brackets, or (`several`) an escape that stands for more.
    bool member(CharSet& set, char32_t& c, bool& several) {
        several = false;
        if (!posix() && take('\\')) {
            CharSet named;
            if (!escape(named)) return false;
            several = named.size() != 1 || named[0].first != named[0].second;
            if (several) set.insert(set.end(), named.begin(), named.end());
            c = named[0].first;
            return true;
        }
        if (posix() && rest.starts_with("[:")) {
            size_t end = rest.find(":]");
            if (end == std::string_view::npos || !charset_posix(set, rest.substr(2, end - 2)))
                return fail("has an unknown \"[:\"");
            rest.remove_prefix(end + 2);
            return several = true;
        }
        if (!posix() && at('[')) return fail("has a \"[\" in brackets");
        c = take_char(rest);
        return true;
    }

    bool brackets(CharSet& set, int depth) {
        if (depth > DEEPEST) return fail("is nested too deeply");
        bool others = take('^');
        CharSet taken;
        for (bool first = true; first || !at(']'); first = false) {
            if (rest.empty() || (first && !posix() && at(']'))) return fail("has an open \"[\"");
            if (!posix() && !first && rest.starts_with("-[")) {
                rest.remove_prefix(2);
                if (!brackets(taken, depth + 1)) return false;
                if (!at(']')) return fail("has something behind a \"-[\"");
                break;
            }
            char32_t from = 0, to = 0;
            bool several;
            if (!member(set, from, several)) return false;
            if (several) continue;
            to = from;
            bool range = at('-') && rest.size() > 1 && rest[1] != ']' && (posix() || rest[1] != '[');
            if (range) {
                rest.remove_prefix(1);
                if (!member(set, to, several)) return false;
                if (several || to < from) return fail("has a bad range in brackets");
            }
            set.emplace_back(from, to);
        }
        rest.remove_prefix(1);
        charset_settle(set);
        if (others) set = charset_complement(set);
        set = charset_without(set, taken);
        return true;
    }
};

/// Writes the steps of an expression.
struct Emitter {
    Program& program;

    size_t size() const { return program.steps.size(); }
    size_t add(Step::Kind kind, uint32_t x = 0, uint32_t y = 0) {
        program.steps.push_back({kind, x, y});
        return size() - 1;
    }
    uint32_t next() const { return static_cast<uint32_t>(size()); }

    bool emit(const Part& part) {
        if (size() > MOST_STEPS) return false;
        switch (part.kind) {
            case Part::CHARS:
                program.sets.push_back(part.set);
                add(Step::CHARS, static_cast<uint32_t>(program.sets.size()) - 1);
                return true;
            case Part::BEGIN:
            case Part::END:
                add(part.kind == Part::BEGIN ? Step::BEGIN : Step::END);
                return true;
            case Part::SEQUENCE:
                return std::all_of(part.parts.begin(), part.parts.end(),
                                   [&](const Part& p) { return emit(p); });
            case Part::EITHER:
                return either(part);
            case Part::REPEAT:
                return repeat(part);
        }
        return false;
    }

    bool either(const Part& part) {
        std::vector<size_t> jumps;
        for (size_t i = 0; i < part.parts.size(); i++) {
            bool last = i + 1 == part.parts.size();
            size_t fork = last ? 0 : add(Step::FORK, next() + 1);
            if (!emit(part.parts[i])) return false;
            if (last) break;
            jumps.push_back(add(Step::JUMP));
            program.steps[fork].y = next();
        }
        for (size_t jump : jumps) program.steps[jump].x = next();
        return true;
    }

    bool repeat(const Part& part) {
        for (uint32_t i = 0; i < part.least; i++) {
            size_t before = size();
            if (!emit(part.parts[0])) return false;
            if (size() == before) return true;  // nothing, however often
        }
        if (part.most == ENDLESS) {
            size_t fork = add(Step::FORK, next() + 1);
            if (!emit(part.parts[0])) return false;
            add(Step::JUMP, static_cast<uint32_t>(fork));
            program.steps[fork].y = next();
            return true;
        }
        std::vector<size_t> forks;
        for (uint32_t i = part.least; i < part.most; i++) {
            forks.push_back(add(Step::FORK, next() + 1));
            size_t before = size();
            if (!emit(part.parts[0])) return false;
            if (size() == before) break;
        }
        for (size_t fork : forks) program.steps[fork].y = next();
        return true;
    }
};

/// The steps at which a match may stand, each once.
struct Front {
    std::vector<uint32_t> steps, place;

    explicit Front(size_t count) : place(count) { steps.reserve(count); }
    bool add(uint32_t step) {
        if (place[step] < steps.size() && steps[place[step]] == step) return false;
        place[step] = static_cast<uint32_t>(steps.size());
        steps.push_back(step);
        return true;
    }
};

/// Adds a step and all that it leads to without taking a character; true where that is the end.
bool front_add(const Program& program, Front& front, uint32_t first, bool begin, bool end,
               std::vector<uint32_t>& open) {
    bool match = false;
    open.assign(1, first);
    while (!open.empty()) {
        uint32_t at = open.back();
        open.pop_back();
        if (!front.add(at)) continue;
        const Step& step = program.steps[at];
        match |= step.kind == Step::MATCH;
        if (step.kind == Step::FORK) open.push_back(step.y);
        if (step.kind == Step::FORK || step.kind == Step::JUMP) open.push_back(step.x);
        if ((step.kind == Step::BEGIN && begin) || (step.kind == Step::END && end)) open.push_back(at + 1);
    }
    return match;
}

}  // namespace

Expression expression_compile(std::string_view text, Syntax syntax, std::string& why) {
    why.clear();
    Parser parser{text, syntax, why};
    Part whole;
    if (!parser.either(whole, 0)) return nullptr;
    if (!parser.rest.empty()) {
        why = "has a \")\" too many";
        return nullptr;
    }
    auto program = std::make_shared<Program>();
    Emitter emitter{*program};
    if (!emitter.emit(whole) || emitter.size() > MOST_STEPS) {
        why = "is too large";
        return nullptr;
    }
    emitter.add(Step::MATCH);
    program->steps.shrink_to_fit();
    return program;
}

bool expression_matches(const Program& program, std::string_view text) {
    Front now(program.steps.size()), then(program.steps.size());
    std::vector<uint32_t> open;
    bool match = front_add(program, now, 0, true, text.empty(), open);
    for (std::string_view rest = text; !rest.empty();) {
        char32_t c = take_char(rest);
        match = false;
        then.steps.clear();
        for (uint32_t at : now.steps) {
            const Step& step = program.steps[at];
            if (step.kind == Step::CHARS && charset_has(program.sets[step.x], c))
                match |= front_add(program, then, at + 1, false, rest.empty(), open);
        }
        if (then.steps.empty()) return false;
        std::swap(now, then);
    }
    return match;
}

}  // namespace obxd
