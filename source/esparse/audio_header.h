/// @file
/// Audio frame headers: MPEG audio and ADTS (ISO/IEC 11172-3, 13818-3, 13818-7), AC-3 (A/52), and the LPCM header of
/// Blu-ray streams.
#pragma once

#include "esparse/probe_records.h"

namespace zarnow {

/// Decodes the first header in a transport packet's payload, by stream_type: 3 and 4 MPEG audio, 6 and 0x80 or above
/// AC-3 (with lpcmMode, 0x80 or above LPCM), 0x0F ADTS. LATM (0x11) and every other type fail.
/// @param stream  cleared by the caller; streamType is stored whatever the result
bool parseAudioHeader(const std::uint8_t* payload, std::int32_t length, std::uint8_t streamType,
                      AudioProbeRecord& stream, bool lpcmMode) noexcept;

}  // namespace zarnow
