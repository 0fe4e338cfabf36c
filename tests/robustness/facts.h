/// @file
/// What a load and the selections find out, as text that can be compared and read.
#pragma once

#include <string>

#include "esparse/program_selection.h"

namespace zarnow::test {

/// Selects every program in turn, reads the video facts and has the streams described. Of a record it tells what the
/// stream's header says: not the fields that not every header has, in which another stream's may be left over.
std::string allFacts(CProgramSelection& selection);

/// The facts without what depends on where in a file, or in how long a one, the stream lies.
std::string withoutPlaces(const std::string& facts);

}  // namespace zarnow::test
