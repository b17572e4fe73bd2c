// Noting what an open change alters, so that it can be taken back.
//
// Every alteration is told here. What belongs to the change is noted with how it was before; what somebody
// else alters stays as he wants it, so what the change had done there is forgotten. Without an open change
// nothing happens.
#pragma once

#include <string>
#include <vector>

#include "store/model.hpp"

namespace obxd {

/// About so many bytes it takes to note a value, or the loss of a row.
size_t undo_size(const json_t* before);
size_t undo_size(const Node* row);
/// Whether there is room to note so much more; why not, for people.
inline constexpr char UNDO_FULL[] = "The open change takes too much memory: confirm or cancel it first";
bool undo_has_room(const Model& model, size_t size);

/// A value was `before`.
void undo_value(Model& model, const Node* node, const Schema* parameter, json_t* before);
/// The same, where it is no more than what follows from something else.
void undo_consequence(Model& model, const Node* node, const Schema* parameter, json_t* before);
/// A row has come; one has gone.
void undo_added(Model& model, const Node* row);
void undo_deleted(Model& model, const std::string& path, std::unique_ptr<Node> row);
/// The rows of an ordered table are about to be put into another order.
void undo_moved(Model& model, const Node* table);
/// Somebody has put a tree of values in force, or (null) those of the model, but for what `keep` names.
void undo_overrule(Model& model, const json_t* tree, const std::vector<std::string>& keep);

}  // namespace obxd
