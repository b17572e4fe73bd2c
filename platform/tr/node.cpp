#include "ox_tr.hpp"
