// clear, color, opt: the look of the shell.
#pragma once

#include "complete/offers.hpp"
#include "obxc.hpp"

int clear_command(const char* name, json_t* args);
int color_command(const char* name, json_t* args);
int opt_command(const char* name, json_t* args);
extern const Offer color_offers[];
extern const Offer opt_offers[];
