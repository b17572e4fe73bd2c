// set: parameter values, all assignments of a command in one request.
#pragma once

#include "complete/offers.hpp"
#include "obxc.hpp"

int set_command(const char* name, json_t* args);
extern const Offer set_offers[];
