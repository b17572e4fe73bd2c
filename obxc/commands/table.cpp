#include "commands/table.hpp"

#include "commands/attr.hpp"
#include "commands/cat.hpp"
#include "commands/debug.hpp"
#include "commands/device.hpp"
#include "commands/help.hpp"
#include "commands/instances.hpp"
#include "commands/login.hpp"
#include "commands/ls.hpp"
#include "commands/lua.hpp"
#include "commands/methods.hpp"
#include "commands/navigate.hpp"
#include "commands/record.hpp"
#include "commands/screen.hpp"
#include "commands/set.hpp"
#include "commands/transfer.hpp"
#include "commands/tree.hpp"

// name, method, id, hashes, handler, request handler, offers, syntax, help. `debug` is hidden: it has no
// texts. packaging/completion/generate.cmake reads the rows.
// clang-format off
ShellCommand command_table[COMMAND_COUNT] = {
    {"add", "AddObject", 1, 0, 0, add_command, add_command, add_offers,
     "add <path>", "add a new instance to multi-instance object"},
    {"attr", "GetParameterAttributes", 15, 0, 0, attr_command, attr_request, attr_offers,
     "attr [<path1> <path2>...]", "show node's attributes"},
    {"cd", nullptr, 4, 0, 0, cd_command, nullptr, cd_offers, "cd <path>", "cd to the node"},
    {"cat", "GetParameterValues", 2, 0, 0, cat_command, cat_command, cat_offers,
     "cat [<path1> <path2>...]", "retrieve node's values"},
    {"catree", nullptr, 3, 0, 0, catree_command, nullptr, catree_offers,
     "catree [<path1> <path2>...]", "retrieve node's values and print as tree"},
    {"clear", nullptr, 5, 0, 0, clear_command, nullptr, nullptr, "clear", "clear screen"},
    {"color", nullptr, 6, 0, 0, color_command, nullptr, color_offers, "color [<type> <hsv>]", "manage color scheme"},
    {"debug", nullptr, 8, 0, 0, debug_command, debug_command, debug_offers, nullptr, nullptr},
    {"del", "DeleteObject", 7, 0, 0, del_command, del_command, del_offers,
     "del <path>", "delete instance from multi-instance object"},
    {"download", "Download", 9, 0, 0, download_command, download_command, download_offers,
     "download <firmware|config|file> <path_to_file> [<target_file_name>]",
     "download a file to CPE and immediately apply if firmware|config"},
    {"get", "GetParameterValues", 2, 0, 0, cat_command, cat_command, cat_offers,
     "get [<path1> <path2>...]", "same as 'cat'"},
    {"help", nullptr, 14, 0, 0, help_command, nullptr, nullptr, "help", "show this message"},
    {"info", "GetParameterAttributes", 15, 0, 0, attr_command, attr_request, attr_offers,
     "info <path> [<path2>...]", "same as 'attr'"},
    {"login", nullptr, 18, 0, 0, login_command, login_command, nullptr,
     "login [<username> [ -p <password>]]", "login as user <username> (or as $USER if empty)"},
    {"logout", nullptr, 20, 0, 0, logout_command, logout_command, nullptr, "logout", "logout"},
    {"login_if_guest", nullptr, 19, 0, 0, login_if_guest_command, nullptr, nullptr,
     "login_if_guest <username|token> [<password>]", "try login if not authorized"},
    {"ls", "GetParameterNames", 21, 0, 0, ls_command, ls_command, ls_offers,
     "ls [-l] [<path1> <path2>...]", "list object's subnodes"},
    {"lua", "lua", 22, 0, 0, lua_command, lua_command, nullptr,
     "lua [<Lua statement>]", "run Lua script (without arguments - enter Luamode)"},
    {"luarecord", nullptr, 23, 0, 0, luarecord_command, nullptr, record_offers,
     "luarecord <filename>", "create lua-script from Lua session"},
    {"opt", nullptr, 25, 0, 0, opt_command, nullptr, opt_offers,
     "opt autocomplete|hint on|off", "enable/disable shell options"},
    {"order", "ChangeOrder", 26, 0, 0, order_command, order_command, order_offers,
     "order <path> <num>", "assign order number to instance"},
    {"pwd", nullptr, 27, 0, 0, pwd_command, nullptr, nullptr, "pwd", "print current path"},
    {"reboot", "Reboot", 28, 0, 0, process_reboot, process_reboot, reboot_offers,
     "reboot [-f] [<DeviceMode>]", "reboot device (force reboot with '-f')"},
    {"reset", "FactoryReset", 30, 0, 0, process_reset, process_reset, reset_offers,
     "reset [all]", "reset device configuration to default"},
    {"rm", "DeleteObject", 7, 0, 0, del_command, del_command, del_offers, "rm <path>", "same as 'del'"},
    {"save", "SaveConfig", 33, 0, 0, process_save, process_save, nullptr,
     "save [<name>]", "save device configuration in NVRAM"},
    {"select", nullptr, 34, 0, 0, select_command, select_command, select_offers, "select <path>", "select config paths"},
    {"set", "SetParameterValues", 35, 0, 0, set_command, set_command, set_offers,
     "set <path>=<value> [...]", "set parameters' values"},
    {"record", nullptr, 29, 0, 0, record_command, nullptr, record_offers,
     "record <filename>|abort", "create obxc-script from current shell session"},
    {"sh", nullptr, 36, 0, 0, sh_command, sh_command, sh_offers,
     "sh [<cmd> <...>]", "runs command (without arguments - run interactive shell"},
    {"touch", "AddObject", 1, 0, 0, add_command, add_command, add_offers, "touch <path>", "same as 'add'"},
    {"take", nullptr, 37, 0, 0, take_command, nullptr, add_offers,
     "take <path>", "add a new instance to multi-instace object and cd to it"},
    {"tree", nullptr, 38, 0, 0, tree_command, nullptr, tree_offers, "tree [<path>]", "show node scheme in tree form"},
    {"up", nullptr, 39, 0, 0, up_command, nullptr, nullptr, "up [<levels>]", "cd to upper level node"},
    {"upgrade", nullptr, 40, 0, 0, upgrade_command, upgrade_command, upgrade_offers,
     "upgrade <path_to_firmware>", "upgrade CPE firmware"},
    {"upload", "Upload", 41, 0, 0, upload_command, upload_command, upload_offers,
     "upload config <remote_url> [<target_file_name>]", "upload config to remote server"},
    {"execute", nullptr, 12, 0, 0, execute_command, execute_command, execute_offers,
     "execute <path_to_method> [<rpath1>=<value1> <rpath2>=<value2>...]", "execute method"},
};
// clang-format on
