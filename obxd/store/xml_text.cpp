#include "xml_text.hpp"

#include <algorithm>
#include <vector>

#include "store/xml_reader.hpp"

namespace obxd {
namespace {

constexpr int MAX_NESTING = 8;

using Words = std::vector<std::string>;

std::string inline_plain(const XmlSubject& subject, std::string_view text, int depth);

/// The last component of a name, instances left out: "Host" of "Device.Hosts.Host.{i}.".
std::string_view leaf_of(std::string_view name) {
    while (name.ends_with('.') || name.ends_with("{i}")) name.remove_suffix(name.ends_with('.') ? 1 : 3);
    return name.substr(name.rfind('.') + 1);
}

/// The name of the object that is `levels` above; a table and its instances are one level.
std::string_view above(std::string_view object, size_t levels) {
    for (; levels > 0 && !object.empty(); levels--) {
        std::string_view leaf = leaf_of(object);
        object = object.substr(0, static_cast<size_t>(leaf.data() - object.data()));
    }
    return object;
}

/// A path of a description for people: without the signs for where it begins. "#" alone is the object above.
std::string path_plain(const XmlSubject& subject, std::string_view path) {
    size_t levels = std::min(path.find_first_not_of('#'), path.size());
    path.remove_prefix(levels);
    if (path.empty() || path == ".") return std::string(leaf_of(above(subject.object, levels)));
    while (path.starts_with('.')) path.remove_prefix(1);
    while (path.ends_with('.')) path.remove_suffix(1);
    return std::string(path);
}

std::string named(const XmlSubject& subject, const Words& words) {
    if (words.size() > 1) return path_plain(subject, words[1]);
    return std::string(subject.name.empty() ? leaf_of(subject.object) : subject.name);
}

std::string joined(const std::vector<std::string_view>& items) {
    std::string text;
    for (std::string_view item : items) (text += text.empty() ? "" : ", ") += item.empty() ? "\"\"" : item;
    return text;
}

std::string choices_words(const XmlSubject& subject, const char* before) {
    const XmlFacets* facets = subject.merged ? subject.merged->choices : nullptr;
    if (!facets) return "";
    std::vector<std::string_view> items;
    for (const XmlChoice& choice : facets->choices)
        if (choice.status != "deleted") items.push_back(choice.value);
    return before + joined(items) + ".";
}

std::string patterns_words(const XmlSubject& subject) {
    const XmlFacets* facets = subject.merged ? subject.merged->patterns : nullptr;
    if (!facets) return "";
    std::vector<std::string_view> items(facets->patterns.begin(), facets->patterns.end());
    return "Possible patterns: " + joined(items) + ".";
}

std::string list_words(const XmlSubject& subject, const Words& words) {
    std::string type(subject.merged ? subject.merged->primitive : "string");
    std::string text = "Comma-separated list of " + type + (type.ends_with('s') ? "" : "s");
    return text + (words.size() > 1 && !words[1].empty() ? " " + words[1] : "") + ".";
}

std::string reference_words(const XmlSubject& subject, const Words& words) {
    bool is_list = subject.merged && subject.merged->list;
    std::string text = is_list ? "Each item is the path of " : "The value is the path of ";
    if (words.size() > 1 && !words[1].empty()) return text + words[1] + ".";
    const XmlFacets* reference = subject.merged ? subject.merged->path_ref : nullptr;
    if (!reference && subject.merged && subject.merged->choices_from)
        return "The value is one of the items of " +
               path_plain(subject, subject.merged->choices_from->choices_from) + ".";
    if (!reference) return "";
    std::vector<std::string> targets;
    for (const std::string& target : reference->targets) targets.push_back(path_plain(subject, target));
    std::vector<std::string_view> views(targets.begin(), targets.end());
    if (views.empty()) return text + (reference->target_type == "parameter" ? "a parameter." : "an object.");
    return text + "a row of " + joined(views) + ".";
}

/// "Deprecated in 2.15 because ...".
std::string life_words(const char* what, const Words& words) {
    std::string text = what;
    if (words.size() > 1) text += " in " + words[1];
    if (words.size() > 2 && !words[2].empty()) text += " " + words[2];
    return text.ends_with('.') ? text : text + ".";
}

std::string source_words(const Words& words) {
    if (words.size() < 2) return "";
    return "[" + words[1] + (words.size() > 2 ? ", " + words[2] : "") + "]";
}

std::string type_words(const XmlSubject& subject, const Words& words, int depth) {
    std::string name(subject.merged ? subject.merged->named : std::string_view());
    if (words.size() < 2 || words[1] != "expand") return name;
    auto found = subject.types.find(name);
    return found == subject.types.end() ? name
                                        : inline_plain(subject, xml_trim(found->second->description), depth);
}

std::string template_words(const XmlSubject& subject, const Words& words, int depth) {
    for (const auto& [name, text] : subject.document.templates)
        if (words.size() > 1 && name == words[1]) return inline_plain(subject, xml_trim(text), depth);
    return "";
}

/// What {{...}} says; its words are plain already.
std::string markup_words(const XmlSubject& subject, const Words& words, int depth) {
    const std::string& what = words[0];
    if (what == "param" || what == "object" || what == "command" || what == "event")
        return what == "object" && words.size() == 1 ? std::string(leaf_of(subject.object))
                                                     : named(subject, words);
    if (what == "enum" || what == "pattern") {
        if (words.size() > 1) return words[1];
        return what == "enum" ? choices_words(subject, "Enumeration of: ") : patterns_words(subject);
    }
    if (what == "bibref") return source_words(words);
    if (what == "units")
        return subject.merged && subject.merged->units ? subject.merged->units->units : "units";
    if (what == "empty") return "an empty string";
    if (what == "true" || what == "false" || what == "null") return what;
    if (what == "list") return list_words(subject, words);
    if (what == "reference") return reference_words(subject, words);
    if (what == "datatype") return type_words(subject, words, depth);
    if (what == "template") return template_words(subject, words, depth);
    if (what == "numentries") return "The number of entries in the table.";
    if (what == "deprecated") return life_words("Deprecated", words);
    if (what == "obsoleted") return life_words("Obsoleted", words);
    if (what == "deleted") return life_words("Deleted", words);
    if (what == "hidden") return "When read, it is an empty value, whatever it was set to.";
    if (what == "span" || what == "div" || what == "abbref" || what == "gloss") return words.back();
    return "";
}

/// The end of a {{...}} that begins at `from`, behind its braces; npos where it has none.
size_t markup_end(std::string_view text, size_t from) {
    int open = 0;
    for (size_t at = from; at + 1 < text.size(); at++) {
        if (text[at] == '{' && text[at + 1] == '{') {
            open++;
            at++;
        } else if (text[at] == '}' && text[at + 1] == '}') {
            at++;
            if (--open == 0) return at + 1;
        }
    }
    return std::string_view::npos;
}

/// The words of what stands between the braces, divided by "|".
Words markup_split(const XmlSubject& subject, std::string_view inside, int depth) {
    Words words;
    int open = 0;
    size_t from = 0;
    for (size_t at = 0; at <= inside.size(); at++) {
        if (at < inside.size() && inside[at] == '{') open++;
        if (at < inside.size() && inside[at] == '}') open--;
        if (at < inside.size() && (inside[at] != '|' || open > 0)) continue;
        words.push_back(inline_plain(subject, xml_trim(inside.substr(from, at - from)), depth));
        from = at + 1;
    }
    return words;
}

/// The text with its markup put into words; line breaks stay.
std::string inline_plain(const XmlSubject& subject, std::string_view text, int depth) {
    std::string plain;
    for (size_t at = 0; at < text.size();) {
        if (text.substr(at, 2) == "''") {
            at += text.substr(at, 3) == "'''" ? 3 : 2;
            continue;
        }
        size_t end =
            text.substr(at, 2) == "{{" && depth < MAX_NESTING ? markup_end(text, at) : std::string_view::npos;
        if (end == std::string_view::npos) {
            std::string_view run = text.substr(at, text.find_first_of("'{", at + 1) - at);
            plain += run;
            at += run.size();
            continue;
        }
        Words words = markup_split(subject, text.substr(at + 2, end - at - 4), depth + 1);
        plain += markup_words(subject, words, depth + 1);
        at = end;
    }
    return plain;
}

/// The signs of a list's item that a line begins with: "*", "#" or ":", for each level one; 0: none.
size_t item_signs(std::string_view line) {
    size_t signs = std::min(line.find_first_not_of("*#:"), line.size());
    if (signs == 0 || signs == line.size()) return 0;
    return line[signs] == ' ' || line[0] == '*' ? signs : 0;
}

struct Lines {
    std::string text;
    bool in_item = false;
    std::vector<int> numbers;  ///< of the items of each level
};

void item_begin(Lines& lines, std::string_view signs) {
    lines.numbers.resize(signs.size());
    lines.text.append(2 * (signs.size() - 1), ' ');
    if (signs.back() == '*') lines.text += "* ";
    if (signs.back() == '#') lines.text += std::to_string(++lines.numbers.back()) + ". ";
    if (signs.back() == ':') lines.text += "  ";
}

void line_add(Lines& lines, std::string_view line, bool fresh) {
    size_t signs = item_signs(line);
    if (signs) {
        if (!lines.text.empty()) lines.text += lines.in_item || !fresh ? "\n" : "\n\n";
        item_begin(lines, line.substr(0, signs));
        line = xml_trim(line.substr(signs));
    } else if (!lines.text.empty()) {
        lines.text += fresh ? "\n\n" : " ";
    }
    if (signs) lines.in_item = true;
    if (!signs && fresh) {
        lines.in_item = false;
        lines.numbers.clear();
    }
    lines.text += line;
}

}  // namespace

std::string xml_text_plain(const XmlSubject& subject, std::string_view text) {
    std::string plain = inline_plain(subject, xml_trim(text), 0);
    Lines lines;
    bool fresh = true;
    for (std::string_view rest = plain; !rest.empty();) {
        size_t end = std::min(rest.find('\n'), rest.size());
        std::string_view line = xml_trim(rest.substr(0, end));
        if (!line.empty()) line_add(lines, line, fresh);
        fresh = line.empty();
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return std::move(lines.text);
}

}  // namespace obxd
