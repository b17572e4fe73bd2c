// Names of files and programs. Names with blanks, quotes and the like are offered as they must be typed:
// what is typed stays, blanks open a double quote, a file's last character closes it. Names with control
// characters and names that are not UTF-8 cannot be typed and are left out.
#pragma once

#include "complete/offers.hpp"

void offer_files(const TypedLine& line, const Offer& offer);
/// The programs along PATH for the first argument, files for the others.
void offer_programs(const TypedLine& line, const Offer& offer);
