/// @file
/// Fields of the transport packet header (ISO/IEC 13818-1, 2.4.3.2). Offsets are counted from the sync byte.
#pragma once

#include "analysis/bytes.h"

namespace zarnow {

inline constexpr std::uint8_t kSyncByte = 0x47;
inline constexpr std::uint32_t kPacketSize = 188;       ///< plain transport stream
inline constexpr std::uint32_t kTimedPacketSize = 192;  ///< every packet comes with 4 extra bytes
inline constexpr std::size_t kPacketHeaderSize = 4;
inline constexpr std::uint8_t kTransportErrorBit = 0x80;     ///< in byte 1
inline constexpr std::uint8_t kTransportPriorityBit = 0x20;  ///< in byte 1
inline constexpr std::uint16_t kUnitStartBit = 0x40;  ///< payload_unit_start_indicator, in byte 1 and in a header key
inline constexpr std::uint16_t kNullPid = 0x1FFF;
inline constexpr std::uint16_t kPidMask = 0x1FFF;  ///< in bytes 1 and 2, and wherever else a PID stands

/// adaptation_field_control; bit 0 says payload, bit 1 says adaptation field.
enum class AdaptationControl : std::uint8_t { reserved = 0, payloadOnly = 1, adaptationOnly = 2, both = 3 };

inline AdaptationControl adaptationControl(const std::uint8_t* packet) noexcept
{
    return static_cast<AdaptationControl>((packet[3] >> 4) & 3);
}

inline bool isInError(const std::uint8_t* packet) noexcept
{
    return (packet[1] & kTransportErrorBit) != 0;
}

inline bool hasPayload(const std::uint8_t* packet) noexcept
{
    return (packet[3] & 0x10) != 0;
}

/// The form in which PID searches are asked for: bytes 1 and 2 of the packet as a little-endian word.
/// Adding kUnitStartBit asks for packets that start a payload unit.
constexpr std::uint16_t headerKeyOfPid(std::uint16_t pid) noexcept
{
    return static_cast<std::uint16_t>((pid >> 8) | ((pid & 0xFF) << 8));
}

constexpr std::uint16_t pidOfHeaderKey(std::uint16_t headerKey) noexcept
{
    return static_cast<std::uint16_t>(((headerKey & 0x1F) << 8) | (headerKey >> 8));
}

constexpr std::uint16_t withUnitStart(std::uint16_t headerKey) noexcept
{
    return static_cast<std::uint16_t>(headerKey + kUnitStartBit);
}

/// Whether a key has none of the bits that a search does not look at in a packet.
constexpr bool isMasked(std::uint16_t headerKey) noexcept
{
    return (headerKey & (kTransportErrorBit | kTransportPriorityBit)) == 0;
}

/// The packet's header word without these bits.
inline std::uint16_t maskedHeaderWord(const std::uint8_t* packet) noexcept
{
    constexpr std::uint16_t kMask = 0xFFFF & ~(kTransportErrorBit | kTransportPriorityBit);
    return static_cast<std::uint16_t>((packet[1] | (packet[2] << 8)) & kMask);
}

/// The key that asks for the packet's PID.
inline std::uint16_t headerKeyOf(const std::uint8_t* packet) noexcept
{
    return maskedHeaderWord(packet) & static_cast<std::uint16_t>(~kUnitStartBit);
}

inline bool matchesKey(std::uint16_t maskedWord, std::uint16_t headerKey) noexcept
{
    return maskedWord == headerKey || maskedWord == withUnitStart(headerKey);
}

/// Bytes before the payload of a packet that has one: the header, and the adaptation field with its length byte.
inline std::int32_t payloadOffset(const std::uint8_t* packet) noexcept
{
    const bool adaptation = adaptationControl(packet) == AdaptationControl::both;
    return static_cast<std::int32_t>(kPacketHeaderSize) + (adaptation ? packet[4] + 1 : 0);
}

/// The payload of a whole packet that has one; empty when the adaptation field leaves nothing.
inline Bytes payloadOf(const std::uint8_t* packet, std::uint32_t packetSize) noexcept
{
    const std::int32_t offset = payloadOffset(packet);
    const std::int32_t length = static_cast<std::int32_t>(packetSize) - offset;
    return length > 0 ? bytesOf(packet + offset, length) : Bytes();
}

}  // namespace zarnow
