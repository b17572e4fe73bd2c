#include "store/answer_text.hpp"

#include "ox_tr_names.hpp"
#include "ox_tr_path.hpp"

namespace obxd {

namespace {

Answer written(Text text, bool full, bool broken) {
    if (broken) return answer_fault(FAULT_INTERNAL, "A value is no text");
    Answer answer;
    answer.cut = full;
    if (!full) answer.text = std::move(text);
    return answer;
}

}  // namespace

ListText::ListText(const char* key, const char* member, size_t room) : room_(room) {
    head_ = std::string("{\"") + OX_TR_NAME + "\":";
    middle_ = std::string(",\"") + member + "\":";
    text_.append("{\"");
    text_.append(key);
    text_.append("\":[");
    begun_ = text_.size();
}

void ListText::open(std::string_view name) {
    if (text_.size() > begun_) text_.append(',');
    text_.append(head_);
    broken_ |= !json_put_string(text_, name);
    text_.append(middle_);
}

void ListText::add(std::string_view name, const json_t* value) {
    open(name);
    broken_ |= !json_put(text_, value);
    text_.append('}');
}

void ListText::add(std::string_view name, std::string_view value) {
    open(name);
    text_.append(value);
    text_.append('}');
}

Answer ListText::end() {
    text_.append("]}");
    bool over = full();
    return written(std::move(text_), over, broken_);
}

Text& TreeText::member(std::string_view name) {
    if (!fresh_) text_.append(',');
    broken_ |= !json_put_string(text_, name);
    text_.append(':');
    fresh_ = false;
    return text_;
}

void TreeText::value(std::string_view name, const json_t* value) {
    broken_ |= !json_put(member(name), value);
}

void TreeText::open(std::string_view name) {
    member(name);
    open();
}

void TreeText::open() {
    text_.append('{');
    fresh_ = true;
}

void TreeText::close() {
    text_.append('}');
    fresh_ = false;
}

Answer TreeText::end() {
    bool over = full();
    return written(std::move(text_), over, broken_);
}

std::string_view PathWriter::go(std::string_view path) {
    std::string_view leaf = ox_tr_path_leaf(path);
    size_t depth = 0;
    for (std::string_view name : ox_tr_components(path)) {
        if (name.data() == leaf.data()) break;
        if (depth < open_.size() && open_[depth] != name) close_to(depth);
        if (depth++ < open_.size()) continue;
        open_.emplace_back(name);
        tree_.open(name);
    }
    close_to(depth);
    return leaf;
}

void PathWriter::close_to(size_t depth) {
    for (; open_.size() > depth; open_.pop_back()) tree_.close();
}

std::string_view KnownTexts::of(json_t* value) {
    Entry& entry = known_[value];
    if (!entry.value) {
        entry.value.reset(json_incref(value));
        Text text;
        json_put(text, value);
        entry.text = text.str();
    }
    return entry.text;
}

}  // namespace obxd
