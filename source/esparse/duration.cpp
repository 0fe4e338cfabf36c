#include <algorithm>
#include <limits>

#include "analysis/media_clock.h"
#include "esparse/stream_probe.h"

namespace zarnow {

namespace {

constexpr std::int32_t kTailMargin = 4;  // bytes at the file's end that are never looked at

}  // namespace

bool CStreamProbe::firstVideoDuration(std::uint16_t pid, double& seconds)
{
    seconds = 0.0;
    const std::uint16_t headerKey = withUnitStart(headerKeyOfPid(pid));
    const std::int64_t farStep = std::int64_t{readBufferSize} * 2;  // over the block just read, and one more
    if (farStep > std::numeric_limits<std::int32_t>::max() || !file.moveFromEnd(-kTailMargin))
        return false;
    auto step = static_cast<std::int32_t>(readBufferSize);
    Block block;
    while (file.moveBy(-step) && readBlock(probeBlockSize(), block) && block.full) {
        if (abortScan)
            return false;
        if (const std::int64_t last = lastPtsInBlock(block, headerKey); last != 0) {
            const std::uint64_t ticks = static_cast<std::uint64_t>(last) - videoStreams[0].firstPts;
            seconds = secondsOfTicks(static_cast<std::int64_t>(ticks));
            return true;
        }
        step = static_cast<std::int32_t>(farStep);
    }
    return false;
}

std::int64_t CStreamProbe::lastPtsInBlock(const Block& block, std::uint16_t headerKey) const noexcept
{
    const std::uint8_t* packet = nullptr;
    const auto step = static_cast<std::int32_t>(packetSize);
    for (std::int32_t length = block.length(); findLastPacket(block.data(), length, headerKey, packet);
         length -= step) {
        // The last packet may be cut off by the block's end.
        const auto left = static_cast<std::uint32_t>(block.data() + block.length() - packet);
        if (left <= kPacketHeaderSize || !hasPayload(packet))
            continue;
        const Bytes payload = payloadOf(packet, std::min(left, packetSize));
        const std::int64_t ticks =
            findPesPts(payload.data(), videoStreams[0].streamId, static_cast<std::int32_t>(payload.size()));
        if (ticks != 0)
            return ticks;
    }
    return 0;
}

}  // namespace zarnow
