#include "rows.hpp"

#include <algorithm>
#include <unordered_map>

#include "ox_tr_names.hpp"
#include "ox_tr_path.hpp"
#include "store/place.hpp"
#include "store/row_values.hpp"
#include "store/snapshot.hpp"
#include "store/ties.hpp"
#include "store/walk.hpp"

namespace obxd {
namespace {

struct Plan {
    std::unordered_map<const Schema*, uint32_t> named;  ///< tables that are asked for by their paths
    uint32_t each = 0;
    uint32_t nested = 0;  ///< in tables in the rows of others
    bool all = false;

    /// Whether its rows are to be alive: those that must be there anyhow hold what the model gives them.
    bool asks(const Schema* table) const { return all || named.count(table) > 0; }

    uint32_t rows(const Schema* table, bool below_rows) const {
        auto found = named.find(table);
        uint32_t wanted = found != named.end() ? found->second : below_rows ? nested : each;
        return std::clamp(wanted, std::min(table->min_count, table->max_count), table->max_count);
    }
};

/// How many rows there will be below an object that stands there so often.
double rows_count(const Plan& plan, const Schema* object, double times, bool below_rows) {
    double rows = 0;
    for (const Schema* below : object->objects) {
        double own = times;
        if (below->multi) rows += own *= plan.rows(below, below_rows);
        rows += rows_count(plan, below, own, below_rows || below->multi);
    }
    return rows;
}

/// As many in nested tables as there is room for.
void nested_choose(Plan& plan, const Schema* root) {
    uint32_t low = std::min<uint32_t>(plan.each, 1), high = plan.each;
    while (low < high) {
        plan.nested = low + (high - low + 1) / 2;
        if (rows_count(plan, root, 1, false) <= static_cast<double>(ROWS_MOST))
            low = plan.nested;
        else
            high = plan.nested - 1;
    }
    plan.nested = low;
}

const Schema* table_named(Model& model, std::string_view path) {
    if (!ox_tr_path_is_exact(path)) return nullptr;
    Place place = place_of_schema(&model.root);
    for (std::string_view name : ox_tr_components(path)) {
        uint32_t number;
        if (ox_tr_instance_number(name, &number)) return nullptr;
        if (!place_step(place, name == "{i}" ? std::string_view(OX_TR_TEMPLATE) : place_any(name)))
            return nullptr;
    }
    return place.is_table() && !place.schema->argument ? place.schema : nullptr;
}

bool plan_make(Model& model, const RowsWanted& wanted, Plan& plan, std::string& error) {
    for (auto& [path, rows] : wanted) {
        if (path.empty()) {
            plan.each = rows;
            plan.all = true;
            continue;
        }
        const Schema* table = table_named(model, path);
        if (!table) {
            error = path + ": is no table of the model";
            return false;
        }
        plan.named[table] = rows;
    }
    nested_choose(plan, &model.root);
    return true;
}

struct Maker {
    const Plan& plan;
    RowValues values;
    std::unordered_map<const Schema*, uint64_t> made;  ///< rows of tables so far, in all rows of others
    bool changed = false;

    void table(Node* node, bool below_rows) {
        uint32_t wanted = plan.rows(node->schema, below_rows);
        size_t present = node->instances.size();
        while (node->instances.size() < wanted)
            if (Node* row = instance_new(node, 0))
                alias_make(row);
            else
                break;
        changed |= node->instances.size() > present;
        for (size_t i = 0; i < node->instances.size(); i++) {
            Node* row = node->instances[i].get();
            uint64_t number = made[node->schema]++;
            bool fresh = i >= present, asked = plan.asks(node->schema);
            if (fresh && !asked) values.add(row, number, false);
            object(row, number, fresh && asked, true);
        }
    }

    void object(Node* node, uint64_t number, bool row, bool below_rows) {
        if (row || (plan.all && !below_rows)) values.add(node, number, row);
        for (auto& below : node->objects) {
            if (is_table(below.get()))
                table(below.get(), below_rows);
            else
                object(below.get(), number, row, below_rows);
        }
    }
};

/// Gives what takes its choices from elsewhere a choice, where the model leaves it without.
struct ChoiceVisitor {
    RowValues& values;
    bool& changed;

    bool enter(const Place&, const std::string&) const { return true; }
    void leave(const Place&) const {}
    void leaf(const Place& place, const std::string&) const {
        if (place.schema->kind == Schema::PARAMETER && place.pseudo == Pseudo::NONE)
            changed |= values.choice_begin(place.node, place.schema);
    }
};

/// True when something was changed below the node.
bool rows_fill(Model& model, const Plan& plan, Node* node, bool alone) {
    Maker maker{plan, RowValues(model, alone ? node : nullptr), {}};
    maker.object(node, 0, false, node != model.top.get());
    maker.values.fill();
    ChoiceVisitor visitor{maker.values, maker.changed};
    walk_all<Walk::VALUES>(visitor, node == model.top.get() ? place_top(model) : place_of(node));
    return maker.changed;
}

}  // namespace

bool rows_make(Model& model, const RowsWanted& wanted, std::string& error) {
    Plan plan;
    if (!plan_make(model, wanted, plan, error)) return false;
    bool changed = rows_fill(model, plan, model.top.get(), false);
    if (changed || !wanted.empty()) model.pristine.reset(values_take(model));
    return true;
}

void rows_complete(Model& model, Node* row, bool alone) {
    rows_fill(model, {}, row, alone);
}

}  // namespace obxd
