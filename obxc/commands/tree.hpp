// tree, catree: a part of the model as a tree.
#pragma once

#include "complete/offers.hpp"
#include "obxc.hpp"

int tree_command(const char* name, json_t* args);
int catree_command(const char* name, json_t* args);
extern const Offer tree_offers[];
extern const Offer catree_offers[];
