#include "analysis/stream_type.h"
#include "esparse/avc_sequence_header.h"
#include "esparse/mpeg_video_header.h"
#include "esparse/stream_probe.h"

namespace zarnow {

namespace {

constexpr std::uint32_t kNoBlockLimit = 0xFFFFFFFF;

}  // namespace

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
    return probeVideo(pid, entry, false, [](Bytes payload, VideoProbeRecord& record, AvcStreamInfo&) {
        const auto length = static_cast<std::int32_t>(payload.size());
        if (!findSequenceHeader(payload.data(), length, record))
            return false;
        record.firstPts = static_cast<std::uint64_t>(findPesPts(payload.data(), payload[3], length));
        return true;
    });
}

bool CStreamProbe::probeAvcStream(std::uint16_t pid, std::size_t entry)
{
    return probeVideo(pid, entry, true, [](Bytes payload, VideoProbeRecord& record, AvcStreamInfo& info) {
        return parseAvcSequenceHeader(info, payload.data(), static_cast<std::int32_t>(payload.size()), record);
    });
}

/// Searches for the stream's header, or takes what an earlier search did.
template <class Parser>
bool CStreamProbe::probeVideo(std::uint16_t pid, std::size_t entry, bool avc, Parser parser)
{
    if (abortScan)
        return false;
    const std::uint32_t key = videoSearchKey(pid, avc);
    auto known = videoSearches.find(key);
    if (known == videoSearches.end()) {
        VideoSearch search;
        search.found = searchUnitStarts(pid, search, parser);
        if (abortScan)
            return false;
        known = videoSearches.emplace(key, search).first;
    }
    if (known->second.looked)
        known->second.applyTo(videoStreams[entry], avcStreamInfo);
    return known->second.found;
}

/// Hands the payload of every packet that starts a PES packet to the parser until it accepts one.
template <class Parser>
bool CStreamProbe::searchUnitStarts(std::uint16_t pid, VideoSearch& search, Parser& parser)
{
    const std::uint16_t headerKey = withUnitStart(headerKeyOfPid(pid));
    Block block;
    for (std::uint32_t number = 0; readBlockWith(headerKey, number, kNoBlockLimit, block); ++number) {
        const std::uint8_t* packet = findAccepted(block, headerKey, search, parser);
        if (packet == nullptr)
            continue;
        file.moveBy(-static_cast<std::int32_t>(packet - block.data()));
        for (VideoProbeRecord* record : {&search.record.first, &search.record.second}) {
            record->streamId = payloadOf(packet, packetSize)[3];
            record->filePosition = lowFilePosition();  // kept: the block's end less the packet's offset in the block
            record->pid = pid;
        }
        return true;
    }
    return false;
}

template <class Parser>
const std::uint8_t* CStreamProbe::findAccepted(const Block& block, std::uint16_t headerKey, VideoSearch& search,
                                               Parser& parser)
{
    std::size_t position = 0;
    while (block.bytes.size() - position > packetSize + 2) {
        const Bytes rest = block.bytes.subspan(position);
        const std::uint8_t* packet = nullptr;
        if (!findNextPacket(rest.data(), static_cast<std::int32_t>(rest.size()), headerKey, packet))
            return nullptr;
        if (hasPayload(packet)) {
            search.looked = true;
            const Bytes payload = payloadOf(packet, packetSize);
            parser(payload, search.record.second, search.avc.second);
            if (parser(payload, search.record.first, search.avc.first))
                return packet;
        }
        position = static_cast<std::size_t>(packet - block.data()) + 1;
    }
    return nullptr;
}

}  // namespace zarnow
