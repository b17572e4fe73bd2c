// A daemon inside the test program: serves the metadata of a small model over a UNIX socket, and misbehaves
// where a test asks for it.
#pragma once

#include <jansson.h>
#include <pthread.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "ox_jrpcapi.hpp"
#include "session/channels.hpp"

struct ModelEntry {
    std::string name;  // objects end in "."
    std::string attributes;
};

class ModelDaemon {
public:
    std::vector<ModelEntry> model;
    std::atomic<bool> silent{false};      // answers wait until it is false again
    std::atomic<bool> failing{false};     // answers are errors
    std::atomic<bool> has_schema{false};  // answers hold a "Datamodel"
    std::string raw_list;                 // when set, the "ParameterList" of every answer

    ModelDaemon() {
        snprintf(path_, sizeof path_, "/tmp/obxmodel.%d.%d", getpid(), serial_++);
        unlink(path_);
        listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        struct sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        snprintf(address.sun_path, sizeof address.sun_path, "%s", path_);
        if (bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) abort();
        if (listen(listener_, 4) != 0) abort();
        pthread_create(&thread_, nullptr, run, this);
        request_channel = ox_jrpcapi_init();
        ox_jrpcapi_set_destination(request_channel, nullptr, path_, OX_SOCKET_LOCAL);
        ox_jrpcapi_connect(request_channel);
    }
    ~ModelDaemon() {
        ox_jrpcapi_deinit(request_channel);
        request_channel = nullptr;
        shutdown(listener_, SHUT_RDWR);
        if (client_ >= 0) shutdown(client_, SHUT_RDWR);
        silent = false;
        pthread_join(thread_, nullptr);
        close(listener_);
        unlink(path_);
    }
    ModelDaemon(const ModelDaemon&) = delete;
    ModelDaemon& operator=(const ModelDaemon&) = delete;

    void add(const std::string& name, const std::string& attributes) {
        std::lock_guard<std::mutex> lock(mutex_);
        model.push_back({name, attributes});
    }
    void remove(const std::string& prefix) {
        std::lock_guard<std::mutex> lock(mutex_);
        std::erase_if(model,
                      [&](const ModelEntry& e) { return e.name.compare(0, prefix.size(), prefix) == 0; });
    }
    /// The requests since the last call, "METHOD NAME LEVEL" each.
    std::vector<std::string> take_requests() {
        std::lock_guard<std::mutex> lock(mutex_);
        std::vector<std::string> taken;
        taken.swap(requests_);
        return taken;
    }
    /// The daemon goes away, its connection and its socket too.
    void die() {
        shutdown(listener_, SHUT_RDWR);
        if (client_ >= 0) shutdown(client_, SHUT_RDWR);
        silent = false;
        pthread_join(thread_, nullptr);
        unlink(path_);
        pthread_create(
            &thread_, nullptr, [](void*) -> void* { return nullptr; }, nullptr);
    }

private:
    static void* run(void* self) {
        static_cast<ModelDaemon*>(self)->serve();
        return nullptr;
    }
    void serve() {
        for (;;) {
            int fd = accept(listener_, nullptr, nullptr);
            if (fd < 0) return;
            client_ = fd;
            while (json_t* request = json_load_callback(read_some, &fd, JSON_DISABLE_EOF_CHECK, nullptr)) {
                std::string text = answer(request);
                json_decref(request);
                while (silent) usleep(1000);
                size_t sent = 0;
                while (sent < text.size()) {
                    ssize_t n = send(fd, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
                    if (n <= 0) break;
                    sent += static_cast<size_t>(n);
                }
            }
            client_ = -1;
            close(fd);
        }
    }
    static size_t read_some(void* buffer, size_t, void* data) {
        ssize_t n = recv(*static_cast<int*>(data), buffer, 1, 0);
        return n > 0 ? 1 : 0;
    }
    /// The entries below each name that ends in "." ("": all of them), and of each name itself.
    struct Index {
        std::unordered_map<std::string, std::vector<const ModelEntry*>> below;
        std::unordered_map<std::string, const ModelEntry*> own;

        explicit Index(const std::vector<ModelEntry>& model) {
            for (const ModelEntry& e : model) {
                const std::string& name = e.name;
                own.emplace(name, &e);
                if (name.back() == '.') own.emplace(name.substr(0, name.size() - 1), &e);
                below[""].push_back(&e);
                for (size_t dot = name.find('.'); dot < name.size() - 1; dot = name.find('.', dot + 1))
                    below[name.substr(0, dot + 1)].push_back(&e);
            }
        }
    };
    static bool is_number(const std::string& text) {
        return !text.empty() && text.find_first_not_of("0123456789.") == std::string::npos;
    }
    static void list_attributes(json_t* list, Index& index, std::string base, int level) {
        auto found = index.own.find(base);
        const ModelEntry* own = found == index.own.end() ? nullptr : found->second;
        if (base == ".") base = "";
        if (!base.empty() && base.back() != '.') base += ".";
        bool multi = own && own->attributes.find("\"multi\":true") != std::string::npos;
        if (own) append(list, *own);
        for (const ModelEntry* e : index.below[base]) {
            std::string rest = e->name.substr(base.size());
            bool child = rest.find('.') == std::string::npos || rest.find('.') == rest.size() - 1;
            if (level == 0 || (level == 1 && (!child || (multi && is_number(rest))))) continue;
            append(list, *e);
        }
    }
    static void append(json_t* list, const ModelEntry& e) {
        json_array_append_new(list, json_pack("{s:s,s:o}", "Name", e.name.c_str(), "Attributes",
                                              json_loads(e.attributes.c_str(), 0, nullptr)));
    }
    void list_names(json_t* list, const std::string& base) const {
        for (const ModelEntry& e : model) {
            if (e.name.size() <= base.size() || e.name.compare(0, base.size(), base) != 0) continue;
            std::string rest = e.name.substr(base.size());
            if (rest.find('#') != std::string::npos || rest.find('.') != rest.size() - 1) continue;
            json_array_append_new(list, json_pack("{s:s}", "Name", e.name.c_str()));
        }
    }
    std::string answer(json_t* request) {
        std::lock_guard<std::mutex> lock(mutex_);
        const char* method = json_string_value(json_object_get(request, "method"));
        json_t* params = json_object_get(request, "params");
        json_t* names = json_object_get(params, "ParameterNames");
        json_t* list = json_array();
        std::string log = method ? method : "";
        if (names) {
            size_t index;
            json_t* name;
            json_t* level = json_object_get(params, "Level");
            int depth = level ? static_cast<int>(json_integer_value(level)) : -1;
            Index entries(model);
            json_array_foreach(names, index, name) {
                list_attributes(list, entries, json_string_value(name), depth);
                log += std::string(" ") + json_string_value(name);
            }
            log += " " + std::to_string(depth);
        } else if (const char* path = json_string_value(json_object_get(params, "ParameterPath"))) {
            list_names(list, path);
            log += std::string(" ") + path;
        }
        requests_.push_back(log);
        if (!raw_list.empty()) {
            json_decref(list);
            list = json_loads(raw_list.c_str(), JSON_DECODE_ANY | JSON_ALLOW_NUL, nullptr);
        }
        json_t* response = json_pack("{s:s,s:O}", "jsonrpc", "2.0", "id", json_object_get(request, "id"));
        if (failing) {
            json_decref(list);
            json_object_set_new(response, "error", json_pack("{s:i,s:s}", "code", 9005, "message", "bad"));
        } else {
            json_object_set_new(response, "result", json_pack("{s:o}", "ParameterList", list));
            if (has_schema) {
                json_t* schema = json_pack("{s:{s:{}}}", "Datamodel", "Device");
                json_object_update_new(json_object_get(response, "result"), schema);
            }
        }
        char* text = json_dumps(response, JSON_COMPACT);
        std::string out = std::string(text) + "\n";
        free(text);
        json_decref(response);
        return out;
    }

    static inline int serial_ = 0;
    char path_[64];
    int listener_ = -1;
    std::atomic<int> client_{-1};
    pthread_t thread_{};
    std::mutex mutex_;
    std::vector<std::string> requests_;
};

/// A small router: hosts (a multi-instance object), ordered rules, a method, all kinds of values.
inline void small_router(ModelDaemon& daemon) {
    const char* object = R"({"type":"object","access":"readOnly"})";
    const char* multi = R"({"type":"object","access":"readWrite","multi":true})";
    const char* rules = R"({"type":"object","access":"readWrite","multi":true,"ordered":true})";
    const char* rule = R"({"type":"object","access":"readWrite","ordered":true})";
    const char* text = R"({"type":"string","access":"readWrite","default":""})";
    const char* fixed = R"({"type":"string","access":"readOnly","default":""})";
    daemon.model = {
        {"Device.", object},
        {"DataModelVersion", fixed},
        {"Device.DeviceInfo.", object},
        {"Device.DeviceInfo.UpTime", R"({"type":"unsignedInt","access":"readOnly"})"},
        {"Device.DeviceInfo.ProvisioningCode", text},
        {"Device.DeviceInfo.DeviceMode",
         R"({"type":"string","access":"readWrite","enum":["Router","Bridge",""]})"},
        {"Device.DeviceInfo.Level", R"({"type":"int","access":"readWrite","enum":[1,2,12]})"},
        {"Device.DeviceInfo.Enable", R"({"type":"boolean","access":"readWrite"})"},
        {"Device.DeviceInfo.Flag", R"({"type":"flag","access":"readWrite"})"},
        {"Device.DeviceInfo.Ref", R"({"type":"pathRef","access":"readWrite"})"},
        {"Device.Hosts.", object},
        {"Device.Hosts.Host.", multi},
        {"Device.Hosts.Host.#template.", object},
        {"Device.Hosts.Host.#template.IPAddress", fixed},
        {"Device.Hosts.Host.max_instance", R"({"type":"unsignedInt","access":"readOnly"})"},
        {"Device.Hosts.Host.1.", object},
        {"Device.Hosts.Host.1.IPAddress", fixed},
        {"Device.Hosts.Host.2.", object},
        {"Device.Hosts.Host.2.IPAddress", fixed},
        {"Device.Firewall.", object},
        {"Device.Firewall.Rule.", rules},
        {"Device.Firewall.Rule.#template.", rule},
        {"Device.Firewall.Rule.1.", rule},
        {"Device.Firewall.Rule.1.Enable", R"({"type":"boolean","access":"readWrite"})"},
        {"Device.Ping", R"({"type":"method"})"},
        {"Device.Ping.#input.", object},
        {"Device.Ping.#input.Delay", R"({"type":"int","access":"readWrite"})"},
        {"Device.Ping.#input.Destination", text},
        {"Device.Ping.#input.Force", R"({"type":"boolean","access":"readWrite"})"},
    };
}
