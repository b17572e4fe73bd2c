// The data model's language as a whole; the headers of its parts say what there is.
#pragma once

#include "ox_tr_config.hpp"
#include "ox_tr_list.hpp"
#include "ox_tr_names.hpp"
#include "ox_tr_node.hpp"
#include "ox_tr_path.hpp"
