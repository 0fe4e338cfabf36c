/// @file
/// stream_type of a program map entry (ISO/IEC 13818-1, table 2-34), as this filter treats the values.
#pragma once

#include <cstdint>

namespace zarnow::stream_type {

inline constexpr std::uint8_t kMpeg1Video = 0x01;
inline constexpr std::uint8_t kMpeg2Video = 0x02;
inline constexpr std::uint8_t kMpeg1Audio = 0x03;
inline constexpr std::uint8_t kMpeg2Audio = 0x04;
inline constexpr std::uint8_t kPrivateData = 0x06;  ///< probed as AC-3
inline constexpr std::uint8_t kAdts = 0x0F;         ///< AAC
inline constexpr std::uint8_t kLatm = 0x11;         ///< AAC
inline constexpr std::uint8_t kAvc = 0x1B;
inline constexpr std::uint8_t kFirstUserPrivate = 0x80;  ///< and above: probed as AC-3, then as LPCM

constexpr bool isMpegVideo(std::uint8_t type) noexcept
{
    return type == kMpeg1Video || type == kMpeg2Video;
}

constexpr bool isVideo(std::uint8_t type) noexcept
{
    return isMpegVideo(type) || type == kAvc;
}

/// Probed as AC-3 first and then once more with lpcmMode.
constexpr bool isPrivateAudio(std::uint8_t type) noexcept
{
    return type == kPrivateData || type >= kFirstUserPrivate;
}

constexpr bool isAudio(std::uint8_t type) noexcept
{
    return type == kMpeg1Audio || type == kMpeg2Audio || type == kAdts || type == kLatm || isPrivateAudio(type);
}

}  // namespace zarnow::stream_type
