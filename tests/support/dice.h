/// @file
/// Choices that depend on a seed alone.
#pragma once

#include <random>

#include "tests/support/data.h"

namespace zarnow::test {

class Dice
{
public:
    explicit Dice(unsigned seed) : engine_(seed) {}

    unsigned below(unsigned count) { return static_cast<unsigned>(engine_() % count); }
    std::uint8_t byte() { return static_cast<std::uint8_t>(below(256)); }
    bool oneIn(unsigned count) { return below(count) == 0; }

    template <class Choices>
    const auto& of(const Choices& choices)
    {
        return choices[below(static_cast<unsigned>(std::size(choices)))];
    }
    std::uint8_t of(const Data& choices) { return choices[below(static_cast<unsigned>(choices.size()))]; }

    /// Mostly small, now and then of any size up to `bits` bits: lengths and counts as they are, and as they should
    /// not.
    unsigned length(unsigned bits) { return oneIn(4) ? below(1U << bits) : below(8); }

    Data bytes(unsigned count)
    {
        Data data(count);
        std::generate(data.begin(), data.end(), [this] { return byte(); });
        return data;
    }

private:
    std::minstd_rand engine_;  // a seed costs it nothing, and fuzzing draws one per input
};

}  // namespace zarnow::test
