// record: the lines of a session as a script.
#pragma once

#include "complete/offers.hpp"
#include "obxc.hpp"

int record_command(const char* name, json_t* args);
extern const Offer record_offers[];
