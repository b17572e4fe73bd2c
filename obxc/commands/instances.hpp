// add, touch, take, del, rm, order: the instances of multi-instance objects.
#pragma once

#include "complete/offers.hpp"
#include "obxc.hpp"

int add_command(const char* name, json_t* args);
int take_command(const char* name, json_t* args);
int del_command(const char* name, json_t* args);
int order_command(const char* name, json_t* args);
extern const Offer add_offers[];
extern const Offer del_offers[];
extern const Offer order_offers[];
