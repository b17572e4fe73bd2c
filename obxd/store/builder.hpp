// Building a schema: what the loader of any format calls, from the top down and in the model's order.
//
// A loader reads the nodes of its document into Facts; what follows from them (the attributes of the wire,
// slots, ties, lookups, whether defaults fit) is done here, the same for all. Functions that can fail give
// false or null with `why` filled, in words that go behind the path of the node.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "store/model.hpp"

namespace obxd {

/// What a node says of itself.
struct Facts {
    bool writable = false;
    int read_rank = -1, write_rank = -1;                      ///< -1: as the node above
    bool multi = false, ordered = false;                      ///< of an object
    uint32_t max_count = UINT32_MAX;                          ///< of a multi-instance object
    bool hidden = false, mandatory = false, runtime = false;  ///< of a parameter
    /// The other attributes of the wire, in their order (an object, borrowed, or null). "default" is the
    /// initial value too.
    json_t* attrs = nullptr;
};

/// What equal parameters share.
struct Shape {
    JsonRef attrs;
    std::shared_ptr<const Limits> limits;
};

/// A new node below an object or arguments; its kind is not settled yet. Null for a name that is none or
/// stands there already.
Schema* build_child(Schema* parent, std::string_view name, std::string& why);
/// The arguments of a method, to be built like an object and handed to build_input_end().
std::unique_ptr<Schema> build_arguments(Schema* method, const char* name);
void build_input_end(Schema* method, std::unique_ptr<Schema> input);

/// Settles what a node is. The top is an object too.
bool build_object(Schema* schema, const Facts& facts, std::string& why);
void build_method(Schema* schema, const Facts& facts);
/// `shape` as build_shape() made it for a parameter with the same ranks and facts.
bool build_parameter(Schema* schema, const Facts& facts, const Shape& shape, std::string& why);
Shape build_shape(const Schema* schema, const Facts& facts, const char* type,
                  std::shared_ptr<const Limits> limits);
/// The ranks alone, for those who need them before the rest.
void build_ranks(Schema* schema, const Facts& facts);

/// A unique key of an object whose children are all there.
bool build_key(Schema* object, const std::vector<std::string_view>& names, std::string& why);
/// When an object has its children and keys.
void build_object_end(Schema* object);

/// When the whole schema is there: checks the defaults and makes the model ready for values. False with
/// `error` that names the parameter.
bool build_end(Model& model, std::string& error);

}  // namespace obxd
