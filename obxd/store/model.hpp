// The record that the store's files work on: a schema and the values in it.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "store/change.hpp"
#include "store/schema.hpp"
#include "store/texts.hpp"
#include "store/tree.hpp"
#include "store/undo_log.hpp"

namespace obxd {

/// A parameter whose values a delete has to look at.
struct Reference {
    const Schema* parameter;
    std::vector<std::string> targets;  ///< from the top; empty: anything
};

struct Model {
    Texts texts;  ///< what the schema's texts stand in
    Schema root;
    std::unique_ptr<Node> top;
    JsonRef pristine;                             ///< the values of the model file: a configuration tree
    JsonRef max_attrs, order_attrs, index_attrs;  ///< of the pseudo-parameters
    std::vector<Reference> references;
    bool show_all = false;           ///< deleted nodes are there, and obsoleted ones are listed
    std::vector<std::string> notes;  ///< what is odd in the model, for whoever starts the daemon
    std::function<void(const Change&)> listener;
    std::unique_ptr<UndoLog> undo;  ///< while a change is open
};

}  // namespace obxd
