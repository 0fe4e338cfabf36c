#include "analysis/stream_type.h"
#include "esparse/avc_sequence_header.h"
#include "esparse/mpeg_video_header.h"
#include "esparse/stream_probe.h"

namespace zarnow {

bool CStreamProbe::probeVideoStreams()
{
    if (!file.isOpen())
        return false;
    for (VideoProbeRecord& record : videoStreams)
        record.pid = 0;
    const bool mpeg = hasStreamOfType(stream_type::kMpeg2Video) || hasStreamOfType(stream_type::kMpeg1Video);
    if (!mpeg && !hasStreamOfType(stream_type::kAvc))
        return false;

    std::size_t filled = 0;
    for (const PsiEntry& stream : streamList) {
        const bool wanted = mpeg ? stream_type::isMpegVideo(stream.streamType) : stream.streamType == stream_type::kAvc;
        if (!wanted || !stream.belongsTo(currentPmtPid, currentProgramNumber))
            continue;
        if (filled == videoStreams.size())
            break;
        if (mpeg ? probeVideoStream(stream.pid, filled) : probeAvcStream(stream.pid, filled))
            videoStreams[filled++].streamType = stream.streamType;
    }
    videoStreamCount = static_cast<std::uint32_t>(filled);
    return filled > 0;
}

bool CStreamProbe::probeVideoStream(std::uint16_t pid, std::size_t entry)
{
    VideoProbeRecord& record = videoStreams[entry];
    return probeUnitStarts(pid, record, [&](const std::uint8_t* payload, std::int32_t length) {
        if (!findSequenceHeader(payload, length, record))
            return false;
        record.firstPts = static_cast<std::uint64_t>(findPesPts(payload, payload[3], length));
        return true;
    });
}

bool CStreamProbe::probeAvcStream(std::uint16_t pid, std::size_t entry)
{
    VideoProbeRecord& record = videoStreams[entry];
    return probeUnitStarts(pid, record, [&](const std::uint8_t* payload, std::int32_t length) {
        return parseAvcSequenceHeader(avcStreamInfo, payload, length, record);
    });
}

/// Hands the payload of every packet that starts a PES packet to the parser until it accepts one.
template <class Parser>
bool CStreamProbe::probeUnitStarts(std::uint16_t pid, VideoProbeRecord& record, Parser parser)
{
    seekToFirstPacket();
    const std::uint16_t headerKey = withUnitStart(headerKeyOfPid(pid));
    Block block;
    do {
        if (!readBlock(probeBlockSize(), block) || abortScan)
            return false;
        if (const std::uint8_t* packet = findAccepted(block, headerKey, parser)) {
            record.streamId = payloadOf(packet, packetSize)[3];
            file.moveBy(-static_cast<std::int32_t>(packet - block.data()));
            record.filePosition = lowFilePosition();  // kept: the block's end less the packet's offset in the block
            record.pid = pid;
            return true;
        }
    } while (block.full);
    return false;
}

template <class Parser>
const std::uint8_t* CStreamProbe::findAccepted(const Block& block, std::uint16_t headerKey, Parser& parser)
{
    std::size_t position = 0;
    while (block.bytes.size() - position > packetSize + 2) {
        const Bytes rest = block.bytes.subspan(position);
        const std::uint8_t* packet = nullptr;
        if (!findNextPacket(rest.data(), static_cast<std::int32_t>(rest.size()), headerKey, packet))
            return nullptr;
        const Bytes payload = payloadOf(packet, packetSize);
        if (hasPayload(packet) && parser(payload.data(), static_cast<std::int32_t>(payload.size())))
            return packet;
        position = static_cast<std::size_t>(packet - block.data()) + 1;
    }
    return nullptr;
}

}  // namespace zarnow
