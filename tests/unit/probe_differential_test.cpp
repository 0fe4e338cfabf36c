// The probes, which read no block in vain and search a PID once in a load, against the loops they stand for: every
// block read in order, every stream searched anew. Whatever the file holds, no record may differ in a single byte.

#include <gtest/gtest.h>

#include <cstring>

#include "esparse/audio_header.h"
#include "esparse/avc_sequence_header.h"
#include "esparse/mpeg_video_header.h"
#include "esparse/stream_probe.h"
#include "tests/support/random_stream.h"
#include "tests/support/temporary_file.h"

namespace zarnow::test {
namespace {

struct PlainProbe : CStreamProbe
{
    bool accepts(Bytes payload, VideoProbeRecord& record, bool avc)
    {
        const auto length = static_cast<std::int32_t>(payload.size());
        if (avc ? !parseAvcSequenceHeader(avcStreamInfo, payload.data(), length, record)
                : !findSequenceHeader(payload.data(), length, record))
            return false;
        record.streamId = payload[3];
        if (!avc)
            record.firstPts = static_cast<std::uint64_t>(findPesPts(payload.data(), payload[3], length));
        return true;
    }

    bool plainVideo(std::uint16_t pid, VideoProbeRecord& record, bool avc)
    {
        seekToFirstPacket();
        Block block{{}, true};
        while (block.full && readBlock(probeBlockSize(), block)) {
            const std::uint8_t* packet = nullptr;
            const std::uint16_t key = withUnitStart(headerKeyOfPid(pid));
            for (std::int32_t at = 0; block.length() - at > static_cast<std::int32_t>(packetSize) + 2 &&
                                      findNextPacket(block.data() + at, block.length() - at, key, packet);
                 at = static_cast<std::int32_t>(packet - block.data()) + 1) {
                if (!hasPayload(packet) || !accepts(payloadOf(packet, packetSize), record, avc))
                    continue;
                file.moveBy(-static_cast<std::int32_t>(packet - block.data()));
                record.filePosition = static_cast<std::uint32_t>(file.position());
                record.pid = pid;
                return true;
            }
        }
        return false;
    }

    bool plainAudio(std::uint16_t pid, std::uint8_t type, AudioProbeRecord& record, bool lpcmMode)
    {
        std::uint16_t key = withUnitStart(headerKeyOfPid(pid));
        seekToFirstPacket();
        Block block{{}, true};
        for (int blocks = 0; blocks < 24 && block.full && readBlock(probeBlockSize(), block); ++blocks) {
            const std::uint8_t* packet = nullptr;
            std::int32_t at = 0;
            for (std::int32_t covered = block.length(); findNextPacket(block.data() + at, covered, key, packet);
                 covered -= at) {
                if (!hasPayload(packet))
                    return false;
                record = {};
                const Bytes data = payloadOf(packet, packetSize);
                if (parseAudioHeader(data.data(), static_cast<std::int32_t>(data.size()), type, record, lpcmMode)) {
                    record.pid = pid;
                    record.streamId = data[3];
                    record.filePosition = static_cast<std::uint32_t>(file.position()) - 1;
                    return true;
                }
                key = headerKeyOfPid(pid);
                at = static_cast<std::int32_t>(packet - block.data()) + 1;
            }
        }
        return false;
    }

    void plainSelection()
    {
        for (VideoProbeRecord& record : videoStreams)
            record.pid = 0;
        for (AudioProbeRecord& record : audioStreams)
            record.pid = 0;
        const bool mpeg = hasStreamOfType(2) || hasStreamOfType(1);
        std::size_t videos = 0;
        std::size_t audios = 0;
        for (const auto& [pid, owner, type, reserved, number] : streamList) {
            if (number != currentProgramNumber)
                continue;
            const bool video = mpeg ? type == 1 || type == 2 : type == 0x1B;
            if (video && videos < videoStreams.size() && plainVideo(pid, videoStreams[videos], !mpeg))
                videoStreams[videos++].streamType = type;
            const bool twice = type == 6 || type >= 0x80;
            if (!video && type != 1 && type != 2 && type != 0x1B && audios < audioStreams.size() &&
                (plainAudio(pid, type, audioStreams[audios], false) ||
                 (twice && plainAudio(pid, type, audioStreams[audios], true))))
                ++audios;
        }
    }
};

/// What one selection leaves behind is what the next one begins with.
void expectSameSelections(unsigned seed)
{
    Dice dice(seed);
    const bool withPrefixes = dice.oneIn(3);
    const StreamShape shape{
        .packets = 900, .rarity = dice.below(60) + 1, .garbage = 3000, .withPrefixes = withPrefixes};
    const TemporaryFile source(randomStream(dice, shape));
    const std::uint32_t bufferSize = dice.oneIn(2) ? 33000 : 1500 + dice.below(1500);
    constexpr std::uint16_t kPrograms = 5;
    PlainProbe probe;
    PlainProbe plain;
    for (std::uint16_t i = 0; i < 6 * kPrograms; ++i)
        probe.streamList.push_back({.pid = randomPid(dice),
                                    .streamType = dice.of({1, 2, 3, 4, 6, 0x0F, 0x11, 0x1B, 0x1B, 0x1B, 0x80, 0x81}),
                                    .programNumber = static_cast<std::uint16_t>(i % kPrograms)});
    plain.streamList = probe.streamList;
    for (PlainProbe* one : {&probe, &plain}) {
        ASSERT_EQ(one->file.open(source.path().c_str()), 0U);
        one->packetSize = withPrefixes ? kTimedPacketSize : kPacketSize;
        one->setReadBufferSize(bufferSize);
    }
    for (int step = 0; step < 12; ++step) {
        probe.currentProgramNumber = plain.currentProgramNumber = static_cast<std::uint16_t>(dice.below(kPrograms));
        probe.probeVideoStreams();
        probe.probeAudioStreams();
        plain.plainSelection();
        SCOPED_TRACE(testing::Message() << "seed " << seed << ", step " << step);
        EXPECT_EQ(std::memcmp(&probe.videoStreams, &plain.videoStreams, sizeof(plain.videoStreams)), 0);
        EXPECT_EQ(std::memcmp(&probe.audioStreams, &plain.audioStreams, sizeof(plain.audioStreams)), 0);
        EXPECT_EQ(std::memcmp(&probe.avcStreamInfo, &plain.avcStreamInfo, sizeof(plain.avcStreamInfo)), 0);
    }
}

TEST(ProbeDifference, RepeatedSelectionsOfRandomStreams)
{
    for (unsigned seed = 0; seed < 60 && !HasFailure(); ++seed)
        expectSameSelections(seed);
}

}  // namespace
}  // namespace zarnow::test
