#include "store.hpp"
