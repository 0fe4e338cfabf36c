/// @file
/// The JSON form, read by other programs: keys, their order and their kinds are fixed.
#pragma once

#include <string>

#include "tools/tsprobe/inspection.h"

namespace tsprobe {

std::string jsonReport(const Inspection& inspection);

}  // namespace tsprobe
