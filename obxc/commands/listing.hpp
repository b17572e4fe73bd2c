// The rows of the long listing.
#pragma once

#include "obxc.hpp"
#include "ox_jrpclist.hpp"
#include "ox_raii.hpp"
#include "ox_vect.hpp"

/// One row; the texts are cut to their fields.
struct LsEntry {
    char type[50];
    char access[50];
    char flags[20];
    char perms[20];
    char name[257];
};

using VectRef = ox_owner<ox_vect, ox_vect_free>;

/// A new empty vector that owns its rows and sorts objects before everything else, then by name.
ox_vect* ls_entries_new(void);
/// Adds a row for each element of an answer's "ParameterList"; the first `prefix` bytes and one "." are cut
/// off the names.
void ls_repack_list(ox_vect* entries, const json_t* list, size_t prefix);
/// The same for one element while it arrives.
void ls_repack_element(ox_vect* entries, const ox_list_element* element, size_t prefix);
