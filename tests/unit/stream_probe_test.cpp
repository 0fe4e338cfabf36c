// Reading the headers of a program's streams, and the duration, from a file.

#include <gtest/gtest.h>

#include <optional>

#include "esparse/stream_probe.h"
#include "tests/support/temporary_file.h"
#include "tests/support/transport_stream.h"
#include "tests/support/video_headers.h"

namespace zarnow::test {
namespace {

// A block of the probes holds 173 packets and looks at 172 of them.
constexpr std::size_t kBlockPackets = 173;

struct Probe : CStreamProbe
{
    explicit Probe(const Data& content, const std::vector<Stream>& streams = {}) : source(content)
    {
        EXPECT_EQ(file.open(source.path().c_str()), 0U);
        setProgram(streams);
    }

    void setProgram(const std::vector<Stream>& streams)
    {
        streamList = {{}};
        currentPmtPid = 0x100;
        currentProgramNumber = 1;
        for (const Stream& one : streams)
            streamList.push_back({.pid = one.pid, .pmtPid = 0x100, .streamType = one.type, .programNumber = 1});
    }

    std::vector<std::uint16_t> videoPids() const { return pidsOf(videoStreams); }
    std::vector<std::uint16_t> audioPids() const { return pidsOf(audioStreams); }

    template <class Records>
    static std::vector<std::uint16_t> pidsOf(const Records& records)
    {
        std::vector<std::uint16_t> pids;
        for (const auto& record : records) {
            if (record.pid != 0)
                pids.push_back(record.pid);
        }
        return pids;
    }

    TemporaryFile source;
};

using Pids = std::vector<std::uint16_t>;

Data mpegVideo(std::uint16_t pid, std::int64_t pts = 90000, const SequenceHeader& header = {})
{
    return packet({.pid = pid}, pes(0xE0, join({sequenceHeader(header), sequenceExtension()}), pts));
}

Data avcVideo(std::uint16_t pid, const Sps& fields = {})
{
    return packet({.pid = pid}, pes(0xE1, join({sps(fields), filled(60, 0x55)}), 180000));
}

Data ac3Audio(std::uint16_t pid, bool unitStart = true)
{
    return packet({.pid = pid, .unitStart = unitStart}, pes(0xBD, {0x0B, 0x77, 0, 0, 0x1C, 0, 0x40}, 90000));
}

Data lpcmAudio(std::uint16_t pid)
{
    return packet({.pid = pid}, pes(0xFD, {0, 0, 0x31, 0x40}, 90000));
}

Data fileOf(std::initializer_list<Data> packets, std::size_t nulls = 12)
{
    return join({join(packets), nullPackets(nulls)});
}

TEST(VideoProbe, WhichStreamsAreListed)
{
    const Data unmarked = mpegVideo(0x11, 90000, {.marker = false});
    std::vector<Stream> six;
    Data sixPackets;
    for (std::uint16_t pid = 0x11; pid <= 0x16; ++pid) {
        six.push_back({2, pid});
        sixPackets = join({sixPackets, mpegVideo(pid)});
    }
    const std::vector<Stream> one{{2, 0x11}};
    const struct
    {
        const char* fault;
        Data content;
        std::vector<Stream> streams;
        Pids expected;
    } cases[] = {
        {"AVC is probed beside MPEG video",
         fileOf({avcVideo(0x12), mpegVideo(0x11)}),
         {{0x1B, 0x12}, {1, 0x11}},
         {0x11}},
        {"AVC is not probed alone", fileOf({avcVideo(0x12)}), {{0x1B, 0x12}}, {0x12}},
        {"a rejected MPEG stream makes room for AVC",
         fileOf({avcVideo(0x12), unmarked}),
         {{0x1B, 0x12}, {2, 0x11}},
         {}},
        {"a sixth stream is listed", fileOf({sixPackets}), six, {0x11, 0x12, 0x13, 0x14, 0x15}},
        {"a refused header ends the search", fileOf({unmarked, mpegVideo(0x11)}), one, {0x11}},
        {"a packet without payload ends the search",
         fileOf({packet({.pid = 0x11, .control = 2, .adaptation = 183}), mpegVideo(0x11)}),
         one,
         {0x11}},
        {"the adaptation field is searched",
         fileOf({packet({.pid = 0x11, .control = 3, .adaptation = 150}, pes(0xE0, sequenceHeader()))}),
         one,
         {0x11}},
        {"an adaptation field over the packet's end is followed",
         fileOf({packet({.pid = 0x11, .control = 3, .adaptation = 183}),
                 packet({.pid = 0x11, .control = 3, .adaptation = 255})}),
         one,
         {}},
        {"a packet that starts no unit is looked into",
         fileOf({packet({.pid = 0x11, .unitStart = false}, pes(0xE0, sequenceHeader()))}),
         one,
         {}},
        {"a block's last packet is looked at", join({nullPackets(172), mpegVideo(0x11), nullPackets(20)}), one, {}},
        {"later blocks are not read",
         join({nullPackets(40 * kBlockPackets), mpegVideo(0x11), nullPackets(3)}),
         one,
         {0x11}},
        {"two bytes behind a packet are too few", join({nullPackets(18), mpegVideo(0x11), filled(2)}), one, {0x11}},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.fault);
        Probe probe(test.content, test.streams);
        EXPECT_EQ(probe.probeVideoStreams(), !test.expected.empty());
        EXPECT_EQ(probe.videoPids(), test.expected);
        EXPECT_EQ(probe.videoStreamCount, test.expected.size());
    }
}

TEST(VideoProbe, WhatIsRecorded)
{
    // 100 bytes ahead, the header in the second block's packet 5; 20 packets follow the first block.
    Probe probe(join({filled(100), nullPackets(kBlockPackets + 5), mpegVideo(0x11, 0x1FFFFFFFF), nullPackets(14)}),
                {{2, 0x11}});
    ASSERT_TRUE(probe.probeVideoStreams());
    const VideoProbeRecord& record = probe.videoStreams[0];
    EXPECT_EQ(record.streamId, 0xE0);
    EXPECT_EQ(record.streamType, 2);
    EXPECT_EQ(static_cast<std::int64_t>(record.firstPts), -1);
    EXPECT_EQ(record.filePosition, 100 + (kBlockPackets + 20 - 5) * kPacket) << "the block's end less the offset in it";
    EXPECT_EQ(probe.startOffset, 100U);

    probe.abortScan = true;
    EXPECT_FALSE(probe.probeVideoStreams() || probe.probeAudioStreams());
}

TEST(VideoProbe, FieldsThatANewStreamDoesNotHaveStay)
{
    const Usability wide{.aspectRatio = 0, .videoFormat = 2, .timing = true};
    Probe probe(fileOf({mpegVideo(0x11, 45000, {.aspect = 2}), avcVideo(0x12, {.usability = wide}), avcVideo(0x13)}),
                {{2, 0x11}});
    ASSERT_TRUE(probe.probeVideoStreams());
    probe.setProgram({{0x1B, 0x13}});
    ASSERT_TRUE(probe.probeVideoStreams());
    const VideoProbeRecord& record = probe.videoStreams[0];
    EXPECT_EQ(std::pair(record.pid, record.streamType), std::pair(std::uint16_t{0x13}, std::uint8_t{0x1B}));
    EXPECT_EQ(record.aspectX, 4U) << "no VUI: the MPEG stream's";
    EXPECT_EQ(record.avgTimePerFrame, 400000);
    EXPECT_EQ(record.firstPts, 45000U);
    probe.setProgram({{3, 0x44}});
    EXPECT_FALSE(probe.probeVideoStreams());
    EXPECT_EQ(record.pid, 0) << "the record is empty";
    EXPECT_EQ(record.aspectX, 4U) << "its fields are not";
}

/// Candidates of one PID without a header, the first of which starts a unit.
Data candidates(std::size_t count)
{
    return join({packet({.pid = 0x21}, pes(0xBD, filled(4))),
                 repeat(packet({.pid = 0x21, .unitStart = false}, filled(184)), count - 1)});
}

TEST(AudioProbe, WhichStreamsAreListed)
{
    const std::vector<Stream> ac3{{0x81, 0x21}};
    const Data late = ac3Audio(0x21, false);
    std::vector<Stream> nine;
    for (std::uint16_t pid = 0x21; pid <= 0x29; ++pid)
        nine.push_back({6, pid});
    Data ninePackets;
    for (const Stream& one : nine)
        ninePackets = join({ninePackets, ac3Audio(one.pid)});
    const struct
    {
        const char* fault;
        Data content;
        std::vector<Stream> streams;
        Pids expected;
    } cases[] = {
        {"LATM is listed", fileOf({packet({.pid = 0x21}, pes(0xC0, {0xFF, 0xF1, 0, 0, 0}))}), {{0x11, 0x21}}, {}},
        {"a ninth stream is listed", fileOf({ninePackets}), nine, {0x21, 0x22, 0x23, 0x24, 0x25, 0x26, 0x27, 0x28}},
        {"LPCM is not tried", fileOf({lpcmAudio(0x21)}), ac3, {0x21}},
        {"LPCM is tried for stream type 6", fileOf({lpcmAudio(0x21)}), {{6, 0x21}}, {}},
        {"a type that is no audio is probed", fileOf({ac3Audio(0x21)}), {{0x05, 0x21}}, {}},
        {"a packet without payload is passed over",
         fileOf({packet({.pid = 0x21, .control = 2, .adaptation = 183}), ac3Audio(0x21)}),
         ac3,
         {}},
        {"the first candidate may start no unit", fileOf({late}), ac3, {}},
        {"later candidates have to start a unit", fileOf({candidates(1), late}), ac3, {0x21}},
        // The budget of 173 * 188 bytes falls by 188 * k + 1 before the search behind candidate k. After candidate 17
        // there are 3742 bytes left, after 18 only 357, too few to find the next packet's sync.
        {"the budget is smaller than it is", join({candidates(18), late, nullPackets(154)}), ac3, {0x21}},
        {"the budget does not shrink, or not by the whole position",
         join({candidates(19), late, nullPackets(153)}),
         ac3,
         {}},
        {"the budget is not renewed for the next block",
         join({candidates(kBlockPackets), late, nullPackets(20)}),
         ac3,
         {0x21}},
        {"the 24th block is not read",
         join({nullPackets(23 * kBlockPackets), ac3Audio(0x21), nullPackets(20)}),
         ac3,
         {0x21}},
        {"a 25th block is read", join({nullPackets(24 * kBlockPackets), ac3Audio(0x21), nullPackets(20)}), ac3, {}},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.fault);
        Probe probe(test.content, test.streams);
        EXPECT_EQ(probe.probeAudioStreams(), !test.expected.empty());
        EXPECT_EQ(probe.audioPids(), test.expected);
        EXPECT_EQ(probe.audioStreamCount, test.expected.size());
    }
}

TEST(AudioProbe, WhatIsRecorded)
{
    Probe probe(fileOf({ac3Audio(0x21), lpcmAudio(0x22)}, 20), {{0x81, 0x21}, {0x80, 0x22}});
    ASSERT_TRUE(probe.probeAudioStreams());
    EXPECT_EQ(probe.audioStreams[0].filePosition, 22 * kPacket - 1) << "the end of what was read, less one";
    EXPECT_EQ(probe.audioStreams[0].streamId, 0xBD);
    EXPECT_EQ(probe.audioStreams[0].isLpcm, 0);
    EXPECT_EQ(probe.audioStreams[1].isLpcm, 1);
    EXPECT_EQ(probe.audioStreams[1].streamType, 0x80);
    EXPECT_EQ(probe.audioStreams[1].streamId, 0xFD);
}

Data stamped(std::optional<std::int64_t> pts)
{
    return packet({.pid = 0x11}, pes(0xE0, {}, pts));
}

TEST(Duration, LastTimeStampOfTheFirstStream)
{
    constexpr std::int64_t kSecond = 90000;
    const Data first = mpegVideo(0x11, kSecond);
    const Data none = nullPackets(1);
    // Blocks of 32524 bytes begin 33004 and 66480 bytes before the file's end. What lies between them, packets 176
    // to 180 counted from the end, is not looked at.
    const auto file = [&](std::size_t fromEnd, const Data& last, std::size_t packets = 1000) {
        Data content = join({first, nullPackets(packets)});
        std::copy(last.begin(), last.end(), content.end() - static_cast<std::ptrdiff_t>(fromEnd * kPacket));
        return content;
    };
    const struct
    {
        const char* fault;
        Data content;
        double expected;  ///< less than 0: none
    } cases[] = {
        {"the last stamp is not found", file(20, stamped(4 * kSecond)), 3.0},
        {"the first of several stamps is taken", file(30, join({stamped(2 * kSecond), none, stamped(4 * kSecond)})),
         3.0},
        {"a wrap of the clock is corrected", file(20, stamped(0x100000000)), -4294967296.0 / 90000 - 1.0},
        {"a stamp of 0 counts", file(30, join({stamped(2 * kSecond), none, stamped(0)})), 1.0},
        {"a unit without a stamp ends the search", file(30, join({stamped(2 * kSecond), none, stamped({})})), 1.0},
        {"another stream_id counts",
         file(30, join({stamped(2 * kSecond), packet({.pid = 0x11}, pes(0xE5, {}, 4 * kSecond))})), 1.0},
        {"a packet that starts no unit counts",
         file(30, join({stamped(2 * kSecond), packet({.pid = 0x11, .unitStart = false}, pes(0xE0, {}, 4 * kSecond))})),
         1.0},
        {"the gap between two blocks is looked at", file(178, stamped(4 * kSecond)), -1},
        {"the second block is not read, or not two buffers before the first one's end", file(240, stamped(4 * kSecond)),
         3.0},
        {"the second block begins too late", file(352, join({stamped(4 * kSecond), none})), 3.0},
        {"a file of 33004 bytes has no block", firstBytes(file(15, stamped(4 * kSecond), 175), 33004), 3.0},
        {"a file of 33003 bytes has a block", firstBytes(file(15, stamped(4 * kSecond), 175), 33003), -1},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.fault);
        Probe probe(test.content, {{2, 0x11}});
        ASSERT_TRUE(probe.probeVideoStreams());
        double seconds = 99;
        EXPECT_EQ(probe.firstVideoDuration(0x11, seconds), test.expected != -1);
        EXPECT_DOUBLE_EQ(seconds, test.expected == -1 ? 0.0 : test.expected);
        probe.abortScan = true;
        EXPECT_FALSE(probe.firstVideoDuration(0x11, seconds));
    }
}

}  // namespace
}  // namespace zarnow::test
