#include "commands/transfer.hpp"

#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "commands/firmware.hpp"
#include "commands/serve_file.hpp"
#include "commands/words.hpp"
#include "complete/files.hpp"
#include "ox_home.hpp"
#include "ox_jrpcapi.hpp"
#include "ox_jrpcmsg.hpp"
#include "ox_md5.hpp"
#include "ox_raii.hpp"
#include "ox_socket.hpp"
#include "ox_string.hpp"
#include "ox_url.hpp"
#include "session/request.hpp"

namespace {

enum { URL_SIZE = 4096 };

struct FileKind {
    const char* word;
    const char* type;
};
constexpr FileKind download_kinds[] = {{"firmware", "Firmware"}, {"config", "Config"}, {"file", "File"}};
constexpr FileKind upload_kinds[] = {{"config", "Config"}, {"buildconfig", "BuildConfig"}, {"log", "Log"}};

/// The words of a transfer: kind (its type), path or destination ("~" replaced by the home), and the target's
/// name (may be null).
struct TransferWords {
    const char* type;
    CharsRef path;
    json_t* target;
};

template <size_t N>
bool read_words(json_t* args, const FileKind (&kinds)[N], TransferWords* words) {
    size_t count = json_array_size(args);
    if (count != 2 && count != 3) return false;
    const char* word = word_at(args, 0);
    words->type = nullptr;
    for (const FileKind& kind : kinds) {
        if (word && strcmp(word, kind.word) == 0) words->type = kind.type;
    }
    const char* path = word_at(args, 1);
    words->path.reset(path ? ox_home_expand(path) : nullptr);
    words->target = json_array_get(args, 2);
    return words->type && path;
}

bool is_url(const char* text) {
    ox_url url = {};
    return ox_url_parse_mem(&url, text, strlen(text)) != 0;
}

bool daemon_is_local() {
    return ox_socket_type(ox_jrpcapi_socket(request_channel)) == OX_SOCKET_LOCAL;
}

/// "file://" and the resolved path; false when there is no such file.
bool file_url(const char* path, char url[URL_SIZE]) {
    char resolved[PATH_MAX];
    if (!realpath(path, resolved)) return false;
    ox_string_strlcpy(url, "file://", URL_SIZE);
    ox_string_strlcat(url, resolved, URL_SIZE);
    return true;
}

json_t* transfer_params(const TransferWords& words, const char* url) {
    return json_pack("{s: s, s: s}", "FileType", words.type, "URL", url);
}

void add_target(json_t* params, const TransferWords& words) {
    if (words.target) json_object_set(params, "TargetFileName", words.target);
}

void add_md5(json_t* params, const char* path) {
    uint8_t digest[OX_MD5_SIZE];
    char text[OX_MD5_TEXT_SIZE];
    if (ox_md5_calculate_from_file_region(digest, path, 0, 0, -1) != 0) return;
    if (ox_md5_to_str(text, digest) == 0) json_object_set_new(params, "MD5", json_string(text));
}

/// Executes a transfer that needs no more than one request: silent on success.
int transfer(const char* method, json_t* params) {
    MsgRef message(request_new(method, params));
    request_exec(message, -1);
    if (ox_jrpcmsg_typeof(message) == OX_JRPCMSG_RESULT) return 0;
    response_report(message);
    return -1;
}

int download_syntax(const char* name) {
    printf("syntax: %s <firmware|config|file> <path_to_file> [<target_file_name>]\n", name);
    return -1;
}

int upload_syntax(const char* name) {
    printf("syntax: %s config <remote_url> [<target_file_name>]\n", name);
    return -1;
}

}  // namespace

int download_command(const char* name, json_t* args) {
    TransferWords words;
    if (!read_words(args, download_kinds, &words)) return download_syntax(name);
    char url[URL_SIZE];
    size_t served = 0;
    bool given = is_url(words.path);
    if (given) {
        ox_string_strlcpy(url, words.path, sizeof(url));
    } else if (daemon_is_local()) {
        if (!file_url(words.path, url)) return download_syntax(name);
    } else if (serve_file(words.path, url, sizeof(url), &served) != 0) {
        return -1;
    }
    JsonRef params(transfer_params(words, given ? words.path.get() : url));
    if (!params) return download_syntax(name);
    add_md5(params, words.path);
    add_target(params, words);
    if (served > 0) json_object_set_new(params, "FileSize", json_integer(static_cast<json_int_t>(served)));
    if (strcmp(words.type, "Firmware") == 0) return firmware_transaction(params);
    return transfer("Download", params);
}

int upgrade_command(const char*, json_t* args) {
    JsonRef words(json_array());
    json_array_append_new(words, json_string("firmware"));
    json_array_extend(words, args);
    return download_command("download", words);
}

int upload_command(const char* name, json_t* args) {
    TransferWords words;
    if (!read_words(args, upload_kinds, &words)) return upload_syntax(name);
    char url[URL_SIZE];
    bool given = is_url(words.path);
    if (!given && (!daemon_is_local() || !file_url(words.path, url))) return upload_syntax(name);
    JsonRef params(transfer_params(words, given ? words.path.get() : url));
    if (!params) return upload_syntax(name);
    add_target(params, words);
    return transfer("Upload", params);
}

const Offer download_offers[] = {
    {1, 1, offer_keywords, 0, "config file firmware"}, {2, 2, offer_files, 0, nullptr}, {}};
const Offer upgrade_offers[] = {{1, LAST_WORD, offer_files, 0, nullptr}, {}};
const Offer upload_offers[] = {{1, 1, offer_keywords, 0, "config"}, {2, 2, offer_files, 0, nullptr}, {}};
