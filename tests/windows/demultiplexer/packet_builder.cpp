#include "tests/windows/demultiplexer/packet_builder.h"

#include "tests/support/transport_stream.h"

namespace packets {
namespace {

constexpr std::size_t kPayloadMax = 184;

std::uint8_t low8(std::size_t value)
{
    return static_cast<std::uint8_t>(value & 0xFF);
}

}  // namespace

Bytes joined(const std::vector<Bytes>& pieces)
{
    Bytes result;
    for (const Bytes& piece : pieces)
        result.insert(result.end(), piece.begin(), piece.end());
    return result;
}

std::vector<Bytes> cut(const Bytes& bytes, std::size_t size)
{
    std::vector<Bytes> pieces;
    for (std::size_t at = 0; at < bytes.size(); at += size)
        pieces.push_back(part(bytes, at, size));
    return pieces;
}

Bytes pattern(std::size_t size, unsigned seed)
{
    Bytes bytes(size);
    unsigned state = seed * 2654435761U + 1;
    for (std::uint8_t& byte : bytes) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<std::uint8_t>((state >> 24) | 1);  // never 0: no start code by chance
    }
    return bytes;
}

Bytes Packet::bytes() const
{
    const std::size_t room = kPayloadMax - payload.size();
    Bytes field(room, 0xFF);
    if (room > 0)
        field[0] = low8(room - 1);
    if (room > 1)
        field[1] = discontinuity ? 0x80 : 0x00;
    const unsigned control = (room > 0 ? 0x20U : 0U) | (payload.empty() ? 0U : 0x10U);
    const Bytes header{0x47, low8((unitStart ? 0x40U : 0U) | (pid >> 8)), low8(pid), low8(control | (counter & 0x0FU))};
    return zarnow::test::join({header, field, payload});
}

Bytes Pes::bytes() const
{
    const Bytes stamp = pts ? zarnow::test::stampField(*pts) : Bytes{};
    const std::size_t dataLength = stamp.size() + stuffing;
    const std::size_t length = openLength ? 0 : 3 + dataLength + payload.size();
    const Bytes start{0, 0, 1, streamId, low8(length >> 8), low8(length)};
    return zarnow::test::join(
        {start, {flags, low8(pts ? 0x80 : 0), low8(dataLength)}, stamp, Bytes(stuffing, 0xFF), payload});
}

std::vector<Bytes> Multiplexer::unit(std::uint16_t pid, const Bytes& unit)
{
    std::vector<Bytes> result;
    for (const Bytes& payload : cut(unit, kPayloadMax))
        result.push_back(
            Packet{.pid = pid, .counter = counters_[pid]++, .unitStart = result.empty(), .payload = payload}.bytes());
    return result;
}

}  // namespace packets
