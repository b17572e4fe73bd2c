// attr, info: the schema attributes of nodes.
#pragma once

#include "complete/offers.hpp"
#include "obxc.hpp"

int attr_command(const char* name, json_t* args);
int attr_request(const char* name, json_t* args);
extern const Offer attr_offers[];
