#include <algorithm>
#include <limits>

#include "analysis/media_clock.h"
#include "analysis/packet_walk.h"
#include "analysis/pes_header.h"
#include "esparse/stream_probe.h"

namespace zarnow {

namespace {

constexpr std::int32_t kTailMargin = 4;  // bytes at the file's end that are never looked at

/// Whether a whole packet begins a PES packet of the stream that has no time stamp: none is looked for behind that.
bool beginsWithoutPts(const std::uint8_t* packet, std::uint32_t packetSize, std::uint8_t streamId) noexcept
{
    const auto offset = static_cast<std::size_t>(payloadOffset(packet));
    if (offset + kPesHeaderSize > packetSize)
        return false;
    const Bytes pes(packet + offset, kPesHeaderSize);
    return startsPes(pes, streamId) && !hasTimeStamp(pes);
}

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
    bool dense = false;
    while (file.moveBy(-step) && readBlock(probeBlockSize(), block) && block.full) {
        if (abortScan)
            return false;
        if (const std::int64_t last = lastPtsInBlock(block, headerKey, dense); last != 0) {
            const std::uint64_t ticks = static_cast<std::uint64_t>(last) - videoStreams[0].firstPts;
            seconds = secondsOfTicks(static_cast<std::int64_t>(ticks));
            return true;
        }
        step = static_cast<std::int32_t>(farStep);
    }
    return false;
}

/// Each search ends one packet before the last one did, until it passes the packet found there.
/// @param dense  in, out: the last block had many packets in vain
std::int64_t CStreamProbe::lastPtsInBlock(const Block& block, std::uint16_t headerKey, bool& dense) const noexcept
{
    const auto step = static_cast<std::int32_t>(packetSize);
    const std::uint8_t* packet = nullptr;
    int inVain = dense ? kManyPacketsInVain : 0;
    for (std::int32_t length = block.length(); findLastPacket(block.data(), length, headerKey, packet); ++inVain) {
        if (inVain == kManyPacketsInVain) {
            dense = !mayHoldPts(block, headerKey);
            if (dense)
                return 0;
        }
        if (const std::int64_t ticks = ptsOfPacket(block, packet); ticks != 0)
            return ticks;
        // A search that begins at a sync byte goes from packet to packet: those that end on its way find the same.
        const bool direct = block.bytes[static_cast<std::size_t>(length - step)] == kSyncByte;
        length = direct ? static_cast<std::int32_t>(packet - block.data()) : length - step;
    }
    return 0;
}

/// Where the packets that the searches could find lie on one grid, a look at each of them is the quicker answer.
bool CStreamProbe::mayHoldPts(const Block& block, std::uint16_t headerKey) const noexcept
{
    const std::size_t size = block.bytes.size();
    const std::uint32_t step = packetSize;
    const std::size_t first = CPacketWalk(*this, block.bytes).position() % step;
    if (!allSyncsOnGrid(block.bytes, first, step))
        return true;
    // A search needs no other sync bytes when the packet size before its end there is one.
    for (std::size_t i = size % step; i != first && i < size; i += step) {
        if (block.bytes[i] == kSyncByte)
            return true;
    }
    const auto holdsPts = [&](const std::uint8_t* packet) {
        return packet[0] == kSyncByte && matchesKey(maskedHeaderWord(packet), headerKey) &&
               ptsOfPacket(block, packet) != 0;
    };
    const std::uint8_t streamId = videoStreams[0].streamId;
    const std::uint8_t* packet = block.data() + first;
    std::size_t left = size - first;
    for (; left >= step; left -= step, packet += step) {
        if (!beginsWithoutPts(packet, step, streamId) && holdsPts(packet))
            return true;
    }
    return left >= kPacketHeaderSize && holdsPts(packet);
}

/// @param packet  may be cut off by the block's end
std::int64_t CStreamProbe::ptsOfPacket(const Block& block, const std::uint8_t* packet) const noexcept
{
    const auto left = static_cast<std::uint32_t>(block.data() + block.length() - packet);
    if (left <= kPacketHeaderSize || !hasPayload(packet))
        return 0;
    const Bytes payload = payloadOf(packet, std::min(left, packetSize));
    return findPesPts(payload.data(), videoStreams[0].streamId, static_cast<std::int32_t>(payload.size()));
}

}  // namespace zarnow
