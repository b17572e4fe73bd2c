#include "requests/missed.hpp"

#include "ox_tr_path.hpp"

namespace obxd {

namespace {

constexpr size_t MAX_MISSED = 20000;

void drop_left_out(MissedChanges& missed) {
    std::vector<MissedChanges::Entry> kept;
    missed.added.clear();
    for (auto& entry : missed.entries) {
        if (entry.instance.empty()) continue;
        if (entry.kind == Change::ADD) missed.added[entry.instance] = kept.size();
        kept.push_back(std::move(entry));
    }
    missed.entries = std::move(kept);
    missed.left_out = 0;
}

}  // namespace

bool missed_note(MissedChanges& missed, const Change& change) {
    bool adds = change.kind == Change::ADD;
    std::string instance = adds ? change.path + std::to_string(change.instance) + "." : change.path;
    auto known = missed.added.find(instance);
    if (!adds && known != missed.added.end()) {
        missed.entries[known->second].instance.clear();
        missed.added.erase(known);
        missed.left_out++;
        if (missed.left_out * 2 > MAX_MISSED) drop_left_out(missed);
        return true;
    }
    if (missed.entries.size() - missed.left_out >= MAX_MISSED) return false;
    if (adds) missed.added[instance] = missed.entries.size();
    missed.entries.push_back({change.kind, std::move(instance)});
    return true;
}

std::vector<Change> missed_take(MissedChanges& missed) {
    std::vector<Change> changes;
    for (const MissedChanges::Entry& entry : missed.entries) {
        if (entry.instance.empty()) continue;
        std::string_view leaf = ox_tr_path_leaf(entry.instance);
        uint32_t number = 0;
        ox_tr_instance_number(leaf, &number);
        size_t table = static_cast<size_t>(leaf.data() - entry.instance.data());
        bool adds = entry.kind == Change::ADD;
        changes.push_back(
            {entry.kind, adds ? entry.instance.substr(0, table) : entry.instance, number, nullptr});
    }
    missed = MissedChanges();
    return changes;
}

}  // namespace obxd
