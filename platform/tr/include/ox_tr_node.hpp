// Schema nodes: their types, marks and attributes, and the node of a full name.
//
// A schema node is a JSON object that holds its attributes under "#attr" and its children under their names.
#pragma once

#include <jansson.h>

#include <string_view>

enum ox_tr_type {
    OX_TR_UNKNOWN = 0,
    OX_TR_OBJECT = 1,
    OX_TR_METHOD = 2,
    OX_TR_STRING = 3,
    OX_TR_BOOLEAN = 4,
    OX_TR_INT = 5,
    OX_TR_UNSIGNED_INT = 6,
    OX_TR_LONG = 7,
    OX_TR_UNSIGNED_LONG = 8,
    OX_TR_DECIMAL = 9,
    OX_TR_DATE_TIME = 10,
    OX_TR_BASE64 = 11,
    OX_TR_HEX_BINARY = 12,
    OX_TR_IP_ADDRESS = 13,
    OX_TR_IP_PREFIX = 14,
    OX_TR_MAC_ADDRESS = 15,
    OX_TR_URL = 16,
    OX_TR_ALIAS = 17,
    OX_TR_UUID = 18,
    OX_TR_LIST = 19,
    OX_TR_JSON = 20,
    OX_TR_PATH_REF = 23,
    OX_TR_FLAG = 25,
    OX_TR_NAMED = 30,  ///< a named data type of the model
};

/// The type code of a node's "#attr" "type"; OX_TR_UNKNOWN for null, for no object and for a node without
/// type.
int ox_tr_dm_node_type_get(const json_t* node);
/// The code of a type text; a list may name the type of its items ("unsignedInt[]"). Any other text is
/// OX_TR_NAMED, null OX_TR_UNKNOWN.
int ox_tr_dm_type_parse(const char* type);
/// 1 for the codes of parameters, else 0.
int ox_tr_dm_type_is_parameter(int type);
/// 1 when the schema marks the node multi-instance (an instance or template of it is not), else 0.
int ox_tr_dm_node_is_multi(const json_t* node);
int ox_tr_dm_node_is_ordered(const json_t* node);
/// Whether a key of a schema node is the name of a child: the other ones begin with "#".
inline bool ox_tr_is_child(const char* key) {
    return key[0] != '#';
}
/// Whether a key is one that the client itself sets in a node: no name from outside may take it.
bool ox_tr_is_mark(std::string_view key);
/// The attributes ("#attr"), borrowed, or null.
json_t* ox_tr_dm_node_attr_get(const json_t* node);
/// The default value, borrowed, or null.
json_t* ox_tr_dm_node_default_get(const json_t* node);
/// The number base: 2, 8, 10 or 16; 10 when none is given.
int ox_tr_dm_node_get_base(const json_t* node);
/// The node of a full name below `root`; an instance number without a node of its own gives the "#template"
/// beside it. Borrowed, or null (also when `root` is null).
json_t* ox_tr_node_find(json_t* root, const char* name);
