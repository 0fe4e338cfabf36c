/// @file
/// What the probes rely on when they search a PID once for all: what a header parser answers and writes does not
/// depend on what the records held before.
#pragma once

#include <cstring>
#include <type_traits>

#include "tests/fuzz/target.h"

namespace zarnow::fuzz {

/// @param parse  called with a record whose bytes are all the same; answers what the parser answered
/// @return the answer
template <class Record, class Parse>
bool requirePlainWrites(Parse parse)
{
    using Image = std::array<std::uint8_t, sizeof(Record)>;
    constexpr std::array<std::uint8_t, 3> kFills{0x00, 0xFF, 0x5A};
    std::array<Image, kFills.size()> images;
    std::array<bool, kFills.size()> answers;
    for (std::size_t i = 0; i < kFills.size(); ++i) {
        Record record;
        std::memset(static_cast<void*>(&record), kFills[i], sizeof(Record));
        answers[i] = parse(record);
        std::memcpy(images[i].data(), &record, sizeof(Record));
    }
    require(answers[0] == answers[1] && answers[0] == answers[2], "the answer depends on an earlier record");
    for (std::size_t i = 0; i < sizeof(Record); ++i) {
        const bool written = images[0][i] == images[1][i];
        require(images[2][i] == (written ? images[0][i] : kFills[2]), "what is written depends on an earlier record");
    }
    return answers[0];
}

}  // namespace zarnow::fuzz
