// What the worker thread delivers.

#include "tests/windows/support/filter_fixture.h"

#include <thread>

namespace zarnow::test {

namespace {

/// Enough of a stream to be analysed: tables, one MPEG-2 sequence header would not be needed.
Data smallStream()
{
    const Data tables = join({patPacket({{1, 0x100}}), pmtPacket(0x100, 1, {{0x02, 0x200}})});
    return join({tables, repeat(packet({.pid = 0x200, .unitStart = false}, filled(184, 0x11)), 40)});
}

Data rawType(const std::vector<BYTE>& bytes)
{
    return {bytes.begin(), bytes.end()};
}

}  // namespace

TEST_F(FilterTest, DeliversThePacketsOfTheFileOneASample)
{
    ASSERT_HRESULT(S_OK, load(kMpeg2Sample));
    SinkFilter sink;
    ASSERT_HRESULT(S_OK, connect(sink));
    play(sink);
    const std::vector<BYTE> file = contentOf(kMpeg2Sample);
    EXPECT_EQ(file.size() / 188, sink.samples.size());
    EXPECT_EQ(file, sink.allBytes());
    EXPECT_EQ(1, sink.endsOfStream);
    EXPECT_FALSE(sink.timed);

    // A second start from the stopped state plays from the first packet again.
    sink.samples.clear();
    ResetEvent(sink.ended);
    position->put_CurrentPosition(2.0);
    play(sink);
    EXPECT_EQ(file, sink.allBytes());
    disconnect(sink);
}

struct PacketCase
{
    const char* fault;
    Data file;
    Data delivered;
};

TEST_F(FilterTest, PacketSizesAndResynchronisation)
{
    const Data stream = smallStream();
    const Data whole = firstBytes(stream, stream.size());
    const Data more = repeat(packet({.pid = 0x201, .unitStart = false}, filled(184, 0x22)), 3);
    const Data junk = filled(10, 0x01);
    const Data doubled{0x01, 0x47};
    const PacketCase cases[] = {
        {"the prefixes of 192-byte packets are delivered", timed(stream), whole},
        {"the last packet, cut off, is lost", firstBytes(stream, stream.size() - 100),
         firstBytes(stream, stream.size() - 100)},
        {"the sync byte behind junk is locked on to: it is passed by one byte and then never met",
         join({stream, junk, more}), whole},
        {"a second sync byte behind the one passed by is missed", join({stream, doubled, more}), join({stream, more})},
        {"garbage before the first packet is delivered", join({filled(333, 0x02), stream}), whole},
    };
    for (const PacketCase& c : cases) {
        SCOPED_TRACE(c.fault);
        const TemporaryFile file(c.file);
        ASSERT_HRESULT(S_OK, load(file.path().wstring()));
        SinkFilter sink;
        ASSERT_HRESULT(S_OK, connect(sink));
        play(sink);
        EXPECT_EQ(c.delivered, rawType(sink.allBytes()));
        EXPECT_EQ(1, sink.endsOfStream);
        disconnect(sink);
        load(kMpeg2Sample);  // lets the file go
    }
}

TEST_F(FilterTest, AnUnanalysedFileIsDeliveredAsItIs)
{
    Data noise(70'000);
    for (std::size_t i = 0; i < noise.size(); ++i)
        noise[i] = static_cast<std::uint8_t>(i * 7 + i / 251);
    const TemporaryFile file(noise);
    ASSERT_HRESULT(S_OK, load(file.path().wstring()));
    SinkFilter sink;
    AM_MEDIA_TYPE type = {};
    type.majortype = MEDIATYPE_Stream;
    type.subtype = MEDIASUBTYPE_MPEG2_TRANSPORT;
    type.formattype = FORMAT_None;
    ASSERT_HRESULT(S_OK, pin->Connect(&sink.input, &type));
    ASSERT_HRESULT(S_OK, sink.Run(0));
    ASSERT_HRESULT(S_OK, filter->Run(0));
    ASSERT_TRUE(sink.waitForEnd());
    EXPECT_EQ(noise, rawType(sink.allBytes()));
    EXPECT_EQ(3U, sink.samples.size());
    sink.Stop();
    filter->Stop();
    disconnect(sink);
    load(kMpeg2Sample);
}

TEST_F(FilterTest, StatesInEveryOrder)
{
    ASSERT_HRESULT(S_OK, load(kMpeg2Sample));
    SinkFilter sink;
    ASSERT_HRESULT(S_OK, connect(sink));
    sink.Pause();
    const auto expectState = [&](FILTER_STATE expected) {
        FILTER_STATE state = State_Stopped;
        EXPECT_HRESULT(S_OK, filter->GetState(0, &state));
        EXPECT_EQ(expected, state);
    };
    for (int round = 0; round < 20; ++round) {
        EXPECT_HRESULT(S_OK, filter->Pause());
        expectState(State_Paused);
        EXPECT_HRESULT(S_OK, filter->Pause());
        EXPECT_HRESULT(S_OK, filter->Run(0));
        expectState(State_Running);
        EXPECT_HRESULT(S_OK, filter->Pause());
        EXPECT_HRESULT(S_OK, filter->Stop());
        EXPECT_HRESULT(S_OK, filter->Stop());
        EXPECT_HRESULT(S_OK, filter->Run(0));
        EXPECT_HRESULT(S_OK, filter->Stop());
        expectState(State_Stopped);
    }
    sink.Stop();
    disconnect(sink);
}

TEST_F(FilterTest, GoesAwayWhileAScanIsOnAnotherThread)
{
    // Programs whose maps never come: the load reads the whole file once for each of them.
    std::vector<Program> programs;
    for (std::uint16_t i = 1; i <= 40; ++i)
        programs.push_back({i, static_cast<std::uint16_t>(0x100 + i)});
    const TemporaryFile file(join({patPacket(programs), repeat(nullPackets(1000), 300)}));
    const std::wstring path = file.path().wstring();
    IFileSourceFilter* borrowed = source.Get();
    std::thread loader([&] { borrowed->Load(path.c_str(), nullptr); });
    Sleep(100);
    position.Reset();
    tarnwell.Reset();
    pin.Reset();
    source.Reset();
    const ULONGLONG begin = GetTickCount64();
    EXPECT_EQ(0U, filter.Reset());
    EXPECT_GT(2000U, GetTickCount64() - begin);
    loader.join();
}

}  // namespace zarnow::test
