#include <algorithm>

#include "analysis/stream_type.h"
#include "esparse/audio_header.h"
#include "esparse/stream_probe.h"

namespace zarnow {

namespace {

constexpr int kMaxAudioBlocks = 24;  // an audio header that has not come by then is not waited for

}  // namespace

bool CStreamProbe::probeAudioStreams()
{
    if (!file.isOpen())
        return false;
    for (AudioProbeRecord& record : audioStreams)
        record.pid = 0;

    std::size_t filled = 0;
    for (const PsiEntry& stream : streamList) {
        if (!stream.belongsTo(currentPmtPid, currentProgramNumber) || !stream_type::isAudio(stream.streamType))
            continue;
        if (filled == audioStreams.size())
            break;
        if (probeAudioTypes(stream, filled))
            ++filled;
    }
    audioStreamCount = static_cast<std::uint32_t>(filled);
    return filled > 0;
}

bool CStreamProbe::probeAudioTypes(const PsiEntry& stream, std::size_t entry)
{
    if (probeAudioStream(stream.pid, stream.streamType, entry, false))
        return true;
    return stream_type::isPrivateAudio(stream.streamType) &&
           probeAudioStream(stream.pid, stream.streamType, entry, true);
}

bool CStreamProbe::probeAudioStream(std::uint16_t pid, std::uint8_t streamType, std::size_t entry, bool lpcmMode)
{
    seekToFirstPacket();
    AudioProbeRecord& record = audioStreams[entry];
    std::uint16_t headerKey = withUnitStart(headerKeyOfPid(pid));
    for (int blocks = 0; blocks < kMaxAudioBlocks; ++blocks) {
        Block block;
        if (!readBlock(probeBlockSize(), block) || abortScan)
            return false;
        const AudioSearch result = findAudioHeader(block, headerKey, lpcmMode, streamType, record);
        if (result == AudioSearch::found) {
            record.pid = pid;
            record.filePosition = lowFilePosition() - 1;
            return true;
        }
        if (result == AudioSearch::givenUp || !block.full)
            return false;
    }
    return false;
}

/// @param headerKey  after the first candidate it no longer asks for packets that start a payload unit
CStreamProbe::AudioSearch CStreamProbe::findAudioHeader(const Block& block, std::uint16_t& headerKey, bool lpcmMode,
                                                        std::uint8_t streamType, AudioProbeRecord& record)
{
    std::int64_t budget = block.length();
    std::int64_t position = 0;
    for (;;) {
        // The budget is reduced by the whole position before every search, not by the step since the last one: only
        // the first candidates of a block are looked at. Which streams are listed depends on it.
        budget -= position;
        const std::uint8_t* packet = nullptr;
        if (budget <= 0 ||
            !findNextPacket(block.data() + position, static_cast<std::int32_t>(budget), headerKey, packet))
            return AudioSearch::notInBlock;
        if (!hasPayload(packet))
            return AudioSearch::givenUp;
        record = {};
        const Bytes payload = payloadOf(packet, packetSize);
        if (parseAudioHeader(payload.data(), static_cast<std::int32_t>(payload.size()), streamType, record, lpcmMode)) {
            record.streamId = payload[3];
            return AudioSearch::found;
        }
        headerKey &= static_cast<std::uint16_t>(~kUnitStartBit);
        position = packet - block.data() + 1;
    }
}

}  // namespace zarnow
