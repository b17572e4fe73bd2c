// debug and sh: beyond the data model.
#pragma once

#include "complete/offers.hpp"
#include "obxc.hpp"

int debug_command(const char* name, json_t* args);
int sh_command(const char* name, json_t* args);
extern const Offer debug_offers[];
extern const Offer sh_offers[];
