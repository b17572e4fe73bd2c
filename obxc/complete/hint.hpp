// What a candidate would add to the line.
#pragma once

/// The end of `candidate` that inserting it would add: it replaces the longest text at the line's end that
/// starts where a word may and that it begins with. Null when there is no such text.
const char* inserted_part(const char* line, const char* candidate);
