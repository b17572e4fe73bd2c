// ls: the children of a node.
#pragma once

#include "complete/offers.hpp"
#include "obxc.hpp"

int ls_command(const char* name, json_t* args);
extern const Offer ls_offers[];
