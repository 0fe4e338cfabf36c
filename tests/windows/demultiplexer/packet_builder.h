#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace packets {

using Bytes = std::vector<std::uint8_t>;

/// Appends one to the other.
Bytes operator+(Bytes left, const Bytes& right);

/// Bytes that differ along the way and from seed to seed, so that a lost or doubled piece is seen.
Bytes pattern(std::size_t size, unsigned seed);

/// One 188-byte packet with the payload at its end; a shorter payload is filled up by the adaptation field.
struct Packet
{
    std::uint16_t pid = 0x100;
    std::uint8_t counter = 0;
    bool unitStart = false;
    bool transportError = false;
    std::uint8_t scrambling = 0;
    bool discontinuity = false;
    Bytes payload = {};

    Bytes bytes() const;
};

struct Pes
{
    std::uint8_t streamId = 0xE0;
    bool openLength = false;
    std::uint8_t flags = 0x80;  ///< the byte behind PES_packet_length: '10' marker, scrambling and so on
    std::optional<std::uint64_t> pts = {};
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

    /// The same, in one piece.
    Bytes stream(std::uint16_t pid, const Bytes& unit);

private:
    std::map<std::uint16_t, std::uint8_t> counters_;
};

Bytes joined(const std::vector<Bytes>& pieces);

}  // namespace packets
