// The data model and its values: everything that requests about the model ask, change or are refused.
//
// Plain functions on one Store, no sockets: the server hands in a user and gets a JSON result or a fault. The
// store reports every change it makes through its listener, whoever made it.
#pragma once

#include <jansson.h>
#include <stdint.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "answers.hpp"
#include "bounds.hpp"
#include "caller.hpp"
#include "store/change.hpp"
#include "store/model_files.hpp"

namespace obxd {

struct Model;

class Store {
public:
    /// Loads a model file (schema and instances). Returns null and fills `error` when the file is unreadable
    /// or wrong.
    static std::unique_ptr<Store> load(const ModelFiles& files, std::string& error);
    static std::unique_ptr<Store> load(const std::string& model_file, std::string& error);
    ~Store();
    /// What is odd in the model but no reason to refuse it.
    const std::vector<std::string>& notes() const;

    /// Adds the values of a file (docs/model.md) to those of the model file. False with `error` that names
    /// the file and what is wrong in it.
    bool load_values(const std::string& file, std::string& error);
    /// Makes up rows; see rows.hpp for `wanted`.
    bool make_rows(const std::map<std::string, uint32_t>& wanted, std::string& error);

    /// The model as a model file in JSON: a new reference.
    json_t* dump() const;

    // Requests: `params` is borrowed, the answer's references belong to the caller. An answer that would be
    // longer than `room` bytes is cut.
    Answer get_values(const Caller&, const json_t* params, size_t room = MAX_MESSAGE);
    Answer set_values(const Caller&, const json_t* params, bool raw);
    Answer get_names(const Caller&, const json_t* params, size_t room = MAX_MESSAGE);
    Answer get_attributes(const Caller&, const json_t* params, size_t room = MAX_MESSAGE);
    Answer get_data_model(const Caller&, const json_t* params, size_t room = MAX_MESSAGE);
    Answer get_config(const Caller&, const json_t* params, size_t room = MAX_MESSAGE);
    Answer select(const Caller&, const json_t* params, size_t room = MAX_MESSAGE);
    Answer add_object(const Caller&, const json_t* params);
    Answer delete_object(const Caller&, const json_t* params);

    /// A method node and the checked input arguments of an Execute request, for the server to run: fills
    /// `path` with the method's full path in the model's own spelling and `inputs` (a new object of relative
    /// name to value, with the defaults filled in). A fault otherwise (code 0: fine).
    Answer check_execute(const Caller&, const json_t* params, std::string& path, json_t*& inputs);

    /// The value of a parameter as a request would be shown it: a new reference; null where there is none, or
    /// the caller may not read it.
    json_t* shown(const Caller&, std::string_view path);

    /// The least role that may set, extend or call what stands at the path; -1 where there is nothing.
    int write_rank(std::string_view path);

    /// The arguments of an event of the model, a new object: see events.hpp.
    json_t* event(std::string_view object, std::string_view name, const json_t* given);

    // The daemon's own access, with no permission check and regardless of read-only.
    json_t* value(std::string_view path);                  ///< borrowed, null when there is none
    bool set_value(std::string_view path, json_t* value);  ///< takes over `value`; tells the listener
    /// Adds an instance with these values (object of relative name to value, borrowed, may be null); 0 on
    /// failure.
    uint32_t add_instance(std::string_view object, const json_t* values);
    bool delete_instance(std::string_view instance);
    std::vector<uint32_t> instances(std::string_view object);

    /// Values computed when they are read: the function gives a new reference for each read of the parameter,
    /// or null to leave the stored value as it is; it must not read the parameter itself through value().
    /// A path with "*" components serves every instance, and the function is handed the full path.
    void set_live(std::string_view path, std::function<json_t*(const std::string& path)> reader);
    /// Run after a parameter was changed by a request (for what a real device would do then).
    void set_hook(std::string_view path, std::function<void(const std::string& path, json_t* value)> hook);
    void set_listener(std::function<void(const Change&)> listener);

    /// The running configuration (all writable values and instances): a new reference, for SaveConfig and
    /// restore.
    json_t* snapshot();
    /// Replaces the running configuration by a snapshot. The listener is told of instances, not of values.
    /// False when it does not fit the model.
    bool restore(const json_t* snapshot, std::string& error);
    /// Back to the values of the model file; the listener is told as by restore(). `keep` names subtrees to
    /// leave alone.
    void reset_defaults(const std::vector<std::string>& keep);

    // An open change. What is altered while it is `mine` is noted; what others alter is theirs from then on.
    void undo_begin();
    void undo_mine(bool mine);
    void undo_forget();
    /// Takes back what was noted: see take_back.hpp.
    std::vector<std::string> undo_all();

    /// Sets the parameters of one object that can be set (not of those below it) to the values of the model
    /// file; tells the listener. False when there is no such object.
    bool reset_object(std::string_view path);

    /// Checks every present value against its own type, bounds, references and keys, as a request would be.
    /// False with the first that does not fit.
    bool validate(std::string& error);

private:
    Store();
    std::unique_ptr<Model> model_;
};

}  // namespace obxd
