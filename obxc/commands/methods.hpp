// execute, select: methods of the model, and the paths that match a selector.
#pragma once

#include "complete/offers.hpp"
#include "obxc.hpp"

int execute_command(const char* name, json_t* args);
int select_command(const char* name, json_t* args);
extern const Offer execute_offers[];
extern const Offer select_offers[];
