/// @file
/// What a load and the selections find out, as text that can be compared and read.
#pragma once

#include <string>

#include "esparse/program_selection.h"

namespace zarnow::test {

/// Programs and streams in table order.
std::string tablesText(const CProgramSelection& selection);

/// What the stream's header says, equal for every repetition of it: without the fields that not every header has, in
/// which another stream's may be left over.
std::string mediaText(const VideoProbeRecord& record);
std::string mediaText(const AudioProbeRecord& record);

/// The AVC facts without the bit rates, which a stream that does not tell them gets from the file's size and duration.
std::string structureText(const AvcStreamInfo& info);

/// Selects every program in turn, reads the video facts and has the streams described.
std::string allFacts(CProgramSelection& selection);

}  // namespace zarnow::test
