// Going through all that stands below a place: the one order in which the model is listed.
#pragma once

#include <string>

#include "ox_tr_names.hpp"
#include "store/place.hpp"

namespace obxd {

/// What a walk comes by: what holds values (objects, instances, parameters) and methods, or the schema: with
/// templates, pseudo-parameters and arguments, and with the instances where the place has values.
enum class Walk { VALUES, SCHEMA };

/// Goes through what stands below a place, `path` being the place's own ("" for the top, else with the final
/// "." of an object): it grows and shrinks on the way. The visitor has
///   bool enter(const Place&, const std::string& path)   what may hold others; false passes over these
///   void leave(const Place&)                            behind them, where enter() said true
///   void leaf(const Place&, const std::string& path)    a parameter or a method
/// and must not add or take out instances.
template <Walk WALK, typename Visitor>
class Walker {
public:
    Walker(Visitor& visitor, std::string& path) : visitor_(visitor), path_(path) {}

    void below(const Place& place) {
        if (place.is_table()) return table(place);
        const Schema* schema = place.schema;
        if (schema->input) {
            path_ += '.';
            step({schema->input.get()}, OX_TR_INPUT);
            path_.pop_back();
        }
        for (auto& child : schema->children) {
            bool object = place.node && child->kind == Schema::OBJECT;
            step({child.get(), object ? place.node->objects[child->slot].get() : place.node}, child->name);
        }
        if (WALK != Walk::SCHEMA || !schema->ordered) return;
        step({place.schema, place.node, true, Pseudo::ORDER}, OX_TR_ORDER);
        step({place.schema, place.node, true, Pseudo::INDEX}, OX_TR_INDEX);
    }

private:
    void table(const Place& place) {
        if (WALK == Walk::SCHEMA) {
            step({place.schema, nullptr, true}, OX_TR_TEMPLATE);
            if (!place.schema->argument)
                step({place.schema, place.node, false, Pseudo::MAX_INSTANCE}, OX_TR_MAX_INSTANCE);
        }
        if (!place.node) return;
        for (auto& instance : place.node->instances) {
            Place item{place.schema, instance.get(), true};
            step(item, PlaceName(item).text());
        }
    }

    void step(const Place& place, std::string_view name) {
        size_t length = path_.size();
        path_ += name;
        if (place.is_object()) path_ += '.';
        if (!place.is_object() && (WALK != Walk::SCHEMA || !place.schema->input)) {
            visitor_.leaf(place, path_);
        } else if (visitor_.enter(place, path_)) {
            below(place);
            visitor_.leave(place);
        }
        path_.resize(length);
    }

    Visitor& visitor_;
    std::string& path_;
};

template <Walk WALK, typename Visitor>
void walk(Visitor& visitor, const Place& place, std::string path) {
    Walker<WALK, Visitor>(visitor, path).below(place);
}

/// From the top, or from a place whose path nobody asks for.
template <Walk WALK, typename Visitor>
void walk_all(Visitor& visitor, const Place& place) {
    walk<WALK>(visitor, place, std::string());
}

}  // namespace obxd
