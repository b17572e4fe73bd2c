#include <string.h>

#include <initializer_list>

#include "ox_tr_names.hpp"
#include "ox_tr_node.hpp"
#include "ox_tr_path.hpp"

namespace {

struct TypeName {
    const char* name;
    int code;
};

const TypeName type_names[] = {
    {"object", OX_TR_OBJECT},
    {"method", OX_TR_METHOD},
    {"string", OX_TR_STRING},
    {"boolean", OX_TR_BOOLEAN},
    {"int", OX_TR_INT},
    {"unsignedInt", OX_TR_UNSIGNED_INT},
    {"long", OX_TR_LONG},
    {"unsignedLong", OX_TR_UNSIGNED_LONG},
    {"decimal", OX_TR_DECIMAL},
    {"dateTime", OX_TR_DATE_TIME},
    {"base64", OX_TR_BASE64},
    {"hexBinary", OX_TR_HEX_BINARY},
    {"IPAddress", OX_TR_IP_ADDRESS},
    {"IPPrefix", OX_TR_IP_PREFIX},
    {"MACAddress", OX_TR_MAC_ADDRESS},
    {"URL", OX_TR_URL},
    {"Alias", OX_TR_ALIAS},
    {"UUID", OX_TR_UUID},
    {"list", OX_TR_LIST},
    {"json", OX_TR_JSON},
    {"pathRef", OX_TR_PATH_REF},
    {"flag", OX_TR_FLAG},
};

}  // namespace

int ox_tr_dm_type_parse(const char* type) {
    if (!type) return OX_TR_UNKNOWN;
    for (const TypeName& row : type_names) {
        if (strcmp(row.name, type) == 0) return row.code;
    }
    size_t length = strlen(type);
    if (length > 2 && strcmp(type + length - 2, "[]") == 0) return OX_TR_LIST;
    return OX_TR_NAMED;
}

int ox_tr_dm_type_is_parameter(int type) {
    if (type == OX_TR_NAMED) return 1;
    for (const TypeName& row : type_names) {
        if (row.code == type) return type != OX_TR_OBJECT && type != OX_TR_METHOD;
    }
    return 0;
}

bool ox_tr_is_mark(std::string_view key) {
    for (std::string_view mark :
         {OX_TR_INFO, OX_TR_ATTR, OX_TR_FETCHED, OX_TR_LOST, OX_TR_SHARED, OX_TR_PARTIAL, OX_TR_LARGE}) {
        if (key == mark) return true;
    }
    return false;
}

json_t* ox_tr_dm_node_attr_get(const json_t* node) {
    return json_object_get(node, OX_TR_ATTR);
}

int ox_tr_dm_node_type_get(const json_t* node) {
    return ox_tr_dm_type_parse(json_string_value(json_object_get(ox_tr_dm_node_attr_get(node), "type")));
}

int ox_tr_dm_node_is_multi(const json_t* node) {
    return json_is_true(json_object_get(ox_tr_dm_node_attr_get(node), "multi"));
}

int ox_tr_dm_node_is_ordered(const json_t* node) {
    return json_is_true(json_object_get(ox_tr_dm_node_attr_get(node), "ordered"));
}

json_t* ox_tr_dm_node_default_get(const json_t* node) {
    return json_object_get(ox_tr_dm_node_attr_get(node), "default");
}

int ox_tr_dm_node_get_base(const json_t* node) {
    json_int_t base = json_integer_value(json_object_get(ox_tr_dm_node_attr_get(node), "base"));
    return base == 2 || base == 8 || base == 16 ? static_cast<int>(base) : 10;
}

json_t* ox_tr_node_find(json_t* root, const char* name) {
    json_t* node = root;
    for (std::string_view component : ox_tr_components(name ? name : "")) {
        if (!node) break;
        json_t* child = json_object_getn(node, component.data(), component.size());
        node = child || !ox_tr_is_instance(component) ? child : json_object_get(node, OX_TR_TEMPLATE);
    }
    return node;
}
