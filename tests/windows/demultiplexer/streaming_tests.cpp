#include "tests/windows/demultiplexer/demux_fixture.h"

namespace zarnow::test {

namespace {

using packets::Bytes;
using packets::joined;
using packets::pattern;
using packets::Pes;

constexpr ULONG kVideo = 0x100;
constexpr ULONG kAudio = 0x101;
constexpr REFERENCE_TIME kSecond = 10'000'000;

class Demultiplexing : public DemuxTest
{
protected:
    /// A video pin at the first sink, an audio pin at the second, everything running.
    void playBoth()
    {
        connectPin(L"V", kVideo, MEDIA_ELEMENTARY_STREAM, first);
        connectPin(L"A", kAudio, MEDIA_ELEMENTARY_STREAM, second);
        play();
    }

    /// An open video packet: it is delivered when the next one starts.
    Bytes video(unsigned seed, std::size_t size = 500)
    {
        const Pes pes{.openLength = true, .pts = 90'000 * seed, .payload = pattern(size, seed)};
        return multiplexer_.stream(kVideo, pes.bytes());
    }

    Bytes audio(unsigned seed)
    {
        const Pes pes{.streamId = 0xC0, .pts = 90'000 * seed + 45'000, .payload = pattern(300, seed)};
        return multiplexer_.stream(kAudio, pes.bytes());
    }

    /// In this order, as the counters of the multiplexer go.
    HRESULT push(const std::vector<Bytes>& pieces) { return source.push(joined(pieces)); }
    void end() { EXPECT_HRESULT(S_OK, source.pin.DeliverEndOfStream()); }

    packets::Multiplexer multiplexer_;
};

TEST_F(Demultiplexing, DeliversElementaryStreamsWithTimesFromTheFirstStampOn)
{
    playBoth();
    for (const Bytes& piece : packets::cut(joined({video(1), audio(1), video(2), audio(2), video(3)}), 77))
        EXPECT_HRESULT(S_OK, push({piece}));
    end();
    EXPECT_EQ("SSSE", first.calls) << "the end brings the last packet and then itself";
    EXPECT_EQ("SSE", second.calls);
    ASSERT_EQ(3U, first.samples.size());
    ASSERT_EQ(2U, second.samples.size());
    EXPECT_EQ(pattern(500, 2), first.samples[1].bytes);
    EXPECT_EQ(join({pattern(300, 1), pattern(300, 2)}), second.allBytes());
    // The audio packet of 1.5 s is complete first, the video packet of 1 s is half a second earlier.
    EXPECT_EQ(0, second.samples[0].start);
    EXPECT_EQ(-kSecond / 2, first.samples[0].start);
    EXPECT_EQ(kSecond / 2, first.samples[1].start);
    EXPECT_TRUE(first.samples[0].syncPoint);
    EXPECT_FALSE(first.samples[1].discontinuity);
}

TEST_F(Demultiplexing, MarksTheFirstSampleOfAPacketAndTheFirstAfterALoss)
{
    playBoth();
    EXPECT_HRESULT(S_OK, push({video(1, 200'000)}));
    const Bytes whole = joined({audio(1), audio(2), audio(3)});  // of two transport packets each
    EXPECT_HRESULT(S_OK, push({packets::part(whole, 0, 2 * 188), packets::part(whole, 3 * 188)}));
    EXPECT_EQ(join({pattern(300, 1), pattern(300, 3)}), second.allBytes());
    ASSERT_EQ(2U, second.samples.size());
    EXPECT_FALSE(second.samples[0].discontinuity);
    EXPECT_TRUE(second.samples[1].discontinuity);
    end();
    EXPECT_TRUE(pattern(200'000, 1) == first.allBytes());
    ASSERT_EQ(3U, first.samples.size()) << "200000 bytes in samples of 66 KiB";
    EXPECT_TRUE(first.samples[0].start && first.samples[0].syncPoint);
    EXPECT_FALSE(first.samples[1].start || first.samples[1].syncPoint);
}

TEST_F(Demultiplexing, StartsAnew)
{
    struct Case
    {
        const char* when;
        std::function<void()> interrupt;
        bool discontinuity;
        const char* calls;
    };
    const Case cases[] = {
        {"at a discontinuity of the input", [] {}, true, "S"},
        {"after a stop",
         [&] {
             stop();
             run();
         },
         false, "S"},
        {"after a flush",
         [&] {
             EXPECT_HRESULT(S_OK, source.pin.DeliverBeginFlush());
             EXPECT_HRESULT(S_FALSE, push({video(2)})) << "nothing is taken while flushing";
             EXPECT_HRESULT(S_OK, source.pin.DeliverEndFlush());
             EXPECT_HRESULT(S_OK, source.pin.DeliverNewSegment(0, kSecond, 1.0));
         },
         false, "BFNS"},
    };
    playBoth();
    for (const Case& c : cases) {
        SCOPED_TRACE(c.when);
        EXPECT_HRESULT(S_OK, push({video(1), packets::part(audio(9), 0, 200)}));
        first.samples.clear();
        first.calls.clear();
        c.interrupt();
        EXPECT_HRESULT(S_OK, source.push(joined({video(5), video(6)}), c.discontinuity));
        EXPECT_EQ(c.calls, first.calls);
        EXPECT_EQ(pattern(500, 5), first.allBytes()) << "nothing from before";
        EXPECT_TRUE(second.samples.empty());
        EXPECT_EQ(0, first.samples.at(0).start) << "times start again as well";
    }
}

TEST_F(Demultiplexing, GoesOnForThePinsThatStillTakeSamples)
{
    playBoth();
    first.receiveResult = S_FALSE;
    first.refuseAfter = 0;
    EXPECT_HRESULT(S_OK, push({video(1), video(2), audio(1)}));
    first.receiveResult = S_OK;
    EXPECT_HRESULT(S_OK, push({video(3), audio(2)}));
    EXPECT_EQ("", first.calls) << "who has refused gets nothing more";
    EXPECT_EQ("SS", second.calls);
    second.receiveResult = S_FALSE;
    second.refuseAfter = 0;
    EXPECT_HRESULT(S_FALSE, push({audio(3)})) << "nobody takes samples any more";
    end();
    EXPECT_EQ("E", first.calls);
    EXPECT_EQ("SSE", second.calls);
    stop();
    run();
    first.receiveResult = VFW_E_RUNTIME_ERROR;
    EXPECT_HRESULT(VFW_E_RUNTIME_ERROR, push({video(1), video(2), audio(1)})) << "an error is passed on";
}

TEST_F(Demultiplexing, FollowsChangesOfTheMapsAndKeepsWhatOtherRoutesHaveCollected)
{
    const ComPtr<IPin> pin = connectPin(L"V", kVideo, MEDIA_ELEMENTARY_STREAM, first);
    connectPin(L"W", kVideo, MEDIA_TRANSPORT_PAYLOAD, second);
    createPin(L"C");  // connected to nothing
    play();
    EXPECT_HRESULT(S_OK, push({video(1), audio(1)}));
    map(*pin.Get(), kAudio);
    EXPECT_HRESULT(S_OK, push({video(2), audio(2)}));
    ULONG pid = kAudio;
    EXPECT_HRESULT(S_OK, mapOf(*pin.Get())->UnmapPID(1, &pid));
    EXPECT_HRESULT(S_OK, push({audio(3)}));
    end();
    EXPECT_EQ(join({pattern(500, 1), pattern(300, 2), pattern(500, 2)}), first.allBytes());
    const auto pes = [](unsigned seed) {
        return Pes{.openLength = true, .pts = 90'000 * seed, .payload = pattern(500, seed)}.bytes();
    };
    EXPECT_EQ(join({pes(1), pes(2)}), second.allBytes());
    EXPECT_EQ(std::nullopt, second.samples.at(0).start);
}

}  // namespace

}  // namespace zarnow::test
