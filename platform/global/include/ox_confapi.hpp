// Configuration queries over one connection, and helpers on configuration trees and paths.
#pragma once

#include <jansson.h>
#include <stddef.h>

#include "ox_jrpcapi.hpp"

/// The connection that the queries use from then on.
void ox_confapi_set_ctx(ox_jrpcapi* api);
/// Keeps the next query from printing its error (1), or not (0).
void ox_confapi_ignore_next_error_exec(int ignore);
/// Prints what a failed message says: "[code] text: detail", and a line for each member of its error data.
void ox_confapi_print_failure(const ox_jrpcmsg* message);
/// Executes a request on the context's connection and prints its failure. Returns 0 for a
/// result, else negative. The message stays the caller's.
int ox_confapi_exec(ox_jrpcmsg* message);

/// One parameter's value by GetParameterValues: a new reference, or null (the error is printed unless
/// ignored).
json_t* ox_confapi_getconfig(const char* path);
/// The configuration below `path` as one object from the top of the model (GetConfig), a new reference, or
/// null.
json_t* _ox_confapi_getconfig_fullpath(const char* path, int flags);
/// The entries that match a selector: an object of full path to value subtree, a new reference, or null.
json_t* ox_confapi_select_new(const char* selector, int flags, int reserved);
/// The last failed message of the queries, borrowed; null when none failed yet. `reserved` is null.
ox_jrpcmsg* ox_confapi_get_last_message(void* reserved);

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
