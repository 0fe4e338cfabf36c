#include "analysis/byte_search.h"
#include "analysis/pes_header.h"
#include "analysis/psi_parser.h"

namespace zarnow {

namespace {

constexpr std::size_t kStampSize = 5;

/// What begins with the stream's first PES packet; empty without one.
Bytes findPes(Bytes bytes, std::uint8_t streamId) noexcept
{
    std::size_t start = CStartCode::find(bytes);
    while (start < bytes.size() && !startsPes(bytes.subspan(start), streamId))
        start = CStartCode::find(bytes, start + 1);
    return bytes.subspan(start);
}

}  // namespace

bool CPSIParser::parsePts(const std::uint8_t* field, std::int64_t& ticks) noexcept
{
    if (field == nullptr)
        return false;
    const std::uint32_t lead = field[0];
    const bool prefixed = (lead & 0xE0) == 0x20 || (lead & 0xF0) == 0x10;
    const std::uint32_t middle = static_cast<std::uint32_t>((field[1] << 8) | field[2]);
    const std::uint32_t last = static_cast<std::uint32_t>((field[3] << 8) | field[4]);
    // The marker bit of the first byte is not looked at: streams with a wrong one are played all the same.
    if (!prefixed || (middle & 1) == 0 || (last & 1) == 0)
        return false;
    const std::uint64_t low = ((lead & 0x06) << 29) + ((middle & 0xFFFE) << 14) + (last >> 1);
    // Kept: bit 32 is sign-extended, not added as 2^32. Durations are differences of two such values.
    const std::uint64_t high = (lead & 0x08) != 0 ? 0xFFFFFFFF00000000ULL : 0;
    ticks = static_cast<std::int64_t>(high | low);
    return true;
}

std::int64_t CPSIParser::readPesPts(const std::uint8_t* pes, std::int32_t length) noexcept
{
    const Bytes bytes = bytesOf(pes, length);
    if (bytes.size() < kPesHeaderSize + kStampSize || (bytes[0] & 0x01) != 0)
        return 0;
    std::int64_t ticks = 0;
    return hasTimeStamp(bytes) && parsePts(pes + kPesHeaderSize, ticks) ? ticks : 0;
}

std::int64_t CPSIParser::findPesPts(const std::uint8_t* buffer, std::uint8_t streamId, std::int32_t length) noexcept
{
    Bytes pes = bytesOf(buffer, length);
    if (!startsPes(pes, streamId))  // as the payload of a packet with payload_unit_start_indicator does
        pes = findPes(pes, streamId);
    return readPesPts(pes.data(), static_cast<std::int32_t>(pes.size()));
}

bool CPSIParser::findAc3Sync(const std::uint8_t* buffer, std::int32_t length, std::uint32_t& offset) noexcept
{
    const Bytes bytes = bytesOf(buffer, length);
    for (std::size_t i = 0; i + 1 < bytes.size(); ++i) {
        const std::uint32_t word = bigEndian16(bytes, i);
        if (word == 0x0B77 || word == 0x770B) {
            offset = static_cast<std::uint32_t>(i);
            return true;
        }
    }
    return false;
}

bool CPSIParser::findMpegAudioSync(const std::uint8_t* buffer, std::int32_t length, std::uint32_t& offset) noexcept
{
    const Bytes bytes = bytesOf(buffer, length);
    for (std::size_t i = 0; i + 1 < bytes.size(); ++i) {
        if ((bigEndian16(bytes, i) & 0xFFF0) == 0xFFF0) {
            offset = static_cast<std::uint32_t>(i);
            return true;
        }
    }
    return false;
}

}  // namespace zarnow
