// Rows that are made up, so that a model is alive without a file of values.
#pragma once

#include <stdint.h>

#include <map>
#include <string>

#include "store/model.hpp"

namespace obxd {

/// How many rows tables have at least: by the table's path ("*" or "{i}" for any instance), "" for those that
/// have none of their own here.
using RowsWanted = std::map<std::string, uint32_t>;

/// Fills up tables with rows of legal values, no more than they hold and their keys let be different. A table
/// in the rows of others gets as many as leave the model with ROWS_MOST rows in all, at least one, if not
/// asked for by its path. With "" what stands in no row gets values too, where the model has none. False with
/// `error` for a path that names no table. Without any wish tables still get the rows that they must have,
/// and what takes its choices from elsewhere one of them.
bool rows_make(Model& model, const RowsWanted& wanted, std::string& error);
/// The same for a new row alone, which has its own values: the rows that tables in it must have. With `alone`
/// nothing outside of it is touched.
void rows_complete(Model& model, Node* row, bool alone);

inline constexpr uint64_t ROWS_MOST = 100000;

}  // namespace obxd
