// download, upgrade and upload: files between this host and the device.
#pragma once

#include "complete/offers.hpp"
#include "obxc.hpp"

int download_command(const char* name, json_t* args);
int upgrade_command(const char* name, json_t* args);
int upload_command(const char* name, json_t* args);
extern const Offer download_offers[];
extern const Offer upgrade_offers[];
extern const Offer upload_offers[];
