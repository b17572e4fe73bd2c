// Compact storage for the many small pieces of a large parsed message.
//
// jansson allocates each node, key and text by itself; malloc's own bytes and rounding make a fifth of such a
// tree. Between begin and end, small pieces come from slabs of pieces of one size instead, inside one
// reserved range of addresses, so that a piece is known by its address when it is released, whenever that is.
// An empty slab goes back to the system. Outside of begin and end everything comes from malloc as ever (what
// json_dumps returns is released with free). For one thread: the one that owns the connections.
#pragma once

void json_pool_begin(void);
void json_pool_end(void);
