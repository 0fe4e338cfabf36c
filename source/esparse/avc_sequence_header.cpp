#include "esparse/avc_sequence_header.h"

#include <algorithm>

#include "analysis/byte_search.h"
#include "analysis/pes_header.h"
#include "esparse/nal_unit.h"
#include "esparse/sps_parser.h"

namespace zarnow {

namespace {

constexpr std::int64_t kLeastAfterDelimiter = 40;  // bytes
constexpr std::size_t kBytesLeftEscaped = 2;       // at the payload's end

/// Length of the start code that the bytes begin with, or 0 without one.
std::size_t startCodeLength(Bytes bytes) noexcept
{
    const auto is = [&](std::size_t at, std::uint8_t value) { return at < bytes.size() && bytes[at] == value; };
    if (!is(0, 0) || !is(1, 0))
        return 0;
    if (is(2, 1))
        return CStartCode::kLength;
    return is(2, 0) && is(3, 1) ? kLongStartCode : 0;
}

bool endsNalUnit(Bytes bytes) noexcept
{
    return bytes.size() >= 3 && bytes[0] == 0 && bytes[1] == 0 && bytes[2] <= 1;
}

/// Moves both the view and the remaining length, which counts down from the payload's length and not from that of the
/// unescaped copy.
void advance(Bytes& data, std::int64_t& remaining, std::size_t count) noexcept
{
    data = data.subspan(std::min(count, data.size()));
    remaining -= static_cast<std::int64_t>(count);
}

/// Steps over an access unit delimiter to the next NAL unit.
bool skipDelimiter(Bytes& data, std::int64_t& remaining) noexcept
{
    while (remaining >= 4 && !data.empty() && !endsNalUnit(data))
        advance(data, remaining, 1);
    if (data.size() > 2 && data[2] == 0)
        advance(data, remaining, 1);
    advance(data, remaining, 3);
    return remaining >= kLeastAfterDelimiter;
}

/// What appendUnescaped would append; a payload without emulation-prevention bytes need not be copied for it.
Bytes unescapedPart(Bytes payload, std::vector<std::uint8_t>& unescaped)
{
    const std::size_t end = payload.size() - kBytesLeftEscaped;
    if (CEmulationPrevention::find(payload) >= end)
        return payload.first(end);
    unescaped.clear();
    appendUnescaped(payload, unescaped);
    return unescaped;
}

}  // namespace

std::size_t appendUnescaped(Bytes payload, std::vector<std::uint8_t>& copy)
{
    const std::size_t end = payload.size() - std::min(payload.size(), kBytesLeftEscaped);
    std::size_t i = 0;
    while (i < end) {
        const std::size_t escape = std::min(CEmulationPrevention::find(payload, i), end);
        const std::size_t kept = escape < end ? escape + CZeroPair::kLength : end;
        copy.insert(copy.end(), payload.begin() + static_cast<std::ptrdiff_t>(i),
                    payload.begin() + static_cast<std::ptrdiff_t>(kept));
        i = escape < end ? escape + CEmulationPrevention::kLength : end;
    }
    return i;
}

std::optional<Bytes> findSequenceParameterSet(Bytes payload, std::vector<std::uint8_t>& unescaped)
{
    if (!startsVideoPes(payload))
        return {};
    Bytes data = unescapedPart(payload, unescaped);
    if (data.size() < kPesHeaderSize)
        return {};

    auto remaining = static_cast<std::int64_t>(payload.size());
    advance(data, remaining, pesDataOffset(data));
    const std::size_t startCode = startCodeLength(data);
    if (startCode == 0)
        return {};
    advance(data, remaining, startCode);
    if (!data.empty() && isDelimiter(data[0]) && !skipDelimiter(data, remaining))
        return {};
    if (data.empty() || !isParameterSet(data[0]))
        return {};
    return data.subspan(1);
}

bool parseAvcSequenceHeader(AvcStreamInfo& info, const std::uint8_t* payload, std::int32_t length,
                            VideoProbeRecord& stream)
{
    std::vector<std::uint8_t> unescaped;
    const auto sps = findSequenceParameterSet(bytesOf(payload, length), unescaped);
    return sps && CSpsParser(*sps, info, stream).parse();
}

}  // namespace zarnow
