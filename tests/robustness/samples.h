/// @file
/// The streams that the robustness tests are made with: real ones from tests/data, and made-up ones that hold what an
/// encoder would not write.
#pragma once

#include <string>
#include <vector>

#include "tests/support/data.h"

namespace zarnow::test {

struct Sample
{
    std::string name;
    Data packets;  ///< of 188 bytes, from a sync byte on
};

/// All of them; made once.
const std::vector<Sample>& samples();

/// Those that the end-to-end tests have ffmpeg make, if they are there; not the ones that begin with anything but a
/// packet.
std::vector<Sample> madeSamples();

const Sample& sample(const std::string& name);

}  // namespace zarnow::test
