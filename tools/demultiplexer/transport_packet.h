#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace demux {

inline constexpr std::size_t kPacketSize = 188;
inline constexpr std::uint8_t kSyncByte = 0x47;
inline constexpr std::size_t kPidCount = 0x2000;

using PacketBytes = std::span<const std::uint8_t, kPacketSize>;

/// Header of one transport packet, named as in ISO/IEC 13818-1, 2.4.3.2 and 2.4.3.4.
struct TransportPacket
{
    std::uint16_t pid = 0;
    std::uint8_t continuityCounter = 0;
    bool transportError = false;
    bool payloadUnitStart = false;
    bool scrambled = false;
    bool discontinuity = false;             ///< discontinuity_indicator of the adaptation field
    bool carriesPayload = false;            ///< by adaptation_field_control: then the continuity counter counts
    std::span<const std::uint8_t> payload;  ///< empty when the adaptation field leaves no room for one
};

inline std::uint16_t packetPid(PacketBytes packet) noexcept
{
    return static_cast<std::uint16_t>(((packet[1] & 0x1F) << 8) | packet[2]);
}

/// Takes the header apart; the payload points into the packet. Every 188 bytes give a result: an adaptation field that
/// is longer than its packet leaves an empty payload.
TransportPacket parseTransportPacket(PacketBytes packet) noexcept;

}  // namespace demux
