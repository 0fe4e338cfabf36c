/// @file
/// What a fuzz target is. A run that ends in any way but by returning is a finding; what it found goes into its facts.
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
    bytes,     ///< an elementary stream's bytes
    payloads,  ///< two options, then each payload behind its length
    stream,    ///< options, then packets
};

struct Target
{
    const char* name;
    Layout layout;
    void (*run)(Bytes input, test::Data& facts);
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

/// Adds what a run found to its facts, byte for byte.
template <class... Values>
void note(test::Data& facts, const Values&... values)
{
    (test::append(facts, test::rawBytes(values)), ...);
}

/// A whole input that a target's generator makes.
test::Data randomInput(const Target& target, test::Dice& dice);

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

/// First option byte: packets are 192 bytes long. The mutator goes by it as well.
inline constexpr std::uint8_t kTimedPackets = 1;

}  // namespace zarnow::fuzz
