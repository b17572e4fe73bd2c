// The command handlers of the table, by family.
#pragma once

#include "obxc.hpp"

// ls.cpp
int ls_command(const char* name, json_t* args);
// cat.cpp
int cat_command(const char* name, json_t* args);
// set.cpp
int set_command(const char* name, json_t* args);
// instances.cpp
int add_command(const char* name, json_t* args);
int take_command(const char* name, json_t* args);
int del_command(const char* name, json_t* args);
int order_command(const char* name, json_t* args);
// attr.cpp
int attr_command(const char* name, json_t* args);
int attr_request(const char* name, json_t* args);
// tree.cpp
int tree_command(const char* name, json_t* args);
int catree_command(const char* name, json_t* args);
// methods.cpp
int execute_command(const char* name, json_t* args);
int select_command(const char* name, json_t* args);
// device.cpp
int process_save(const char* name, json_t* args);
int process_reboot(const char* name, json_t* args);
int process_reset(const char* name, json_t* args);
// transfer.cpp
int download_command(const char* name, json_t* args);
int upgrade_command(const char* name, json_t* args);
int upload_command(const char* name, json_t* args);
// debug.cpp
int debug_command(const char* name, json_t* args);
int sh_command(const char* name, json_t* args);
// screen.cpp
int clear_command(const char* name, json_t* args);
int color_command(const char* name, json_t* args);
int opt_command(const char* name, json_t* args);
