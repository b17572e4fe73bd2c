#include "requests/requests.hpp"

#include "requests/dispatch.hpp"
#include "requests/events.hpp"

namespace obxd {

void requests_start(Requests& requests) {
    requests.server.on_message = [&requests](Connection& c, std::string_view text) {
        return dispatch(requests, c, text);
    };
    requests.server.on_broken = dispatch_broken;
    requests.server.on_relief = [&requests](Connection& c) { events_owed(requests, c); };
    requests.device.tell = [&requests](json_t* event) { events_emit(requests, GROUP_DEVICE, event); };
    requests.store.set_listener([&requests](const Change& change) { events_change(requests, change); });
}

}  // namespace obxd
