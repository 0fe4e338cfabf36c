/// @file
/// MPEG-1 and MPEG-2 video sequence header and sequence extension (ISO/IEC 11172-2, 2.4.2.3; 13818-2, 6.2.2).
#pragma once

#include "analysis/bytes.h"
#include "esparse/probe_records.h"

namespace zarnow {

/// The payload from its first sequence header's start code on; empty without one.
Bytes findSequenceHeaderCode(Bytes payload) noexcept;

/// Whether the start code stands anywhere in a block; quickest where not even its last byte does.
bool hasSequenceHeaderCode(Bytes block) noexcept;

/// Looks for a sequence header anywhere in a transport packet's payload and decodes the first one.
/// @return false without one, or when it is refused; what was decoded until then stays written
bool findSequenceHeader(const std::uint8_t* payload, std::int32_t length, VideoProbeRecord& stream) noexcept;

/// @param header  begins with the start code 00 00 01 B3
/// @return false for a missing marker bit, aspect ratio or frame rate, and for a header cut off by `length`
bool parseSequenceHeader(const std::uint8_t* header, std::int32_t length, VideoProbeRecord& stream) noexcept;

/// Bytes of the sequence header with its quantiser matrices: 12, 76 or 140; 0 when `length` is too short to tell.
std::uint32_t sequenceHeaderSize(const std::uint8_t* header, std::int32_t length) noexcept;

}  // namespace zarnow
