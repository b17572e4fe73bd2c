// All headers of the data model's language, for code that needs most of them.
#pragma once

#include "ox_tr_config.hpp"
#include "ox_tr_list.hpp"
#include "ox_tr_names.hpp"
#include "ox_tr_node.hpp"
#include "ox_tr_page.hpp"
#include "ox_tr_path.hpp"
#include "ox_tr_referrers.hpp"
