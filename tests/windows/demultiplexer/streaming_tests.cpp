#include "tests/windows/demultiplexer/demux_fixture.h"

namespace {

using namespace graphs;
using packets::operator+;
using packets::Multiplexer;
using packets::pattern;
using packets::Pes;

constexpr ULONG kVideo = 0x100;
constexpr ULONG kAudio = 0x101;
constexpr REFERENCE_TIME kSecond = 10'000'000;

class Streaming : public DemuxTest
{
protected:
    /// A video pin at the first sink, an audio pin at the second, everything running.
    void playBoth(MEDIA_SAMPLE_CONTENT content = MEDIA_ELEMENTARY_STREAM)
    {
        connectPin(L"V", kVideo, content, *first_.Get());
        connectPin(L"A", kAudio, content, *second_.Get());
        connectSource();
        run();
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
    HRESULT push(const std::vector<Bytes>& pieces) { return source_->pin.push(packets::joined(pieces)); }

    Multiplexer multiplexer_;
};

TEST_F(Streaming, DeliversElementaryStreamsWithTimesFromTheFirstStampOn)
{
    playBoth();
    EXPECT_HRESULT(S_OK, push({video(1), audio(1), video(2), audio(2), video(3)}));
    EXPECT_HRESULT(S_OK, source_->pin.DeliverEndOfStream());
    EXPECT_EQ("SSSE", first_->calls) << "the end brings the last packet and then itself";
    EXPECT_EQ("SSE", second_->calls);
    ASSERT_EQ(3U, first_->samples.size());
    ASSERT_EQ(2U, second_->samples.size());
    EXPECT_EQ(pattern(500, 2), first_->samples[1].bytes);
    EXPECT_EQ(pattern(300, 1) + pattern(300, 2), second_->allBytes());
    // The audio packet of 1.5 s is complete first, the video packet of 1 s is half a second earlier.
    EXPECT_EQ(0, second_->samples[0].start);
    EXPECT_EQ(-kSecond / 2, first_->samples[0].start);
    EXPECT_EQ(kSecond / 2, first_->samples[1].start);
    EXPECT_TRUE(first_->samples[0].syncPoint);
    EXPECT_FALSE(first_->samples[1].discontinuity);
}

TEST_F(Streaming, DeliversTransportPayloadsWithTheirHeaders)
{
    playBoth(MEDIA_TRANSPORT_PAYLOAD);
    EXPECT_HRESULT(S_OK, push({video(1), audio(1)}));
    EXPECT_HRESULT(S_OK, source_->pin.DeliverEndOfStream());
    const Pes pes{.openLength = true, .pts = 90'000, .payload = pattern(500, 1)};
    EXPECT_EQ(pes.bytes(), first_->allBytes());
    ASSERT_EQ(1U, second_->samples.size());
    EXPECT_EQ(std::nullopt, second_->samples[0].start);
}

TEST_F(Streaming, TakesTheStreamHoweverItIsCutIntoSamples)
{
    playBoth();
    const Bytes stream = packets::joined({video(1), audio(1), video(2), audio(2)});
    for (std::size_t at = 0; at < stream.size(); at += 77) {
        const auto from = stream.begin() + static_cast<std::ptrdiff_t>(at);
        EXPECT_HRESULT(
            S_OK,
            push({Bytes(from, from + static_cast<std::ptrdiff_t>(std::min<std::size_t>(77, stream.size() - at)))}));
    }
    EXPECT_HRESULT(S_OK, source_->pin.DeliverEndOfStream());
    EXPECT_EQ(pattern(500, 1) + pattern(500, 2), first_->allBytes());
    EXPECT_EQ(pattern(300, 1) + pattern(300, 2), second_->allBytes());
}

TEST_F(Streaming, SpreadsALongPacketOverSamplesOfWhichOneHasTheTime)
{
    playBoth();
    EXPECT_HRESULT(S_OK, push({video(1, 200'000)}));
    EXPECT_HRESULT(S_OK, source_->pin.DeliverEndOfStream());
    EXPECT_TRUE(pattern(200'000, 1) == first_->allBytes());
    ASSERT_EQ(3U, first_->samples.size()) << "200000 bytes in samples of 66 KiB";
    EXPECT_EQ(0, first_->samples[0].start);
    EXPECT_EQ(std::nullopt, first_->samples[1].start);
    EXPECT_FALSE(first_->samples[1].syncPoint);
}

TEST_F(Streaming, MarksTheFirstSampleAfterALoss)
{
    playBoth();
    Bytes damaged = packets::joined({audio(1), audio(2), audio(3)});
    damaged.erase(damaged.begin() + 2 * 188, damaged.begin() + 3 * 188);  // each packet is two transport packets long
    EXPECT_HRESULT(S_OK, push({damaged}));
    EXPECT_EQ(pattern(300, 1) + pattern(300, 3), second_->allBytes());
    ASSERT_EQ(2U, second_->samples.size());
    EXPECT_FALSE(second_->samples[0].discontinuity);
    EXPECT_TRUE(second_->samples[1].discontinuity);
}

TEST_F(Streaming, ForgetsAPartialPacketAtADiscontinuityOfTheInput)
{
    playBoth();
    const Bytes whole = audio(1);
    EXPECT_HRESULT(S_OK, push({Bytes(whole.begin(), whole.begin() + 200)}));
    EXPECT_HRESULT(S_OK, source_->pin.push(audio(2), true));
    EXPECT_EQ(pattern(300, 2), second_->allBytes());
}

TEST_F(Streaming, FlushesBothWaysAndStartsAnew)
{
    playBoth();
    EXPECT_HRESULT(S_OK, push({video(1)}));
    EXPECT_HRESULT(S_OK, source_->pin.DeliverBeginFlush());
    EXPECT_HRESULT(S_FALSE, push({video(2)})) << "nothing is taken while flushing";
    EXPECT_HRESULT(S_OK, source_->pin.DeliverEndFlush());
    EXPECT_HRESULT(S_OK, source_->pin.DeliverNewSegment(0, kSecond, 1.0));
    EXPECT_HRESULT(S_OK, push({video(5), video(6)}));
    EXPECT_EQ("BFNS", first_->calls);
    EXPECT_EQ("BFN", second_->calls);
    EXPECT_EQ(pattern(500, 5), first_->allBytes());
    EXPECT_EQ(0, first_->samples.at(0).start) << "times start again as well";
}

TEST_F(Streaming, StartsAnewAfterAStop)
{
    playBoth();
    EXPECT_HRESULT(S_OK, push({video(1)}));
    stop();
    run();
    EXPECT_HRESULT(S_OK, push({video(5), video(6)}));
    EXPECT_EQ(pattern(500, 5), first_->allBytes()) << "nothing of the first run";
}

TEST_F(Streaming, GoesOnForThePinsThatStillTakeSamples)
{
    playBoth();
    first_->answer = S_FALSE;
    EXPECT_HRESULT(S_OK, push({video(1), video(2), audio(1)}));
    first_->answer = S_OK;
    EXPECT_HRESULT(S_OK, push({video(3), audio(2)}));
    EXPECT_EQ("", first_->calls) << "who has refused gets nothing more";
    EXPECT_EQ("SS", second_->calls);
    second_->answer = S_FALSE;
    EXPECT_HRESULT(S_FALSE, push({audio(3)})) << "nobody takes samples any more";
    EXPECT_HRESULT(S_OK, source_->pin.DeliverEndOfStream());
    EXPECT_EQ("E", first_->calls);
    EXPECT_EQ("SSE", second_->calls);
}

TEST_F(Streaming, PassesAnErrorOnWhenNoPinIsLeft)
{
    playBoth();
    first_->answer = VFW_E_RUNTIME_ERROR;
    second_->answer = S_FALSE;
    EXPECT_HRESULT(VFW_E_RUNTIME_ERROR, push({video(1), video(2), audio(1)}));
}

TEST_F(Streaming, FollowsChangesOfTheMapsWhileItRuns)
{
    const ComPtr<IPin> pin = connectPin(L"V", kVideo, MEDIA_ELEMENTARY_STREAM, *first_.Get());
    connectSource();
    run();
    EXPECT_HRESULT(S_OK, push({audio(1)}));
    map(*pin.Get(), kAudio, MEDIA_ELEMENTARY_STREAM);
    EXPECT_HRESULT(S_OK, push({audio(2)}));
    ULONG pid = kAudio;
    EXPECT_HRESULT(S_OK, mapOf(*pin.Get())->UnmapPID(1, &pid));
    EXPECT_HRESULT(S_OK, push({audio(3)}));
    EXPECT_EQ(pattern(300, 2), first_->allBytes());
}

TEST_F(Streaming, FeedsOnePidToSeveralPins)
{
    connectPin(L"A", kAudio, MEDIA_ELEMENTARY_STREAM, *first_.Get());
    connectPin(L"B", kAudio, MEDIA_TRANSPORT_PAYLOAD, *second_.Get());
    connectSource();
    run();
    EXPECT_HRESULT(S_OK, push({audio(1)}));
    EXPECT_EQ(300U, first_->allBytes().size());
    EXPECT_EQ(314U, second_->allBytes().size());
}

TEST_F(Streaming, RunsWithoutAnyPin)
{
    createPin(L"V");  // connected to nothing
    connectSource();
    run();
    EXPECT_HRESULT(S_OK, push({video(1), video(2)}));
    EXPECT_HRESULT(S_OK, source_->pin.DeliverEndOfStream());
}

}  // namespace
