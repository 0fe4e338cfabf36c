/// @file
/// What a load and the selections find out, as text that can be compared and read.
#pragma once

#include <string>

#include "esparse/program_selection.h"

namespace zarnow::test {

/// Programs and streams in table order.
std::string tablesText(const CProgramSelection& selection);

/// What the stream itself says; equal wherever in the file a repetition of the same header was found.
std::string mediaText(const VideoProbeRecord& record);
std::string mediaText(const AudioProbeRecord& record);

/// Selects every program in turn, reads the video facts and has the streams described.
std::string allFacts(CProgramSelection& selection);

}  // namespace zarnow::test
