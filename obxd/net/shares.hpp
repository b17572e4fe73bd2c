// The memory that clients take up, and who has to wait or to go where it is too much.
#pragma once

#include "net/server.hpp"

namespace obxd {

/// What the connection's client shares with others of its kind.
const Share& share_of(const Connection& c);

/// True while the connection may go on with its message.
bool share_takes_input(const Server& server, const Connection& c);

/// How long an answer on this connection may become now, MAX_MESSAGE at most: what is left of the share where
/// nobody waits for it.
size_t share_room(const Server& server, const Connection& c);
/// Has the connection wait: its answer is longer than `gave_up`, and there is no room for more.
void share_wait(Server& server, Connection& c);
/// Says that its message was answered.
void share_served(Connection& c);
/// Lets those go on for whose answers there is room now: of each kind the first.
void share_wake(Server& server);
/// True where answers that this connection does not read make others wait.
bool share_is_pressed(const Server& server, const Connection& c);

/// True while one more event may wait for the connection to read it.
bool share_takes_event(const Server& server, const Connection& c);
/// Closes those that read no events, the one with most of them first, until all that are left fit.
void share_drop_deaf(Server& server);

/// Gives memory that is not in use any more back to the system.
void share_trim(Server& server);

}  // namespace obxd
