#include "esparse/mpeg_video_header.h"

#include <algorithm>

#include "analysis/byte_search.h"
#include "analysis/media_clock.h"

namespace zarnow {

namespace {

constexpr std::uint8_t kSequenceHeaderCode = 0xB3;

// frame_rate_code 0 to 8. Kept as these decimals, not as 24000/1001 and so on: applications rely on them.
constexpr std::array kFrameRates{0.0, 23.976, 24.0, 25.0, 29.97, 30.0, 50.0, 59.94, 60.0};

// The MPEG-1 pel aspect ratios of aspect_ratio_information, times 39.37 inches per metre, times 10000. For MPEG-2 the
// code means something else; the table is used all the same.
constexpr std::array<std::int32_t, 16> kPelAspects{0,      393700, 265156, 276810, 299802, 317125, 332164, 351770,
                                                   369093, 386416, 403739, 421062, 442912, 455707, 473030, 0};

constexpr std::uint32_t kPelsPerMeter = 2000;
constexpr std::uint32_t kVariableBitRate = 0x3FFFF;
constexpr std::uint32_t kBitRateUnit = 400;  // bits per second
constexpr std::uint32_t kVbvUnit = 2048;     // bytes
constexpr std::uint32_t kConstrainedVbvBytes = 40960;
constexpr std::uint32_t kLeastVbvBytes = 20000;  // smaller ones are raised to the constrained size
constexpr std::uint8_t kSixteenByNine = 3;       // aspect_ratio_information

constexpr std::size_t kBytesToMarker = 11;
constexpr std::uint32_t kPlainHeaderSize = 12;
constexpr std::uint32_t kMatrixSize = 64;
constexpr std::uint32_t kExtensionSize = 10;
constexpr std::size_t kIntraMatrixEnd = 75;  // the byte with the bit behind the intra matrix

/// MulDiv's rounding: half away from zero; nothing here is negative.
constexpr std::uint32_t scaleRounded(std::uint32_t value, std::uint32_t numerator, std::uint32_t denominator) noexcept
{
    return static_cast<std::uint32_t>((std::uint64_t{value} * numerator + denominator / 2) / denominator);
}

bool hasStartCode(Bytes bytes, std::size_t at, std::uint8_t code) noexcept
{
    return at + 4 <= bytes.size() && bytes[at] == 0 && bytes[at + 1] == 0 && bytes[at + 2] == 1 &&
           bytes[at + 3] == code;
}

void parsePictureSize(Bytes header, VideoProbeRecord& stream) noexcept
{
    stream.codedWidth = bigEndian16(header, 4) >> 4;
    stream.codedHeight = bigEndian16(header, 5) & 0x0FFF;
}

/// Aspect ratio and frame rate share a byte; both have to be there.
bool parseAspectAndRate(std::uint8_t codes, VideoProbeRecord& stream) noexcept
{
    const std::uint8_t aspect = codes >> 4;
    std::uint8_t rate = codes & 0x0F;
    if (rate > 8)
        rate &= 0x07;
    stream.aspectX = aspect == kSixteenByNine ? 16 : 4;
    stream.aspectY = aspect == kSixteenByNine ? 9 : 3;
    if (aspect == 0 || rate == 0)
        return false;
    stream.frameRate = kFrameRates[rate];
    stream.avgTimePerFrame = truncateToInt64(kUnitsPerSecond / stream.frameRate);
    stream.frameTicks90k = truncateToUint32(kTicksPerSecond / stream.frameRate);
    return true;
}

void parseRates(Bytes header, VideoProbeRecord& stream) noexcept
{
    const std::uint32_t rate = (bigEndian16(header, 8) << 2) | (header[10] >> 6);
    stream.bitRate = rate == kVariableBitRate ? 0 : rate * kBitRateUnit;
    const auto pelAspect = static_cast<std::uint32_t>(kPelAspects[header[7] >> 4]);
    stream.pelsPerMeterX = kPelsPerMeter;
    stream.pelsPerMeterY = scaleRounded(kPelsPerMeter, pelAspect, 10000);
}

void parseVbvSize(Bytes header, VideoProbeRecord& stream) noexcept
{
    const bool constrained = (header[11] & 0x04) != 0;
    std::uint32_t bytes = ((bigEndian16(header, 10) >> 3) & 0x3FF) * kVbvUnit;
    if (constrained)
        bytes = std::min(bytes, kConstrainedVbvBytes);
    stream.vbvBufferBytes = bytes < kLeastVbvBytes ? kConstrainedVbvBytes : bytes;
}

/// @return false when the payload ends inside the extension
bool parseExtension(Bytes header, VideoProbeRecord& stream) noexcept
{
    const std::size_t at = stream.sequenceHeaderLength;
    const bool present = hasStartCode(header, at, 0xB5) && at + 4 < header.size() && header[at + 4] >> 4 == 1;
    if (!present)
        return true;
    stream.profile = header[at + 4] & 0x07;
    if (at + 5 >= header.size())
        return false;
    stream.level = header[at + 5] >> 4;
    stream.progressive = (header[at + 5] >> 3) & 1;
    stream.sequenceHeaderLength += kExtensionSize;
    return stream.sequenceHeaderLength <= header.size();
}

}  // namespace

std::uint32_t sequenceHeaderSize(const std::uint8_t* header, std::int32_t length) noexcept
{
    const Bytes bytes = bytesOf(header, length);
    if (bytes.size() < kPlainHeaderSize)
        return 0;
    const bool intra = (bytes[11] & 0x02) != 0;
    if (!intra)
        return (bytes[11] & 0x01) != 0 ? kPlainHeaderSize + kMatrixSize : kPlainHeaderSize;
    if (bytes.size() <= kIntraMatrixEnd)
        return 0;
    const bool nonIntra = (bytes[kIntraMatrixEnd] & 0x01) != 0;
    return kPlainHeaderSize + (nonIntra ? 2 : 1) * kMatrixSize;
}

bool parseSequenceHeader(const std::uint8_t* header, std::int32_t length, VideoProbeRecord& stream) noexcept
{
    const Bytes bytes = bytesOf(header, length);
    const bool marked = bytes.size() >= kBytesToMarker && (bytes[10] & 0x20) != 0;
    if (!marked)
        return false;
    stream.firstPts = 0;
    stream.progressive = 0;
    parsePictureSize(bytes, stream);
    if (!parseAspectAndRate(bytes[7], stream))
        return false;
    parseRates(bytes, stream);
    if (bytes.size() < kPlainHeaderSize)
        return false;
    parseVbvSize(bytes, stream);
    const std::uint32_t size = sequenceHeaderSize(header, length);
    if (size == 0 || size > bytes.size())
        return false;
    stream.sequenceHeaderLength = size;
    if (!parseExtension(bytes, stream))
        return false;
    std::copy_n(bytes.begin(), stream.sequenceHeaderLength, stream.sequenceHeader.begin());
    return true;
}

Bytes findSequenceHeaderCode(Bytes payload) noexcept
{
    return payload.subspan(CBytePattern<0, 0, 1, kSequenceHeaderCode>::find(payload));
}

bool hasSequenceHeaderCode(Bytes block) noexcept
{
    return CBytePattern<kSequenceHeaderCode>::standsIn(block) && !findSequenceHeaderCode(block).empty();
}

bool findSequenceHeader(const std::uint8_t* payload, std::int32_t length, VideoProbeRecord& stream) noexcept
{
    const Bytes header = findSequenceHeaderCode(bytesOf(payload, length));
    return !header.empty() && parseSequenceHeader(header.data(), static_cast<std::int32_t>(header.size()), stream);
}

}  // namespace zarnow
