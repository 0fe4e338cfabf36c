/// @file
/// What a fuzz target is. A run that ends in any way but by returning is a finding.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <stdexcept>

#include "tests/support/dice.h"

namespace zarnow::fuzz {

using Bytes = std::span<const std::uint8_t>;

/// The first bytes of an input that holds a transport stream choose what is done with it.
inline constexpr std::size_t kOptionBytes = 16;

enum class Layout {
    bytes,   ///< an elementary stream's bytes
    stream,  ///< options, then packets
};

struct Target
{
    const char* name;
    Layout layout;
    void (*run)(Bytes input);
    test::Data (*piece)(test::Dice& dice);  ///< something that belongs into an input; packets of 188 bytes in a stream
};

#define FUZZ_TARGET(name, ...) extern const Target name##Target;
#include "tests/fuzz/targets.def"
#undef FUZZ_TARGET

inline constexpr std::array kTargets{
#define FUZZ_TARGET(name, ...) &name##Target,
#include "tests/fuzz/targets.def"
#undef FUZZ_TARGET
};

/// Fails the run.
inline void require(bool condition, const char* what)
{
    if (!condition)
        throw std::logic_error(what);
}

/// Takes an input apart, byte by byte; zeros when nothing is left.
class Options
{
public:
    explicit Options(Bytes input) : rest_(input) {}

    std::uint8_t byte()
    {
        const std::uint8_t value = rest_.empty() ? std::uint8_t{0} : rest_.front();
        rest_ = rest_.subspan(rest_.empty() ? 0 : 1);
        return value;
    }
    unsigned word() { return byte() * 256U + byte(); }

    bool empty() const { return rest_.empty(); }
    Bytes take(std::size_t count)
    {
        const Bytes taken = rest_.first(std::min(count, rest_.size()));
        rest_ = rest_.subspan(taken.size());
        return taken;
    }

private:
    Bytes rest_;
};

/// The two parts of an input with a transport stream.
struct StreamInput
{
    explicit StreamInput(Bytes input)
        : options(input.first(std::min(input.size(), kOptionBytes))),
          stream(input.subspan(std::min(input.size(), kOptionBytes)))
    {
    }

    Options options;
    Bytes stream;
};

/// First option byte: packets are 192 bytes long. The mutator goes by it as well.
inline constexpr std::uint8_t kTimedPackets = 1;

}  // namespace zarnow::fuzz
