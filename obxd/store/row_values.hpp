// What rows that are made up hold: values of their own, references to each other, keys that differ.
#pragma once

#include <stdint.h>

#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "store/legal.hpp"
#include "store/model.hpp"

namespace obxd {

class RowValues {
public:
    /// Nothing outside of `within` is touched; null: anything may be.
    RowValues(Model& model, const Node* within) : model_(model), maker_(model), within_(within) {}

    /// Takes in a single object or a row; `row` where it was made up itself, else only what has no value yet
    /// is filled. Then fill() gives all of them their values, and takes out rows that can't have a key of
    /// their own.
    void add(Node* node, uint64_t number, bool row) { nodes_.push_back({node, number, row}); }
    void fill();
    /// Gives a parameter that can be set one of the choices that another has for it, where it began with none
    /// that is legal; a list of the device's own that is empty gets one first. True when something changed.
    bool choice_begin(Node* node, const Schema* parameter);

private:
    struct Filled {
        Node* node;
        uint64_t number;  ///< that its values are made of
        bool row;
    };
    bool leaves(const Filled& filled, const Schema* parameter) const;
    void put(Node* node, const Schema* parameter, json_t* value);
    void plain_fill(const Filled& filled);
    void links_fill(const Filled& filled);
    json_t* choice_from(Node* node, const Schema* parameter, uint64_t number);
    json_t* reference(Node* node, const Schema* parameter, uint64_t number);
    const std::vector<std::string>& targets_of(Node* node, const std::string& target);
    uint64_t targets_count(Node* node, const Schema* parameter);
    json_t* numbered(Node* node, const Schema* parameter, uint64_t number);
    uint64_t count(Node* node, const Schema* parameter);
    bool key_clashes(Node* row, size_t key);
    bool key_settle(const Filled& filled, size_t key);
    bool keys_settle(const Filled& filled);
    static void keys_empty(Node* row);
    void drop(const std::vector<Node*>& rows);

    Model& model_;
    ValueMaker maker_;
    const Node* within_;
    std::vector<Filled> nodes_;
    std::unordered_map<std::string, std::vector<std::string>>
        targets_;                                            ///< what is there, by the path asked for
    std::map<std::pair<const Node*, size_t>, Node*> blank_;  ///< rows without a key, by table and key
    std::set<std::pair<const Node*, size_t>> exhausted_;  ///< tables, and their keys that have no values left
};

}  // namespace obxd
