/// @file
/// PES packets, and pieces of streams.
#pragma once

#include "tests/support/dice.h"
#include "tests/support/transport_stream.h"

namespace zarnow::test {

constexpr std::uint16_t kVideo = 0x100;
constexpr std::uint16_t kAudio = 0x101;

/// Bytes that differ along the way and from seed to seed, so that a lost or doubled piece is seen.
inline Data noise(unsigned size, unsigned seed)
{
    return Dice(seed).bytes(size);
}

/// A PES packet that ends where the next one starts.
inline Data video(unsigned seed, unsigned size = 500)
{
    return pes(0xE0, noise(size, seed), 90'000 * seed);
}

/// A PES packet with a length.
inline Data audio(unsigned seed, unsigned size = 300)
{
    const Data packet = pes(0xC0, noise(size, seed), 90'000 * seed + 45'000);
    const std::size_t length = packet.size() - 6;
    return withByte(withByte(packet, 4, static_cast<std::uint8_t>(length >> 8)), 5, static_cast<std::uint8_t>(length));
}

/// Pieces of one size; the last one may be shorter.
inline std::vector<Data> cut(const Data& whole, std::size_t size)
{
    std::vector<Data> pieces;
    for (std::size_t at = 0; at < whole.size(); at += size)
        pieces.push_back(bytesFrom(whole, at, std::min(size, whole.size() - at)));
    return pieces;
}

}  // namespace zarnow::test
