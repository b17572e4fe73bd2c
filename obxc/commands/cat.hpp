// cat, get: current values.
#pragma once

#include "complete/offers.hpp"
#include "obxc.hpp"

int cat_command(const char* name, json_t* args);
extern const Offer cat_offers[];
