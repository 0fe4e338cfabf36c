/// @file
/// Random choices that a seed repeats.
#pragma once

#include <random>

#include "tests/support/data.h"

namespace zarnow::test {

class Dice
{
public:
    explicit Dice(unsigned seed) : engine_(seed) {}

    unsigned below(unsigned count) { return static_cast<unsigned>(engine_() % count); }
    bool oneIn(unsigned count) { return below(count) == 0; }
    std::uint8_t of(const Data& choices) { return choices[below(static_cast<unsigned>(choices.size()))]; }

private:
    std::mt19937 engine_;
};

}  // namespace zarnow::test
