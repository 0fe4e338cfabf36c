#include "esparse/gop_scan.h"

namespace zarnow {

namespace {

constexpr std::uint32_t kTrailingBytes = 4;  // of a packet's payload that are left out

/// Where the scan of a packet begins. Kept: the payload is taken to begin at the adaptation field's last byte and to
/// end 4 bytes early. With 192-byte packets those are the next packet's extra bytes.
std::uint32_t scanOffset(const std::uint8_t* packet) noexcept
{
    const bool adaptation = adaptationControl(packet) == AdaptationControl::both;
    return kPacketHeaderSize + (adaptation ? packet[4] : 0);
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
    const std::uint16_t headerKey = headerKeyOfPid(pid);
    const std::size_t step = packetSize;
    const std::uint8_t* packet = block.data();
    for (std::size_t left = block.bytes.size(); left >= step; left -= step, packet += step) {
        if (headerKeyOf(packet) != headerKey || !hasPayload(packet))
            continue;
        const std::uint32_t begin = scanOffset(packet);
        if (scanner.scanAvcPayload(packet + begin, static_cast<std::int32_t>(step - begin - kTrailingBytes)))
            return true;
    }
    return false;
}

}  // namespace zarnow
