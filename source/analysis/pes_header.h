/// @file
/// Fields of a PES packet's header (ISO/IEC 13818-1, 2.4.3.7). Offsets are counted from its start code.
#pragma once

#include "analysis/bytes.h"

namespace zarnow {

inline constexpr std::size_t kPesHeaderSize = 9;  ///< up to and with PES_header_data_length; the PTS field follows
inline constexpr std::size_t kPesStartSize = 4;   ///< the start code and stream_id

/// With any stream_id.
inline bool startsPes(Bytes bytes) noexcept
{
    return bytes.size() >= kPesStartSize && bigEndian32(bytes, 0) >> 8 == 1;
}

inline bool startsPes(Bytes bytes, std::uint8_t streamId) noexcept
{
    return bytes.size() >= kPesStartSize && bigEndian32(bytes, 0) == (0x100U | streamId);
}

/// With one of the stream_ids of video, 0xE0 to 0xEF.
inline bool startsVideoPes(Bytes bytes) noexcept
{
    return bytes.size() >= kPesStartSize && bigEndian32(bytes, 0) >> 4 == 0x1E;
}

/// PTS_DTS_flags; @param pes  a whole header
inline bool hasTimeStamp(Bytes pes) noexcept
{
    return (pes[7] & 0x80) != 0;
}

/// Where the PES packet's data begins, counted from its start; @param pes  a whole header
inline std::size_t pesDataOffset(Bytes pes) noexcept
{
    return kPesHeaderSize + pes[kPesHeaderSize - 1];
}

}  // namespace zarnow
