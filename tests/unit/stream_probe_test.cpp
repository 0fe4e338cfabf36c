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
constexpr std::size_t kBlock = 173;

struct Probe : CStreamProbe
{
    explicit Probe(const Data& content, const std::vector<Stream>& streams = {}) : source(content)
    {
        EXPECT_EQ(file.open(source.path().c_str()), 0U);
        EXPECT_TRUE(detectFilePacketSize());
        streamList = {{}};
        currentPmtPid = 0x100;
        currentProgramNumber = 1;
        for (const Stream& one : streams)
            streamList.push_back({.pid = one.pid, .pmtPid = 0x100, .streamType = one.type, .programNumber = 1});
    }

    TemporaryFile source;
};

using Pids = std::vector<std::uint16_t>;

Data avcVideo(std::uint16_t pid)
{
    return packet({.pid = pid}, pes(0xE1, join({sps({}), filled(60, 0x55)}), 180000));
}

Data lpcmAudio(std::uint16_t pid)
{
    return packet({.pid = pid}, pes(0xFD, {0, 0, 0x31, 0x40}, 90000));
}

Data fileOf(std::initializer_list<Data> packets)
{
    return join({join(packets), nullPackets(12)});
}

template <class Records>
Pids listed(const Records& records)
{
    Pids pids;
    for (const auto& record : records) {
        if (record.pid != 0)
            pids.push_back(record.pid);
    }
    return pids;
}

/// One more than there are records.
template <class MakePacket>
std::pair<Data, std::vector<Stream>> oneTooMany(std::size_t records, std::uint8_t type, MakePacket makePacket)
{
    std::pair<Data, std::vector<Stream>> all;
    for (std::uint16_t pid = 0x11; pid <= 0x11 + records; ++pid) {
        all.first = join({all.first, makePacket(pid)});
        all.second.push_back({type, pid});
    }
    all.first = join({all.first, nullPackets(12)});
    return all;
}

TEST(Probes, WhichStreamsAreListed)
{
    const Data video = mpegVideoPacket(0x11), unmarked = mpegVideoPacket(0x11, {.marker = false});
    const Data audio = ac3Packet(0x11), late = ac3Packet(0x11, false);
    const Data set = pes(0xE1, sps({}));
    const Data atEnd =
        packet({.pid = 0x12, .control = 3, .adaptation = static_cast<std::uint8_t>(183 - set.size())}, set);
    const Data noPayload = packet({.pid = 0x11, .control = 2, .adaptation = 183});
    const auto [sixVideos, six] = oneTooMany(5, 2, [](std::uint16_t pid) { return mpegVideoPacket(pid); });
    const auto [nineAudios, nine] = oneTooMany(8, 6, [](std::uint16_t pid) { return ac3Packet(pid); });
    const std::vector<Stream> avc{{0x1B, 0x12}}, mpeg{{2, 0x11}}, ac3{{0x81, 0x11}};
    const Pids none, one{0x11};
    const struct
    {
        const char* fault;
        Data content;
        std::vector<Stream> streams;
        Pids expected;
    } cases[] = {
        {"AVC is probed beside MPEG video", fileOf({avcVideo(0x12), video}), {avc[0], mpeg[0]}, one},
        {"AVC is not probed alone", fileOf({avcVideo(0x12)}), avc, {0x12}},
        {"more than the packet is read", fileOf({atEnd}), avc, none},
        {"with 192 bytes the next packet's extra ones are left out", timed(fileOf({atEnd})), avc, {0x12}},
        {"a rejected MPEG stream makes room for AVC", fileOf({avcVideo(0x12), unmarked}), {avc[0], mpeg[0]}, none},
        {"a sixth video stream is listed", sixVideos, six, {0x11, 0x12, 0x13, 0x14, 0x15}},
        {"a refused header ends the search", fileOf({unmarked, video}), mpeg, one},
        {"video: a packet without payload ends the search", fileOf({noPayload, video}), mpeg, one},
        {"an adaptation field over the packet's end is followed",
         fileOf({packet({.pid = 0x11, .control = 3, .adaptation = 255})}), mpeg, none},
        {"video: a packet that starts no unit is looked into",
         fileOf({packet({.pid = 0x11, .unitStart = false}, pes(0xE0, sequenceHeader()))}), mpeg, none},
        {"a block's last packet is looked at", join({nullPackets(172), video, nullPackets(20)}), mpeg, none},
        {"later blocks are not read", join({nullPackets(6920), video, nullPackets(3)}), mpeg, one},
        {"a last block of 190 bytes is looked at", join({nullPackets(kBlock), video, filled(2)}), mpeg, none},
        {"a last block of 191 bytes is not looked at", join({nullPackets(kBlock), video, filled(3)}), mpeg, one},
        {"LATM is listed", fileOf({packet({.pid = 0x11}, pes(0xC0, {0xFF, 0xF1, 0, 0, 0}))}), {{0x11, 0x11}}, none},
        {"a ninth audio stream is listed", nineAudios, nine, {0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18}},
        {"LPCM is not tried", fileOf({lpcmAudio(0x11)}), ac3, one},
        {"LPCM is tried for stream type 6", fileOf({lpcmAudio(0x11)}), {{6, 0x11}}, none},
        {"a type that is no audio is probed", fileOf({audio}), {{0x05, 0x11}}, none},
        {"audio: a packet without payload is passed over", fileOf({noPayload, audio}), ac3, none},
        {"the first candidate may start no unit", fileOf({late}), ac3, none},
        {"later candidates have to start a unit", fileOf({packet({.pid = 0x11}, pes(0xBD, {})), late}), ac3, one},
        {"the 24th block is not read", join({nullPackets(23 * kBlock), audio, nullPackets(20)}), ac3, one},
        {"a 25th block is read", join({nullPackets(24 * kBlock), audio, nullPackets(20)}), ac3, none},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.fault);
        Probe probe(test.content, test.streams);
        EXPECT_EQ(int{probe.probeVideoStreams()} + int{probe.probeAudioStreams()}, test.expected.empty() ? 0 : 1);
        EXPECT_EQ(probe.videoStreamCount + probe.audioStreamCount, test.expected.size());
        const Pids videoPids = listed(probe.videoStreams);
        EXPECT_EQ(videoPids.empty() ? listed(probe.audioStreams) : videoPids, test.expected);
        probe.abortScan = true;
        EXPECT_FALSE(probe.probeVideoStreams() || probe.probeAudioStreams());
    }
}

Data stamped(std::optional<std::int64_t> pts)
{
    return packet({.pid = 0x11}, pes(0xE0, {}, pts));
}

TEST(Duration, LastTimeStampOfTheFirstStream)
{
    constexpr std::int64_t kSecond = 90000;
    const Data first = mpegVideoPacket(0x11);
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
