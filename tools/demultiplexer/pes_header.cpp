#include "tools/demultiplexer/pes_header.h"

#include <algorithm>
#include <array>

namespace demux {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::uint8_t kPaddingStream = 0xBE;
constexpr std::size_t kFlagsEnd = 9;
constexpr std::size_t kTimeStampSize = 5;

// stream_id values whose payload follows PES_packet_length at once (ISO/IEC 13818-1, table 2-21).
constexpr std::array<std::uint8_t, 8> kPlainStreams{0xBC, kPaddingStream, 0xBF, 0xF0, 0xF1, 0xF2, 0xF8, 0xFF};

bool hasOptionalHeader(std::uint8_t streamId)
{
    return std::ranges::find(kPlainStreams, streamId) == kPlainStreams.end();
}

bool markersSet(Bytes field)
{
    return (field[0] & 0x01) != 0 && (field[2] & 0x01) != 0 && (field[4] & 0x01) != 0;
}

std::optional<std::int64_t> parseTimeStamp(Bytes field)
{
    if ((field[0] & 0xE0) != 0x20 || !markersSet(field))
        return std::nullopt;
    const auto bits = [field](std::size_t index, unsigned mask) { return std::int64_t{field[index] & mask}; };
    return (bits(0, 0x0E) << 29) | (bits(1, 0xFF) << 22) | (bits(2, 0xFE) << 14) | (bits(3, 0xFF) << 7) |
           (bits(4, 0xFE) >> 1);
}

std::optional<std::int64_t> readPts(Bytes bytes, std::size_t headerSize)
{
    const bool flagged = (bytes[7] & 0x80) != 0;
    if (!flagged || headerSize < kFlagsEnd + kTimeStampSize)
        return std::nullopt;
    return parseTimeStamp(bytes.subspan(kFlagsEnd, kTimeStampSize));
}

PesParse parseOptionalHeader(Bytes bytes, PesHeader& header)
{
    if (bytes.size() < kFlagsEnd)
        return PesParse::kNeedsMore;
    if ((bytes[6] & 0xC0) != 0x80)
        return PesParse::kInvalid;
    header.headerSize = kFlagsEnd + bytes[8];
    if (header.packetSize != 0 && header.packetSize < header.headerSize)
        return PesParse::kInvalid;
    if (bytes.size() < header.headerSize)
        return PesParse::kNeedsMore;
    header.carriesStream = (bytes[6] & 0x30) == 0;
    header.pts = readPts(bytes, header.headerSize);
    return PesParse::kDone;
}

}  // namespace

bool startsPesPacket(Bytes bytes) noexcept
{
    return bytes.size() >= 3 && bytes[0] == 0 && bytes[1] == 0 && bytes[2] == 1;
}

std::size_t pesPacketSize(Bytes bytes) noexcept
{
    const std::size_t length = (std::size_t{bytes[4]} << 8) | bytes[5];
    return length == 0 ? 0 : kPesFixedSize + length;
}

PesParse parsePesHeader(Bytes bytes, PesHeader& header) noexcept
{
    if (bytes.size() < kPesFixedSize)
        return PesParse::kNeedsMore;
    if (!startsPesPacket(bytes))
        return PesParse::kInvalid;
    PesHeader result;
    result.streamId = bytes[3];
    result.packetSize = pesPacketSize(bytes);
    result.headerSize = kPesFixedSize;
    result.carriesStream = result.streamId != kPaddingStream;
    const PesParse parsed = hasOptionalHeader(result.streamId) ? parseOptionalHeader(bytes, result) : PesParse::kDone;
    if (parsed == PesParse::kDone)
        header = result;
    return parsed;
}

}  // namespace demux
