// Whether a statement returns from its chunk.
#pragma once

/// Whether a statement that loads holds a `return` outside of any function.
bool lua_returns(const char* source);
