/// @file
/// Transport packets, PES packets and program tables as a multiplexer would write them (ISO/IEC 13818-1, 2.4.3 and
/// 2.4.4), and as it never should.
#pragma once

#include <optional>

#include "tests/support/data.h"

namespace zarnow::test {

inline constexpr std::size_t kPacket = 188;
inline constexpr std::uint16_t kNoPid = 0x1FFF;

struct Header
{
    std::uint16_t pid = 0;
    bool unitStart = true;
    bool error = false;
    bool priority = false;
    std::uint8_t control = 1;      ///< adaptation_field_control
    std::uint8_t adaptation = 0;   ///< adaptation_field_length, with control 2 and 3
    std::uint8_t stuffing = 0xFF;  ///< of the adaptation field
};

/// 188 bytes; 0xFF after the payload, which is cut where the packet ends.
Data packet(const Header& header, const Data& payload = {});
Data nullPackets(std::size_t count);

/// Every packet with 4 extra bytes before it.
Data timed(const Data& packets);

/// 9 bytes of PES header, 5 of time stamp where there is one, and the payload. PES_packet_length 0: unbounded.
Data pes(std::uint8_t streamId, const Data& payload, std::optional<std::int64_t> pts = std::nullopt);

/// The five bytes of a time stamp field. @param prefix  its first four bits
Data stampField(std::int64_t ticks, std::uint8_t prefix = 2);

/// A PES packet over as many packets as it takes; the last one is filled up with an adaptation field.
Data pesPackets(std::uint16_t pid, const Data& pesPacket);

struct Program
{
    std::uint16_t number;
    std::uint16_t pmtPid;
};

struct Stream
{
    std::uint8_t type;
    std::uint16_t pid;
    std::uint16_t infoLength = 0;  ///< ES_info_length; so many bytes of 0xFF
};

/// CRC_32 of annex A.
std::uint32_t crcOf(const Data& data);

/// Sections with their CRC.
Data patSection(const std::vector<Program>& programs);
Data pmtSection(std::uint16_t programNumber, const std::vector<Stream>& streams, std::uint16_t programInfoLength = 0);

/// pointer_field, the bytes it skips, and the section.
Data pointed(const Data& section, std::uint8_t pointer = 0);

/// One packet each; what does not fit is cut.
Data patPacket(const std::vector<Program>& programs);
Data pmtPacket(std::uint16_t pid, std::uint16_t programNumber, const std::vector<Stream>& streams);

}  // namespace zarnow::test
