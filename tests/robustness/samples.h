/// @file
/// The streams that the robustness tests are made with: real ones, and one that holds what no encoder writes.
#pragma once

#include <filesystem>
#include <map>
#include <string>

#include "esparse/program_selection.h"
#include "tests/support/data.h"

namespace zarnow::test {

/// By name: packets of 188 bytes, from a sync byte on.
using Samples = std::map<std::string, Data>;

/// Those in tests/data and the made-up one; made once.
const Samples& samples();

/// Those that the end-to-end tests have ffmpeg make, if they are there; not the ones that begin with anything but a
/// packet.
Samples madeSamples();

/// What tsprobe's JSON tells about a file with each program selected, a line for every program, stream and header.
/// @param placeless  without what depends on where in a file, or in how long a one, the stream lies
std::string factsOf(const std::filesystem::path& path, std::uint32_t bufferSize = kDefaultReadBufferSize,
                    bool placeless = false);

}  // namespace zarnow::test
