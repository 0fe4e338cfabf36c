// What the worker thread delivers, and where it goes on.

#include <map>

#include "tests/windows/support/filter_fixture.h"

namespace zarnow::test {

TEST_F(FilterTest, DeliversThePacketsOfTheFileOneASampleAtEveryStart)
{
    ASSERT_HRESULT(S_OK, load(kMpeg2Sample));
    SinkFilter sink;
    sink.onReceive = [&](IMediaSample*) {
        if (sink.count % 20 != 0)
            return S_OK;
        EXPECT_HRESULT(S_OK, filter->Pause());  // from where it is, it goes on
        return filter->Run(0);
    };
    ASSERT_HRESULT(S_OK, connect(sink));
    const Data file = contentOf(kMpeg2Sample);
    for (int start = 1; start <= 2; ++start) {
        position->put_CurrentPosition(1.5);
        position->put_StopTime(10.0);
        position->put_Rate(2.0);
        sink.samples.clear();
        sink.segments.clear();
        ResetEvent(sink.ended);
        play(sink);
        EXPECT_EQ(file.size() / 188, sink.samples.size());
        EXPECT_EQ(file, sink.allBytes());
        EXPECT_EQ(start, sink.endsOfStream);
        EXPECT_TRUE(std::ranges::none_of(sink.samples, [](const Received& sample) {
            return sample.start || sample.syncPoint || sample.discontinuity;
        }));
        ASSERT_EQ(1U, sink.segments.size());
        EXPECT_EQ(15'000'000, sink.segments[0].start);
        EXPECT_EQ(29'200'000, sink.segments[0].stop) << "not the duration";
        EXPECT_EQ(2.0, sink.segments[0].rate);
    }
    disconnect(sink);
}

TEST_F(FilterTest, PacketSizesAndResynchronisation)
{
    const Data stream = smallStream();
    const Data more = repeat(packet({.pid = 0x201, .unitStart = false}, filled(184, 0x22)), 3);
    const Data cut = firstBytes(stream, stream.size() - 100);
    const Data noise = repeat({0x47, 0x12, 0x99, 0x33, 0x00, 0x55, 0x10}, 10'000);
    const struct
    {
        const char* fault;
        Data file;
        Data delivered;
        std::size_t samples;
    } cases[] = {
        {"the last packet, cut off, is lost", cut, cut, 42},
        {"the sync byte behind junk is locked on to: it is passed by one byte and then never met",
         join({stream, filled(10, 0x01), more}), stream, 42},
        {"a second sync byte behind the one passed by is missed", join({stream, {0x01, 0x47}, more}),
         join({stream, more}), 45},
        {"a file that is not analysed is searched for packets, or delivered in other steps than the buffer's", noise,
         noise, 3},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fault);
        const TemporaryFile file(c.file);
        ASSERT_HRESULT(S_OK, load(file.path().wstring()));
        SinkFilter sink;
        ASSERT_HRESULT(S_OK, connectUnanalysed(sink));
        play(sink);
        EXPECT_EQ(c.delivered, sink.allBytes());
        EXPECT_EQ(c.samples, sink.count);
        EXPECT_EQ(1, sink.endsOfStream);
        disconnect(sink);
        load(kMpeg2Sample);  // lets the file go
    }
}

TEST_F(FilterTest, OnlyAPositionAtTheVeryStartRewinds)
{
    ASSERT_HRESULT(S_OK, load(kMpeg2Sample));
    // Put behind so many packets.
    const std::map<std::size_t, double> positions = {{1, 2.2e3}, {2, 0.05}, {3, 1.0e9}, {4, 0.02}, {6, -1.0}};
    SinkFilter sink;
    sink.onReceive = [&](IMediaSample*) {
        const auto next = positions.find(sink.count);
        return next != positions.end() ? position->put_CurrentPosition(next->second) : S_OK;
    };
    ASSERT_HRESULT(S_OK, connect(sink));
    play(sink);
    const Data file = contentOf(kMpeg2Sample);
    EXPECT_EQ(join({firstBytes(file, 4 * kPacket), firstBytes(file, 2 * kPacket), file}), sink.allBytes());
    disconnect(sink);
}

}  // namespace zarnow::test
