// A place in the model, and the steps from one to the next: the one way from a path's text to what it names.
//
// A step follows the schema; as long as there are values on the way, it follows them too, and then leads only
// to instances that exist.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "store/model.hpp"

namespace obxd {

enum class Pseudo : uint8_t { NONE, MAX_INSTANCE, ORDER, INDEX };

struct Place {
    Schema* schema = nullptr;  ///< of a pseudo-parameter: its object
    Node* node =
        nullptr;        ///< the object's, or the one that a leaf belongs to; null where there are no values
    bool item = false;  ///< an instance of the multi-instance `schema`, or its template
    Pseudo pseudo = Pseudo::NONE;

    bool is_object() const { return schema->kind == Schema::OBJECT && pseudo == Pseudo::NONE; }
    bool is_method() const { return schema->kind == Schema::METHOD; }
    bool is_parameter() const { return schema->kind == Schema::PARAMETER || pseudo != Pseudo::NONE; }
    bool is_table() const { return schema->multi && !item && pseudo == Pseudo::NONE; }
    /// An instance that exists.
    bool is_instance() const { return item && node && pseudo == Pseudo::NONE; }
    /// What sets the place of an instance among the others.
    bool is_position() const { return pseudo == Pseudo::INDEX || schema->mirrors_order; }
};

/// The name of a place in the one above it.
class PlaceName {
public:
    explicit PlaceName(const Place& place);
    const char* text() const { return text_; }
    PlaceName(const PlaceName&) = delete;

private:
    char digits_[12];
    const char* text_;
};

/// The top with its values, or (no model's) without.
Place place_top(Model& model);
Place place_of_schema(Schema* top);
/// The object of a node.
Place place_of(Node* node);

/// One step down, to what has that name: a child, an instance, "#template" (from where on there are no
/// values), a pseudo-parameter, "#input". False when there is none; then the place is left as it was.
bool place_step(Place& place, std::string_view name);
/// All steps of a path from here; false when one leads nowhere or the path is no path.
bool place_follow(Place& place, std::string_view path);
/// "#template" for "*", which stands for any instance too; other names as they are.
std::string_view place_any(std::string_view name);

/// What a path without "#template" names and what exists; false when nothing.
bool place_find(Model& model, std::string_view path, Place& place);
/// The same for parameters, pseudo-parameters left out.
bool parameter_find(Model& model, std::string_view path, Place& place);

using PlaceVisit = std::function<void(const Place&, const std::string& path)>;
/// Calls `visit` with everything that a path from here names, "#template" and "*" standing for every
/// instance, and with its path from here ("" for `from` itself). False when the model has no such name.
bool places_each(const Place& from, std::string_view path, const PlaceVisit& visit);

/// The path as far as the model has its names, whatever rows there are: all of it, or what stands before the
/// first component that leads nowhere ("." where nothing does). A text that is no path is left as it is.
std::string path_reach(Model& model, std::string_view path);
/// Cuts the last component off a path, down to "." for the top; false when there is none, or the text is no
/// path.
bool path_climb(std::string& path);
/// Appends the number as an instance is named.
void path_add(std::string& path, uint32_t number);

}  // namespace obxd
