/// @file
/// Transport packets with continuity counters and faults, and PES packets, for the demultiplexer.
#pragma once

#include <map>
#include <optional>

#include "tests/support/data.h"

namespace packets {

using Bytes = zarnow::test::Data;

inline Bytes operator+(const Bytes& left, const Bytes& right)
{
    return zarnow::test::join({left, right});
}

inline Bytes part(const Bytes& bytes, std::size_t from, std::size_t count = SIZE_MAX)
{
    const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(from);
    return {begin, begin + static_cast<std::ptrdiff_t>(std::min(count, bytes.size() - from))};
}

Bytes joined(const std::vector<Bytes>& pieces);

/// Pieces of one size; the last one may be shorter.
std::vector<Bytes> cut(const Bytes& bytes, std::size_t size);

/// Bytes that differ along the way and from seed to seed, so that a lost or doubled piece is seen.
Bytes pattern(std::size_t size, unsigned seed);

/// One 188-byte packet with the payload at its end; a shorter payload is filled up by the adaptation field.
struct Packet
{
    std::uint16_t pid = 0x100;
    std::uint8_t counter = 0;
    bool unitStart = false;
    bool discontinuity = false;
    Bytes payload = {};

    Bytes bytes() const;
};

struct Pes
{
    std::uint8_t streamId = 0xE0;
    bool openLength = false;
    std::uint8_t flags = 0x80;  ///< the byte behind PES_packet_length: '10' marker, scrambling and so on
    std::optional<std::int64_t> pts = {};
    std::size_t stuffing = 0;  ///< stuffing bytes in the header
    Bytes payload = {};

    Bytes bytes() const;
};

/// Cuts units into packets and keeps the continuity counter of each PID.
class Multiplexer
{
public:
    /// The packets of one payload unit, in order.
    std::vector<Bytes> unit(std::uint16_t pid, const Bytes& unit);
    Bytes stream(std::uint16_t pid, const Bytes& whole) { return joined(unit(pid, whole)); }

private:
    std::map<std::uint16_t, std::uint8_t> counters_;
};

}  // namespace packets
