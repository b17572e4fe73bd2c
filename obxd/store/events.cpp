#include "store/events.hpp"

#include "store/place.hpp"

namespace obxd {

json_t* event_arguments(Model& model, std::string_view object, std::string_view name, const json_t* given) {
    Place place;
    if (!place_find(model, object, place)) return nullptr;
    for (auto& event : place.schema->events) {
        if (event->name != name) continue;
        json_t* arguments = json_object();
        for (const Schema* argument : event->parameters) {
            json_t* value = json_object_get(given, argument->name.c_str());
            json_object_set(arguments, argument->name.c_str(), value ? value : argument->initial.get());
        }
        return arguments;
    }
    return nullptr;
}

}  // namespace obxd
