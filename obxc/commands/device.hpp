// save, reboot and reset: requests about the device as a whole.
#pragma once

#include "complete/offers.hpp"
#include "obxc.hpp"

int process_save(const char* name, json_t* args);
int process_reboot(const char* name, json_t* args);
int process_reset(const char* name, json_t* args);
extern const Offer reboot_offers[];
extern const Offer reset_offers[];
