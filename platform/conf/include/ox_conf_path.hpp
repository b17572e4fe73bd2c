// Helpers on configuration trees and the texts of paths.
#pragma once

#include <jansson.h>

/// The object at a dotted path inside a configuration tree, borrowed, or null. Final and doubled dots are
/// ignored.
json_t* ox_conf_find_branch(json_t* tree, const char* path);
/// Cuts the last component off a dotted path in place, a final "." not counting as one. `flags` is 0; with
/// `keep_dot` non-zero the remaining path keeps its final ".".
void ox_conf_strip_path_adv(char* path, int flags, int keep_dot);

enum { OX_CONF_PATH_SIZE = 257 };
/// The canonical form of a path text: leading ":" and dots, doubled dots and the final dot removed, "<"
/// components resolved, "*" written "#template". An empty result is the root; a text over 256 characters
/// gives one too, and -1. Returns 0 otherwise.
int ox_conf_path_canonize(int flags, const char* in, char out[OX_CONF_PATH_SIZE]);
