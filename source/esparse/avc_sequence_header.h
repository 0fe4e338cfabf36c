/// @file
/// AVC sequence parameter set (ITU-T H.264, 7.3.2.1.1 and annex E) in the transport packet that starts a PES packet.
#pragma once

#include <optional>
#include <vector>

#include "analysis/bytes.h"
#include "esparse/probe_records.h"

namespace zarnow {

/// Appends a payload without its emulation-prevention bytes (00 00 03 becomes 00 00). The payload's last two bytes are
/// left to the caller unless they were part of such a sequence.
/// @return how many bytes of the payload were consumed
std::size_t appendUnescaped(Bytes payload, std::vector<std::uint8_t>& copy);

/// Whether findSequenceParameterSet may find something: a quick look at the first bytes.
bool mayBeginWithParameterSet(Bytes payload) noexcept;

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
