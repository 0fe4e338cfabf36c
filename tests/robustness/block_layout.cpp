#include "tests/robustness/block_layout.h"

#include "analysis/stream_type.h"
#include "esparse/audio_header.h"
#include "esparse/avc_sequence_header.h"
#include "esparse/mpeg_video_header.h"
#include "tests/robustness/facts.h"
#include "tests/support/transport_stream.h"

namespace zarnow::test {

Data Environment::content(const Sample& sample) const
{
    return join({filled(garbage, 0x11), timed ? test::timed(sample.packets) : sample.packets});
}

std::string videoHeader(const Blocks& blocks, std::size_t at, std::uint8_t type)
{
    const Bytes payload = blocks.payload(at);
    const auto length = static_cast<std::int32_t>(payload.size());
    VideoProbeRecord record;
    AvcStreamInfo info;
    if (type == stream_type::kAvc ? !parseAvcSequenceHeader(info, payload.data(), length, record)
                                  : !findSequenceHeader(payload.data(), length, record))
        return "";
    record.pid = pidOfHeaderKey(static_cast<std::uint16_t>(blocks.file()[at + 1] | blocks.file()[at + 2] << 8));
    record.streamId = payload[3];
    record.streamType = type;
    return mediaText(record);
}

std::string audioHeader(const Blocks& blocks, std::size_t at, std::uint8_t type)
{
    const Bytes payload = blocks.payload(at);
    for (const bool lpcm : {false, true}) {
        AudioProbeRecord record;
        if (!parseAudioHeader(payload.data(), static_cast<std::int32_t>(payload.size()), type, record, lpcm))
            continue;
        record.pid = pidOfHeaderKey(static_cast<std::uint16_t>(blocks.file()[at + 1] | blocks.file()[at + 2] << 8));
        record.streamId = payload[3];
        return mediaText(record);
    }
    return "";
}

std::size_t certainBlock(const Blocks& blocks, const PsiEntry& stream)
{
    const bool video = stream_type::isVideo(stream.streamType);
    bool unitStart = true;
    const std::size_t count = video ? blocks.count() : std::min(blocks.count(), kMaxAudioBlocks);
    for (std::size_t block = 0; block < count; ++block) {
        const std::size_t at = blocks.first(block, stream.pid, unitStart);
        if (at == Blocks::kNone)
            continue;
        if (!(video ? videoHeader(blocks, at, stream.streamType) : audioHeader(blocks, at, stream.streamType)).empty())
            return block;
        unitStart = video;
    }
    return Blocks::kNone;
}

}  // namespace zarnow::test
