// The schema half of the store: what nodes there are, what values they take, who may touch them.
//
// The record alone: builder.hpp fills it, whatever format the model has.
#pragma once

#include <stdint.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "caller.hpp"
#include "owners.hpp"
#include "store/few.hpp"
#include "store/limits.hpp"

namespace obxd {

/// What a delete of a referenced object does to the reference.
enum Verdict : uint8_t { VERDICT_DENY, VERDICT_CASCADE, VERDICT_CLEAR, VERDICT_CONTINUE };

struct Relation {
    Verdict verdict;
    std::string match;  ///< the object's path; "*" stands for any instance
};

/// What is called when a parameter is read, or after it was set: for the paths of one pattern.
struct Live {
    std::string pattern;
    std::function<json_t*(const std::string&)> run;
};
struct Hook {
    std::string pattern;
    std::function<void(const std::string&, json_t*)> run;
};

/// What a model says of a default: when it is the value. NONE: no more than that it is one. MADE: nothing, it
/// was made up.
enum class DefaultKind : uint8_t { NONE, OBJECT, FACTORY, IMPLEMENTATION, PARAMETER, MADE };

/// What instances are told apart, or found, by.
struct Key {
    std::vector<struct Schema*> members;
    bool functional = false;  ///< binds enabled instances only
    bool operator==(const Key&) const = default;
};

struct Schema {
    enum Kind : uint8_t { OBJECT, METHOD, PARAMETER, EVENT };
    Kind kind = OBJECT;
    bool multi = false, ordered = false;
    bool argument = false;    ///< below a method: there are no instances, any number stands for the template
    bool writable = false;    ///< a parameter that can be set, a multi-instance object that can grow
    bool write_once = false;  ///< settable as long as it holds its initial value
    bool hidden = false, mandatory = false, runtime = false, mirrors_order = false;
    bool has_default = false;  ///< the model gave `initial`
    DefaultKind default_kind = DefaultKind::NONE;
    Status status = Status::CURRENT;
    uint8_t read_rank = RANK_USER, write_rank = RANK_ADMIN;
    uint32_t slot = 0;  ///< index among the parent's parameters or objects
    uint32_t min_count = 0, max_count = UINT32_MAX;
    uint32_t alias_lookup = 0;
    std::string name;
    Schema* parent = nullptr;
    const char *description = nullptr, *since = nullptr,
               *units = nullptr;  ///< texts of the model; null: none
    JsonRef attrs;                ///< as on the wire; of a multi-instance object itself
    JsonRef item_attrs;           ///< of an instance, or of its template
    JsonRef initial;              ///< the value of a parameter that was given none; never null for parameters
    std::shared_ptr<const Limits> limits;  ///< of a parameter; never null there
    Few<Relation> relations;
    Schema* counts = nullptr;    ///< the sibling object whose instances this parameter counts
    Schema* follower = nullptr;  ///< of an "Enable": the "Status" beside it, which follows it
    JsonRef states[2];           ///< what that status is while this is false, and true

    Few<std::unique_ptr<Schema>> children;                                   ///< in the model's order
    Few<Schema*> parameters, objects;                                        ///< the children by slot
    std::unique_ptr<std::unordered_map<std::string_view, Schema*>> by_name;  ///< the children
    Few<Key> keys;
    /// What instances are found by: the keys, and the alias where it is none of them.
    Few<Key> lookups;
    Schema* enable = nullptr;        ///< the child that says whether functional keys bind an instance
    Few<uint32_t> looked_up_by;      ///< of a parameter: the lookups of its object that it is part of
    Schema* alias = nullptr;         ///< the child that gets a generated alias
    Schema* order_mirror = nullptr;  ///< the child that shows the instance's place
    Schema* counter = nullptr;       ///< the parameter beside this object that counts its instances
    /// The names of the counter and of what enables instances, as the model says them.
    std::unique_ptr<std::pair<std::string, std::string>> named;
    std::unique_ptr<Schema> input, output;  ///< of a method with arguments
    Few<std::unique_ptr<Schema>> events;    ///< of an object; their arguments are their children

    Few<Live> live;
    Few<Hook> hooks;
};

/// The child of that name, or null.
Schema* schema_child(const Schema* parent, std::string_view name);
/// Its names from the top, without components for instances; "." for the top itself.
std::string schema_path(const Schema* schema);

}  // namespace obxd
