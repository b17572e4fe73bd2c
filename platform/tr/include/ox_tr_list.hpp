// The lists of named elements that requests and answers carry: [{"Name": TEXT, ...}, ...].
#pragma once

#include <jansson.h>

/// One element of a list. Both are borrowed from the list.
struct ox_tr_element {
    const char* name;
    json_t* json;
};

/// The elements that have a name, in order; others are passed over, and what is no array has none:
/// `for (ox_tr_element element : ox_tr_elements(list))`. The list must not change meanwhile.
class ox_tr_elements {
public:
    class iterator {
    public:
        iterator(const json_t* list, size_t index) : list_(list), index_(index) { find(); }
        ox_tr_element operator*() const { return element_; }
        iterator& operator++() {
            ++index_;
            find();
            return *this;
        }
        bool operator!=(const iterator& other) const { return index_ != other.index_; }

    private:
        void find();
        const json_t* list_;
        size_t index_;
        ox_tr_element element_ = {};
    };

    explicit ox_tr_elements(const json_t* list) : list_(list) {}
    iterator begin() const { return {list_, 0}; }
    iterator end() const { return {list_, json_array_size(list_)}; }

private:
    const json_t* list_;
};

/// The list of an answer's result, borrowed; null when there is none.
json_t* ox_tr_result_list(const json_t* result);
/// A new element {"Name": `name`, "Value": `value`}; takes over the reference on `value`. Null when the name
/// is no UTF-8 text, `value` is null or memory runs out.
json_t* ox_tr_value_element_new(const char* name, json_t* value);
