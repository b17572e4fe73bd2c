// The schema half of the store: what nodes there are, what values they take, who may touch them.
#pragma once

#include <jansson.h>
#include <regex.h>
#include <stdint.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "owners.hpp"
#include "ox_tr.hpp"
#include "store.hpp"

namespace obxd {

struct regex_drop {
    void operator()(regex_t* regex) const {
        regfree(regex);
        delete regex;
    }
};
using RegexRef = std::unique_ptr<regex_t, regex_drop>;

/// What a delete of a referenced object does to the reference.
enum Verdict : uint8_t { VERDICT_DENY, VERDICT_CASCADE, VERDICT_CLEAR, VERDICT_CONTINUE };

struct Relation {
    Verdict verdict;
    std::vector<std::string> match;  ///< components of the object's path; "*" stands for any instance
};

/// The bounds of a parameter's values. For a list they bound each item, `min_count` and `max_count` the list.
struct Limits {
    int type = OX_TR_STRING;  ///< the base type; of the items where the parameter is a list
    bool list = false;
    bool has_min = false, has_max = false;
    json_int_t min = 0, max = 0;
    json_int_t min_length = 0, max_length = -1;  ///< -1: no bound
    json_int_t min_count = 0, max_count = -1;
    bool takes_empty = false;  ///< "" is the default, so it is always taken
    JsonRef choices;           ///< "enum", or null
    std::string from;  ///< a list parameter whose items are the choices: a sibling's name or a full path
    RegexRef regex;
    std::vector<std::string> targets;  ///< objects that a reference may name ("foreign_key"); empty: any
};

struct Live {
    std::vector<std::string> pattern;
    std::function<json_t*(const std::string&)> reader;
};
struct Hook {
    std::vector<std::string> pattern;
    std::function<void(const std::string&, json_t*)> run;
};

struct Schema {
    enum Kind : uint8_t { OBJECT, METHOD, PARAMETER };
    Kind kind = OBJECT;
    bool multi = false, ordered = false;
    bool argument = false;  ///< below a method: there are no instances, any number stands for the template
    bool writable = false;  ///< a parameter that can be set, a multi-instance object that can grow
    bool hidden = false, mandatory = false, runtime = false, mirrors_order = false;
    uint8_t read_rank = RANK_USER, write_rank = RANK_ADMIN;
    uint32_t slot = 0;  ///< index among the parent's parameters or objects
    uint32_t max_count = UINT32_MAX;
    std::string name;
    Schema* parent = nullptr;
    JsonRef attrs;       ///< as on the wire; of a multi-instance object itself
    JsonRef item_attrs;  ///< of an instance, or of its template
    JsonRef initial;     ///< the value of a parameter that was given none; never null for parameters
    bool has_default = false;
    std::shared_ptr<const Limits> limits;  ///< of a parameter; never null there
    std::vector<Relation> relations;
    Schema* counts = nullptr;  ///< the sibling object whose instances this parameter counts
    Schema* status = nullptr;  ///< of an "Enable": the "Status" beside it, which follows it
    JsonRef states[2];         ///< what that status is while this is false, and true

    std::vector<std::unique_ptr<Schema>> children;  ///< in the model's order
    std::vector<Schema*> parameters, objects;       ///< the children by slot
    std::unordered_map<std::string_view, Schema*> by_name;
    std::vector<std::vector<Schema*>> keys;
    /// What instances are found by: the keys, and the alias where it is none of them.
    std::vector<std::vector<Schema*>> lookups;
    std::vector<uint32_t> looked_up_by;  ///< of a parameter: the lookups of its object that it is part of
    Schema* alias = nullptr;             ///< the child that gets a generated alias
    uint32_t alias_lookup = 0;
    Schema* order_mirror = nullptr;  ///< the child that shows the instance's place
    Schema* counter = nullptr;       ///< the parameter beside this object that counts its instances
    std::unique_ptr<Schema> input;   ///< of a method with arguments

    std::vector<Live> live;
    std::vector<Hook> hooks;
};

/// The child of that name, or null.
Schema* schema_child(const Schema* parent, std::string_view name);

/// Adds a child; null when the name is taken.
Schema* schema_add(Schema* parent, std::string_view name);

/// True when the value is one of the choices.
bool choices_hold(const Limits& limits, const json_t* value);

/// True for "1" to "4294967295" without leading zeros.
bool instance_number(std::string_view text, uint32_t& number);

/// Splits a dotted path; a final "." makes no component. False for an empty component or an empty path; "."
/// gives no components.
bool path_split(std::string_view path, std::vector<std::string_view>& parts);

/// Ties the parameters of a loaded object to what they show by their names: an alias that is given when an
/// instance is added, an "Order" to the place, a "Status" to the "Enable" beside it.
void schema_roles(Schema* schema);

/// Derives the lookups of a loaded multi-instance object from its keys and its alias.
void schema_lookups(Schema* schema);

/// Reads the "types" and "schema" members of a model file into `root` (whose children are the top's).
/// False with `error` naming the path that is wrong.
bool schema_load(Schema* root, const json_t* model, std::string& error);

}  // namespace obxd
