#include "tests/windows/demultiplexer/packet_builder.h"

#include <algorithm>
#include <stdexcept>

namespace packets {
namespace {

constexpr std::size_t kPayloadMax = 184;

std::uint8_t low8(std::uint64_t value)
{
    return static_cast<std::uint8_t>(value & 0xFF);
}

// ISO/IEC 13818-1, 2.4.3.7: 33 bits in three groups, a marker bit behind each.
Bytes timeStamp(std::uint64_t pts)
{
    return {low8(0x21 | ((pts >> 29) & 0x0E)), low8(pts >> 22), low8(((pts >> 14) & 0xFE) | 1), low8(pts >> 7),
            low8(((pts << 1) & 0xFE) | 1)};
}

Bytes adaptationField(std::size_t size, bool discontinuity)
{
    Bytes field(size, 0xFF);
    if (size > 0)
        field[0] = low8(size - 1);
    if (size > 1)
        field[1] = discontinuity ? 0x80 : 0x00;
    return field;
}

}  // namespace

Bytes operator+(Bytes left, const Bytes& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
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
    const bool empty = payload.empty();
    const std::size_t room = kPayloadMax - std::min(payload.size(), kPayloadMax);
    if (payload.size() > kPayloadMax || (discontinuity && room < 2))
        throw std::logic_error("the payload does not fit the packet");
    const int control = (room > 0 ? 0x20 : 0) | (empty ? 0 : 0x10);
    const int second = (transportError ? 0x80 : 0) | (unitStart ? 0x40 : 0) | (pid >> 8);
    const Bytes header{0x47, low8(static_cast<unsigned>(second)), low8(pid),
                       low8(static_cast<unsigned>((scrambling << 6) | control | (counter & 0x0F)))};
    return header + adaptationField(room, discontinuity) + payload;
}

Bytes Pes::bytes() const
{
    const Bytes stamp = pts ? timeStamp(*pts) : Bytes{};
    const std::size_t dataLength = stamp.size() + stuffing;
    const std::size_t length = openLength ? 0 : 3 + dataLength + payload.size();
    const Bytes header{0,
                       0,
                       1,
                       streamId,
                       low8(length >> 8),
                       low8(length),
                       flags,
                       pts ? std::uint8_t{0x80} : std::uint8_t{0},
                       low8(dataLength)};
    return header + stamp + Bytes(stuffing, 0xFF) + payload;
}

std::vector<Bytes> Multiplexer::unit(std::uint16_t pid, const Bytes& unit)
{
    std::vector<Bytes> result;
    for (std::size_t at = 0; at < unit.size(); at += kPayloadMax) {
        Packet packet{.pid = pid, .counter = counters_[pid]++, .unitStart = at == 0};
        const auto from = unit.begin() + static_cast<std::ptrdiff_t>(at);
        const std::size_t count = std::min(kPayloadMax, unit.size() - at);
        packet.payload.assign(from, from + static_cast<std::ptrdiff_t>(count));
        result.push_back(packet.bytes());
    }
    return result;
}

Bytes Multiplexer::stream(std::uint16_t pid, const Bytes& whole)
{
    return joined(unit(pid, whole));
}

Bytes joined(const std::vector<Bytes>& pieces)
{
    Bytes result;
    for (const Bytes& piece : pieces)
        result = std::move(result) + piece;
    return result;
}

}  // namespace packets
