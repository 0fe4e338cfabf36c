#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace demux {

/// packet_start_code_prefix, stream_id and PES_packet_length: what every PES packet starts with.
inline constexpr std::size_t kPesFixedSize = 6;
/// The longest header: the fixed part, the flags and 255 bytes of PES_header_data.
inline constexpr std::size_t kPesHeaderMax = 9 + 255;

/// Header of a PES packet (ISO/IEC 13818-1, 2.4.3.6 and 2.4.3.7).
struct PesHeader
{
    std::uint8_t streamId = 0;
    std::size_t packetSize = 0;       ///< whole packet in bytes, 0 when PES_packet_length leaves it open
    std::size_t headerSize = 0;       ///< bytes ahead of the payload
    std::optional<std::int64_t> pts;  ///< 90 kHz ticks, 0 to 2^33 - 1
    bool carriesStream = true;        ///< false for padding and for a scrambled payload: nothing to decode in it
};

enum class PesParse {
    kDone,       ///< the header is complete and valid
    kNeedsMore,  ///< valid so far, more bytes are needed
    kInvalid,    ///< not a PES packet
};

/// True when the bytes start with packet_start_code_prefix.
bool startsPesPacket(std::span<const std::uint8_t> bytes) noexcept;

/// PES_packet_length made a size: the whole packet in bytes, 0 for an open length. Needs kPesFixedSize bytes.
std::size_t pesPacketSize(std::span<const std::uint8_t> bytes) noexcept;

/// @param bytes  from the start of the PES packet on
/// @param header out: written when the result is kDone
PesParse parsePesHeader(std::span<const std::uint8_t> bytes, PesHeader& header) noexcept;

}  // namespace demux
