// What messages ask: the records that this room shares, and how it is tied to the rooms below.
#pragma once

#include "answers.hpp"
#include "device/device.hpp"
#include "net/server.hpp"
#include "store/store.hpp"
#include "users/users.hpp"

namespace obxd {

/// What requests are answered from. All of it must outlive the loop.
struct Requests {
    Server& server;
    Store& store;
    const Users& users;
    Device& device;
};

/// A request about the connection that it comes on.
struct Request {
    Requests& room;
    Connection& connection;  ///< valid during the call only
    const json_t* params;    ///< borrowed; an object
    Reply reply;
};

/// Has the server's messages answered, and what happens to the device and in the store told as events.
void requests_start(Requests& requests);

}  // namespace obxd
