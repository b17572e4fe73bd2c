// References between objects, and what becomes of them when an instance goes.
#pragma once

#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "store/model.hpp"

namespace obxd {

/// What holds a reference to something that is to go.
struct Referrer {
    Node* node;
    const Schema* parameter;
    Verdict verdict;
};

/// Takes notice of a parameter of the model whose references a delete empties: weak ones may dangle.
void reference_note(Model& model, const Schema* parameter);
/// What refers to the instance of that path or to something below it.
std::vector<Referrer> referrers_of(Model& model, const std::string& deleted);
/// Empties the reference, or takes it out of the list; tells the listener.
void reference_clear(Model& model, const Referrer& referrer, const std::string& deleted);
/// Empties a reference that names nothing that is there, or takes what does so out of the list. True when
/// something was taken out.
bool reference_tidy(Model& model, Node* node, const Schema* parameter);
/// Empties every reference to one of these instances (paths that end in ".") or to something below.
void references_forget(Model& model, const std::unordered_set<std::string_view>& gone);

}  // namespace obxd
