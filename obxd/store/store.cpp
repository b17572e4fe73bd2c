#include "store.hpp"

#include "store/attributes.hpp"
#include "store/config.hpp"
#include "store/dump.hpp"
#include "store/events.hpp"
#include "store/execute.hpp"
#include "store/instances.hpp"
#include "store/live.hpp"
#include "store/load.hpp"
#include "store/names.hpp"
#include "store/read.hpp"
#include "store/rows.hpp"
#include "store/select.hpp"
#include "store/snapshot.hpp"
#include "store/take_back.hpp"
#include "store/validate.hpp"
#include "store/values_file.hpp"
#include "store/write.hpp"

namespace obxd {

Store::Store() : model_(new Model) {}
Store::~Store() = default;

std::unique_ptr<Store> Store::load(const ModelFiles& files, std::string& error) {
    std::unique_ptr<Store> store(new Store);
    return model_load(*store->model_, files, error) ? std::move(store) : nullptr;
}

std::unique_ptr<Store> Store::load(const std::string& model_file, std::string& error) {
    return load(ModelFiles{model_file}, error);
}

json_t* Store::dump() const {
    return model_dump(*model_);
}

bool Store::load_values(const std::string& file, std::string& error) {
    return values_load(*model_, file, error);
}

const std::vector<std::string>& Store::notes() const {
    return model_->notes;
}

bool Store::make_rows(const std::map<std::string, uint32_t>& wanted, std::string& error) {
    return rows_make(*model_, wanted, error);
}

json_t* Store::event(std::string_view object, std::string_view name, const json_t* given) {
    return event_arguments(*model_, object, name, given);
}

Answer Store::get_values(const Caller& caller, const json_t* params, size_t room) {
    return values_get(*model_, caller, params, room);
}

Answer Store::set_values(const Caller& caller, const json_t* params, bool raw) {
    return values_set(*model_, caller, params, raw);
}

Answer Store::get_names(const Caller& caller, const json_t* params, size_t room) {
    return names_get(*model_, caller, params, room);
}

Answer Store::get_attributes(const Caller& caller, const json_t* params, size_t room) {
    return attributes_get(*model_, caller, params, room);
}

Answer Store::get_data_model(const Caller&, const json_t* params, size_t room) {
    return datamodel_get(*model_, params, room);
}

Answer Store::get_config(const Caller& caller, const json_t* params, size_t room) {
    return config_get(*model_, caller, params, room);
}

Answer Store::select(const Caller& caller, const json_t* params, size_t room) {
    return selection_get(*model_, caller, params, room);
}

Answer Store::add_object(const Caller& caller, const json_t* params) {
    return object_add(*model_, caller, params);
}

Answer Store::delete_object(const Caller& caller, const json_t* params) {
    return object_delete(*model_, caller, params);
}

Answer Store::check_execute(const Caller& caller, const json_t* params, std::string& path, json_t*& inputs) {
    return execute_check(*model_, caller, params, path, inputs);
}

json_t* Store::shown(const Caller& caller, std::string_view path) {
    Place place;
    if (!place_find(*model_, path, place) || !place.is_parameter()) return nullptr;
    std::string full(path);
    return caller_rank(caller) >= place.schema->read_rank ? place_value(place, &full) : nullptr;
}

int Store::write_rank(std::string_view path) {
    Place place;
    return place_find(*model_, path, place) ? place.schema->write_rank : -1;
}

json_t* Store::value(std::string_view path) {
    Place place;
    return parameter_find(*model_, path, place) ? value_read(place.node, place.schema, nullptr) : nullptr;
}

bool Store::set_value(std::string_view path, json_t* value) {
    return value_set(*model_, path, value);
}

uint32_t Store::add_instance(std::string_view object, const json_t* values) {
    return instance_add(*model_, object, values);
}

bool Store::delete_instance(std::string_view instance) {
    return instance_delete(*model_, instance);
}

std::vector<uint32_t> Store::instances(std::string_view object) {
    return instance_numbers(*model_, object);
}

void Store::set_live(std::string_view path, std::function<json_t*(const std::string& path)> reader) {
    live_set(*model_, path, std::move(reader));
}

void Store::set_hook(std::string_view path,
                     std::function<void(const std::string& path, json_t* value)> hook) {
    hook_set(*model_, path, std::move(hook));
}

void Store::set_listener(std::function<void(const Change&)> listener) {
    model_->listener = std::move(listener);
}

json_t* Store::snapshot() {
    return snapshot_take(*model_);
}

bool Store::restore(const json_t* snapshot, std::string& error) {
    return snapshot_restore(*model_, snapshot, error);
}

void Store::reset_defaults(const std::vector<std::string>& keep) {
    defaults_reset(*model_, keep);
}

void Store::undo_begin() {
    model_->undo = std::make_unique<UndoLog>();
}

void Store::undo_mine(bool mine) {
    if (model_->undo) model_->undo->mine = mine;
}

void Store::undo_forget() {
    model_->undo.reset();
}

std::vector<std::string> Store::undo_all() {
    return take_back(*model_);
}

bool Store::reset_object(std::string_view path) {
    return object_reset(*model_, path);
}

bool Store::validate(std::string& error) {
    return model_validate(*model_, error);
}

}  // namespace obxd
