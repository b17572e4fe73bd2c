#include "load.hpp"

#include <stdio.h>
#include <string.h>

#include "json_error.hpp"
#include "store/apply.hpp"
#include "store/builder.hpp"
#include "store/load_json.hpp"
#include "store/load_xml.hpp"

namespace obxd {
namespace {

/// The whole file; false where it cannot be read.
bool file_read(const std::string& name, std::string& text) {
    std::unique_ptr<FILE, int (*)(FILE*)> file(fopen(name.c_str(), "re"), fclose);
    char block[65536];
    size_t count;
    while (file && (count = fread(block, 1, sizeof block, file.get())) > 0) text.append(block, count);
    return file && !ferror(file.get());
}

/// An unsignedLong's own greatest value is beyond JSON's integers as jansson has them: as a bound it becomes
/// theirs, which is none.
void bounds_trim(std::string& text) {
    constexpr std::string_view GREATEST = "18446744073709551615", INSTEAD = " 9223372036854775807";
    for (size_t at = text.find(GREATEST); at != text.npos; at = text.find(GREATEST, at + 1)) {
        std::string_view before = std::string_view(text).substr(0, at);
        before = before.substr(0, before.find_last_not_of(" \t\r\n") + 1);
        if (!before.ends_with(':')) continue;
        before.remove_suffix(1);
        before = before.substr(0, before.find_last_not_of(" \t\r\n") + 1);
        if (before.ends_with("\"maxInclusive\"") || before.ends_with("\"max\""))
            text.replace(at, GREATEST.size(), INSTEAD);
    }
}

/// Whether a file begins as XML does, in UTF-8 or UTF-16.
bool is_xml(const std::string& file) {
    std::unique_ptr<FILE, int (*)(FILE*)> stream(fopen(file.c_str(), "re"), fclose);
    char head[256];
    size_t got = stream ? fread(head, 1, sizeof head, stream.get()) : 0;
    for (size_t at = 0; at < got; at++) {
        if (head[at] == '<') return true;
        if (!memchr("\xEF\xBB\xBF\xFE\xFF \t\r\n", head[at], 9)) return false;
    }
    return false;
}

bool load_json(Model& model, const std::string& file, std::string& error) {
    json_error_t where;
    std::string text;
    JsonRef json;
    if (file_read(file, text)) {
        bounds_trim(text);
        json.reset(json_loadb(text.data(), text.size(), JSON_REJECT_DUPLICATES, &where));
    } else {
        // For its own words.
        json.reset(json_load_file(file.c_str(), JSON_REJECT_DUPLICATES, &where));
    }
    if (!json) {
        error = file;
        if (where.line > 0) error += ":" + std::to_string(where.line) + ":" + std::to_string(where.column);
        error += ": " + json_error_text(where);
        return false;
    }
    json_t* values = json_object_get(json, "values");
    model.pristine.reset(values ? json_incref(values) : json_object());
    std::string why;
    if (schema_load_json(model, json, why)) return true;
    error = file + ": " + why;
    return false;
}

}  // namespace

bool model_load(Model& model, const ModelFiles& files, std::string& error) {
    bool xml = is_xml(files.model);
    model.show_all = files.show_all;
    model.pristine.reset(json_object());
    if (!xml && !files.services.empty()) {
        error = files.model + ": services are mounted into a model in XML alone";
        return false;
    }
    if (!(xml ? schema_load_xml(model, files.model, files.services, error)
              : load_json(model, files.model, error)))
        return false;
    std::string why;
    if (!build_end(model, why) || !tree_check(model, model.pristine, why)) {
        error = files.model + ": " + why;
        return false;
    }
    tree_apply(model, model.pristine, false, {});
    return true;
}

}  // namespace obxd
