/// @file
/// AVC sequence parameter set (ITU-T H.264, 7.3.2.1.1 and annex E) in the transport packet that starts a PES packet.
#pragma once

#include <optional>
#include <span>
#include <vector>

#include "analysis/byte_search.h"
#include "analysis/pes_header.h"
#include "esparse/nal_unit.h"
#include "esparse/probe_records.h"

namespace zarnow {

/// Appends a payload without its emulation-prevention bytes (00 00 03 becomes 00 00). The payload's last two bytes are
/// left to the caller unless they were part of such a sequence.
/// @return how many bytes of the payload were consumed
std::size_t appendUnescaped(Bytes payload, std::vector<std::uint8_t>& copy);

/// Bytes of a payload that tell what most begin with.
inline constexpr std::size_t kAvcStartSize = 32;

/// Whether findSequenceParameterSet may find something in a payload that begins with these bytes. Where it is asked for
/// every packet, this has to be quick.
inline bool mayBeginWithParameterSet(std::span<const std::uint8_t, kAvcStartSize> start) noexcept
{
    if (!startsVideoPes(start))
        return false;
    constexpr std::size_t kLongestStart = kLongStartCode + 1;  // the NAL unit's header
    const std::size_t data = pesDataOffset(start);
    if (data + kLongestStart > start.size() || CBytePattern<3>::standsIn(start))
        return true;  // too far behind, or perhaps elsewhere once emulation-prevention bytes are gone
    const Bytes unit = Bytes(start).subspan(data);
    const std::uint32_t code = bigEndian32(unit, 0);
    const bool longCode = code == 1;
    const bool shortCode = code >> 8 == 1;
    const std::uint8_t nalHeader = unit[longCode ? kLongStartCode : CStartCode::kLength];
    return (longCode || shortCode) && (isDelimiter(nalHeader) || isParameterSet(nalHeader));
}

/// Finds the sequence parameter set that the payload begins with, behind the PES header and, if there is one, an access
/// unit delimiter.
/// @param unescaped  working space; what is found may lie in it
/// @return what follows the NAL unit header
std::optional<Bytes> findSequenceParameterSet(Bytes payload, std::vector<std::uint8_t>& unescaped);

/// Decodes the sequence parameter set that the payload begins with.
/// @param info     hrdBitRate and hrdCpbSize are set only while they are 0
/// @param payload  transport packet payload of `length` bytes
/// @return false without one, or when it goes on behind the payload; what was decoded until then stays written
bool parseAvcSequenceHeader(AvcStreamInfo& info, const std::uint8_t* payload, std::int32_t length,
                            VideoProbeRecord& stream);

}  // namespace zarnow
