// Configuration queries over one connection.
#pragma once

#include <jansson.h>

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
