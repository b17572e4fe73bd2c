// Building a schema: what the loader of any format calls, from the top down and in the model's order.
//
// A loader reads the nodes of its document into Facts and, for parameters and arguments, Limits; what follows
// from them (the attributes of the wire, slots, ties, lookups, whether defaults fit) is done here, the same
// for all. Functions that can fail give false or null with `why` filled, in words that go behind the path of
// the node.
//
//   build_object(root)                                  the top, then for each node below an object
//     build_child, then one of
//       build_object, its children, build_key ..., build_object_end
//       build_parameter
//       build_method, build_arguments + children + build_object_end + build_input_end / build_output_end
//     build_event, its arguments (build_child + build_parameter), build_object_end
//   build_end                                           once
//
// Nodes with a status of DELETED are the loader's to leave out, with all below them, unless the model shows
// them (Model::show_all).
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "store/model.hpp"

namespace obxd {

/// What a node says of itself. Views and borrowed values are needed for the call alone; texts belong to the
/// model's Texts.
struct Facts {
    bool writable = false;                ///< a parameter that can be set, a table that grows, a method
    int read_rank = -1, write_rank = -1;  ///< -1: as the node above
    Status status = Status::CURRENT;
    const char* description = nullptr;  ///< plain text; null: none
    const char* since = nullptr;        ///< the version that brought it ("2.4"); null: as the node above

    // Of an object.
    bool multi = false, ordered = false;
    uint32_t min_count = 0, max_count = UINT32_MAX;  ///< instances of a multi-instance object
    std::string_view counter;  ///< the parameter beside it that counts its instances; empty: by its name
    std::string_view enable;  ///< the parameter of an instance that switches its functional keys; empty: none

    // Of a parameter or an argument.
    bool write_once = false;  ///< settable (`writable` too) as long as it holds its initial value
    bool hidden = false;      ///< reads as "", 0 or false
    bool mandatory = false;   ///< an argument that a call must give
    bool runtime = false;     ///< not saved
    const char* units = nullptr;
    /// Its default, in JSON's type; null: none. What can be set then begins with a legal value.
    json_t* initial = nullptr;
    DefaultKind default_kind = DefaultKind::NONE;

    // Of a method.
    bool async = false;

    /// Other attributes of the wire (an object, borrowed, or null): "base", "handlers", "relations", ... They
    /// win over those that are made of the facts.
    json_t* attrs = nullptr;
};

/// What equal parameters share.
struct Shape {
    JsonRef attrs;
    std::shared_ptr<const Limits> limits;
};
/// Shapes by what they were made of.
using Shapes = std::unordered_map<std::string, Shape>;

/// A new node below an object or arguments; its kind is not settled yet. Null for a name that is none or
/// stands there already.
Schema* build_child(Schema* parent, std::string_view name, std::string& why);
/// The arguments of a method (OX_TR_INPUT, OX_TR_OUTPUT), to be built like an object and handed over at their
/// end.
std::unique_ptr<Schema> build_arguments(Schema* method, const char* name);
void build_input_end(Schema* method, std::unique_ptr<Schema> input);
void build_output_end(Schema* method, std::unique_ptr<Schema> output);
/// An event of an object: no node that clients see. Its arguments are its children.
Schema* build_event(Schema* object, std::string_view name, const Facts& facts, std::string& why);

/// Settles what a node is. The top is an object too.
bool build_object(Schema* schema, const Facts& facts, std::string& why);
void build_method(Schema* schema, const Facts& facts);
/// `type` is the type's text as clients see it: a built-in one, a named one, or "TYPE[]".
/// The limits are compiled and shared with what `shapes` has; false also for a bad pattern.
bool build_parameter(Schema* schema, const Facts& facts, const char* type, Limits limits, Shapes& shapes,
                     std::string& why);
/// The same in two steps, for loaders that know by themselves which parameters are equal: `shape` as
/// build_shape() made it for a parameter with the same ranks, status, access and attributes.
bool build_shape(const Schema* schema, const Facts& facts, const char* type, Limits limits, Shape& shape,
                 std::string& why);
void build_parameter(Schema* schema, const Facts& facts, const Shape& shape);
/// The ranks alone, for those who need them before the rest.
void build_ranks(Schema* schema, const Facts& facts);

/// A unique key of an object whose children are all there. A functional one binds enabled instances only.
bool build_key(Schema* object, const std::vector<std::string_view>& names, bool functional, std::string& why);
/// When an object has its children and keys.
bool build_object_end(Schema* object, std::string& why);

/// When the whole schema is there: checks the defaults, resolves the targets of references and makes the
/// model ready for values. False with `error` that names the parameter. What is odd but no error is added to
/// Model::notes.
bool build_end(Model& model, std::string& error);

}  // namespace obxd
