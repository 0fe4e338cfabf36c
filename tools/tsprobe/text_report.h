/// @file
/// The form for people.
#pragma once

#include <string>

#include "tools/tsprobe/inspection.h"

namespace tsprobe {

std::string textReport(Inspection& inspection);

}  // namespace tsprobe
