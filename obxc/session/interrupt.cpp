#include "session/interrupt.hpp"
