#include "esparse/gop_scan.h"

namespace zarnow {

namespace {

constexpr std::size_t kTrailingBytes = 4;  // of a packet's payload that are left out

std::uint16_t pidOf(const std::uint8_t* packet) noexcept
{
    return static_cast<std::uint16_t>(((packet[1] & 0x1F) << 8) | packet[2]);
}

}  // namespace

bool CGopScan::scanAvcGop(std::uint16_t pid)
{
    CGopScanner scanner(avcStreamInfo);
    seekToFirstPacket();
    bool reached = false;
    Block block;
    do {
        if (!readBlock(probeBlockSize(), block))
            break;
        if (abortScan)
            return false;
        reached = scanBlock(block, pid, scanner);
    } while (!reached && block.full);
    scanner.storeCounts();
    return reached;
}

/// Packet by packet from the block's start; there is no resynchronisation.
bool CGopScan::scanBlock(const Block& block, std::uint16_t pid, CGopScanner& scanner) const
{
    for (std::size_t position = 0; position + packetSize <= block.bytes.size(); position += packetSize) {
        if (scanPacket(block.data() + position, pid, scanner))
            return true;
    }
    return false;
}

bool CGopScan::scanPacket(const std::uint8_t* packet, std::uint16_t pid, CGopScanner& scanner) const
{
    if (pidOf(packet) != pid || !hasPayload(packet))
        return false;
    // Kept: the payload is taken to begin at the adaptation field's last byte and to end 4 bytes early. With 192-byte
    // packets those are the next packet's extra bytes.
    const bool adaptation = adaptationControl(packet) == AdaptationControl::both;
    const std::size_t begin = kPacketHeaderSize + (adaptation ? packet[4] : 0);
    const auto length = static_cast<std::int32_t>(packetSize) - static_cast<std::int32_t>(begin + kTrailingBytes);
    return scanner.scanAvcPayload(length > 0 ? packet + begin : nullptr, length);
}

}  // namespace zarnow
