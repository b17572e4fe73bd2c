// cd, up, pwd: moving through the model.
#pragma once

#include "complete/offers.hpp"
#include "obxc.hpp"

int cd_command(const char* name, json_t* args);
int up_command(const char* name, json_t* args);
int pwd_command(const char* name, json_t* args);
extern const Offer cd_offers[];
