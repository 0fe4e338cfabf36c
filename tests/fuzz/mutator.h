/// @file
/// Changes an input in ways that keep it worth parsing: whole headers and tables come and go, packets stay packets.
#pragma once

#include "tests/fuzz/target.h"

namespace zarnow::fuzz {

/// Changes bytes at random in the buffer. @return the new size, at most `room`
using ByteMutator = std::size_t (*)(std::uint8_t* data, std::size_t size, std::size_t room);

/// @param longest  bytes that the result may have
test::Data mutated(const Target& target, test::Data input, std::size_t longest, unsigned seed, ByteMutator mutateBytes);

}  // namespace zarnow::fuzz
