// The demultiplexer as a filter: pins and PID maps come and go, streams are delivered.

#include "tests/windows/demultiplexer/demux_fixture.h"

namespace zarnow::test {

namespace {

constexpr REFERENCE_TIME kSecond = 10'000'000;

class Demultiplexer : public DemuxTest
{
protected:
    HRESULT setType(const wchar_t* name, CMediaType type)
    {
        return demultiplexer->SetOutputPinMediaType(const_cast<LPWSTR>(name), &type);
    }
    /// A video pin at the first sink, an audio pin at the second, everything running.
    void playBoth()
    {
        connectPin(L"V", kVideo, MEDIA_ELEMENTARY_STREAM, first);
        connectPin(L"A", kAudio, MEDIA_ELEMENTARY_STREAM, second);
        play();
    }
    Data v(unsigned seed, unsigned size = 500) { return multiplexer.stream(kVideo, video(seed, size)); }
    Data a(unsigned seed) { return multiplexer.stream(kAudio, audio(seed)); }
    void end() { EXPECT_HRESULT(S_OK, source.pin.DeliverEndOfStream()); }

    Multiplexer multiplexer;
};

TEST_F(Demultiplexer, CreatesAndDeletesPinsByName)
{
    ComPtr<IEnumPins> pins;
    ComPtr<IPin> pin;
    ComPtr<IPin> other;
    ASSERT_HRESULT(S_OK, filter->EnumPins(pins.GetAddressOf()));
    ASSERT_HRESULT(S_OK, create(L"MPEG2_0", pin));
    EXPECT_HRESULT(VFW_E_ENUM_OUT_OF_SYNC, pins->Next(1, other.GetAddressOf(), nullptr));
    EXPECT_HRESULT(S_OK, filter->FindPin(L"MPEG2_0", other.GetAddressOf()));
    EXPECT_EQ(pin.Get(), other.Get());
    EXPECT_HRESULT(VFW_E_DUPLICATE_NAME, create(L"MPEG2_0", other));
    EXPECT_EQ(nullptr, other.Get());
    EXPECT_HRESULT(VFW_E_NOT_FOUND, setType(L"mpeg2_0", pinType()));
    EXPECT_HRESULT(VFW_E_NOT_FOUND, remove(L"mpeg2_0"));
    EXPECT_HRESULT(S_OK, remove(L"MPEG2_0"));
    EXPECT_HRESULT(VFW_E_NOT_CONNECTED, pin->ConnectedTo(other.GetAddressOf())) << "its holder keeps it alive";
    EXPECT_HRESULT(VFW_E_NOT_FOUND, pin->Connect(&first.input, nullptr)) << "but its filter no longer has it";
    EXPECT_HRESULT(S_OK, create(L"MPEG2_0", pin)) << "the name is free again";
    const ULONG held = references(filter.Get());
    pin.Reset();
    EXPECT_EQ(held - 1, references(filter.Get())) << "the holder of a pin holds the filter";
}

TEST_F(Demultiplexer, DisconnectsADeletedPinButNotWhileRunning)
{
    const ComPtr<IPin> pin = connectPin(L"A", kAudio, MEDIA_ELEMENTARY_STREAM, first);
    play();
    first.Stop();  // so that it would let go
    EXPECT_HRESULT(VFW_E_NOT_STOPPED, remove(L"A"));
    EXPECT_TRUE(first.input.IsConnected());
    stop();
    EXPECT_HRESULT(S_OK, remove(L"A"));
    EXPECT_FALSE(first.input.IsConnected());
}

TEST_F(Demultiplexer, ChangesATypeAlsoOnAConnectedPin)
{
    connectPin(L"A", kAudio, MEDIA_TRANSPORT_PAYLOAD, first);
    first.checkType = [](const CMediaType& type) { return type.lSampleSize == 5 ? VFW_E_TYPE_NOT_ACCEPTED : S_OK; };
    EXPECT_HRESULT(VFW_E_TYPE_NOT_ACCEPTED, setType(L"A", pinType(5)));
    EXPECT_HRESULT(S_OK, setType(L"A", pinType(6)));
    play();
    EXPECT_HRESULT(S_OK, source.push(join({a(1), a(2)})));
    ASSERT_EQ(2U, first.samples.size());
    EXPECT_EQ(6U, first.samples[0].newSampleSize) << "the first sample brings the new type";
    EXPECT_EQ(std::nullopt, first.samples[1].newSampleSize);
    const CMediaType foreign = mediaType(MEDIATYPE_Stream, MEDIASUBTYPE_MPEG2_PROGRAM);
    EXPECT_HRESULT(S_FALSE, input->QueryAccept(&foreign));
}

TEST_F(Demultiplexer, MapsPids)
{
    using Entries = std::vector<std::pair<ULONG, int>>;
    ComPtr<IPin> pin;
    ASSERT_HRESULT(S_OK, create(L"A", pin));
    const ComPtr<IMPEG2PIDMap> map = mapOf(pin.Get());
    const auto entries = [&] {
        Entries result;
        ComPtr<IEnumPIDMap> list;
        EXPECT_HRESULT(S_OK, map->EnumPIDMap(list.GetAddressOf()));
        PID_MAP entry{};
        for (ULONG count = 0; list->Next(1, &entry, &count) == S_OK;)
            result.emplace_back(entry.ulPID, entry.MediaSampleContent);
        return result;
    };
    ULONG pids[] = {0, 0x1FFF, 0x100};
    ULONG wrong[] = {5, 0x2000};
    EXPECT_HRESULT(S_OK, map->MapPID(3, pids, MEDIA_ELEMENTARY_STREAM));
    EXPECT_HRESULT(S_OK, map->MapPID(1, &pids[1], MEDIA_TRANSPORT_PAYLOAD)) << "mapped anew";
    const Entries mapped{
        {0, MEDIA_ELEMENTARY_STREAM}, {0x1FFF, MEDIA_TRANSPORT_PAYLOAD}, {0x100, MEDIA_ELEMENTARY_STREAM}};
    EXPECT_EQ(mapped, entries());
    EXPECT_HRESULT(E_INVALIDARG, map->MapPID(2, wrong, MEDIA_ELEMENTARY_STREAM));
    EXPECT_HRESULT(E_INVALIDARG, map->MapPID(1, wrong, MEDIA_MPEG2_PSI));
    EXPECT_HRESULT(E_INVALIDARG, map->UnmapPID(2, wrong));
    EXPECT_HRESULT(E_POINTER, map->MapPID(1, nullptr, MEDIA_ELEMENTARY_STREAM));
    EXPECT_EQ(mapped, entries()) << "a refused call changes nothing";
    EXPECT_HRESULT(S_OK, map->UnmapPID(2, pids));
    EXPECT_HRESULT(S_OK, map->UnmapPID(2, pids)) << "no longer mapped is no error";
    EXPECT_EQ((Entries{{0x100, MEDIA_ELEMENTARY_STREAM}}), entries());
}

TEST_F(Demultiplexer, DeliversElementaryStreamsWithTimesFromTheFirstStampOn)
{
    playBoth();
    Data others = multiplexer.stream(kAudio, withByte(audio(9), 3, 0xBE));  // padding, and no PES packet at all
    append(others, multiplexer.stream(kAudio, noise(50, 9)));
    const Data stream = join({v(1), others, a(1), v(2), a(2), v(3)});
    for (const Data& piece : cut(stream, 77))
        EXPECT_HRESULT(S_OK, source.push(piece));
    end();
    EXPECT_EQ("SSSE", first.calls) << "the end brings the last packet and then itself";
    EXPECT_EQ("SSE", second.calls);
    ASSERT_EQ(3U, first.samples.size());
    EXPECT_EQ(noise(500, 2), first.samples[1].bytes);
    EXPECT_EQ(join({noise(300, 1), noise(300, 2)}), second.allBytes()) << "without what is no stream";
    // The audio packet of 1.5 s is complete first, the video packet of 1 s is half a second earlier.
    EXPECT_EQ(0, second.samples[0].start);
    EXPECT_EQ(-kSecond / 2, first.samples[0].start);
    EXPECT_EQ(kSecond / 2, first.samples[1].start);
    EXPECT_FALSE(first.samples[1].discontinuity);
}

TEST_F(Demultiplexer, MarksTheFirstSampleOfAPacketAndTheFirstAfterALoss)
{
    playBoth();
    EXPECT_HRESULT(S_OK, source.push(v(1, 200'000)));
    Data sound = join({a(1), a(2), a(3)});  // of two transport packets each
    sound.erase(sound.begin() + 2 * kPacket, sound.begin() + 3 * kPacket);
    EXPECT_HRESULT(S_OK, source.push(sound));
    EXPECT_EQ(join({noise(300, 1), noise(300, 3)}), second.allBytes());
    ASSERT_EQ(2U, second.samples.size());
    EXPECT_FALSE(second.samples[0].discontinuity);
    EXPECT_TRUE(second.samples[1].discontinuity);
    end();
    EXPECT_TRUE(noise(200'000, 1) == first.allBytes());
    ASSERT_EQ(3U, first.samples.size()) << "200000 bytes in samples of 66 KiB";
    EXPECT_TRUE(first.samples[0].start && first.samples[0].syncPoint);
    EXPECT_FALSE(first.samples[1].start || first.samples[1].syncPoint);
}

TEST_F(Demultiplexer, StartsAnew)
{
    const struct
    {
        const char* when;
        bool discontinuity;
        const char* calls;
        std::function<void()> interrupt;
    } cases[] = {
        {"at a discontinuity of the input", true, "S", [] {}},
        {"after a stop", false, "S",
         [&] {
             stop();
             run();
         }},
        {"after a flush", false, "BFNS",
         [&] {
             EXPECT_HRESULT(S_OK, source.pin.DeliverBeginFlush());
             EXPECT_HRESULT(S_FALSE, source.push(v(2))) << "nothing is taken while flushing";
             EXPECT_HRESULT(S_OK, source.pin.DeliverEndFlush());
             EXPECT_HRESULT(S_OK, source.pin.DeliverNewSegment(0, kSecond, 1.0));
         }},
    };
    playBoth();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.when);
        EXPECT_HRESULT(S_OK, source.push(join({v(1), firstBytes(a(9), 200)})));
        first.samples.clear();
        first.calls.clear();
        c.interrupt();
        EXPECT_HRESULT(S_OK, source.push(join({v(5), v(6)}), c.discontinuity));
        EXPECT_EQ(c.calls, first.calls);
        EXPECT_EQ(noise(500, 5), first.allBytes()) << "nothing from before";
        EXPECT_TRUE(second.samples.empty());
        EXPECT_EQ(0, first.samples.at(0).start) << "times start again as well";
    }
}

TEST_F(Demultiplexer, GoesOnForThePinsThatStillTakeSamples)
{
    playBoth();
    first.receiveResult = S_FALSE;
    first.refuseAfter = 0;
    EXPECT_HRESULT(S_OK, source.push(join({v(1), v(2), a(1)})));
    first.receiveResult = S_OK;
    EXPECT_HRESULT(S_OK, source.push(join({v(3), a(2)})));
    EXPECT_EQ("", first.calls) << "who has refused gets nothing more";
    EXPECT_EQ("SS", second.calls);
    second.receiveResult = S_FALSE;
    second.refuseAfter = 0;
    EXPECT_HRESULT(S_FALSE, source.push(a(3))) << "nobody takes samples any more";
    end();
    EXPECT_EQ("E", first.calls);
    EXPECT_EQ("SSE", second.calls);
    stop();
    run();
    first.receiveResult = VFW_E_RUNTIME_ERROR;
    EXPECT_HRESULT(VFW_E_RUNTIME_ERROR, source.push(join({v(1), v(2), a(1)}))) << "an error is passed on";
}

TEST_F(Demultiplexer, FollowsChangesOfTheMapsAndKeepsWhatOtherRoutesHaveCollected)
{
    const ComPtr<IPin> pin = connectPin(L"V", kVideo, MEDIA_ELEMENTARY_STREAM, first);
    connectPin(L"W", kVideo, MEDIA_TRANSPORT_PAYLOAD, second);
    play();
    EXPECT_HRESULT(S_OK, source.push(join({v(1), a(1)})));
    map(pin.Get(), kAudio);
    EXPECT_HRESULT(S_OK, source.push(join({v(2), a(2)})));
    ULONG pid = kAudio;
    EXPECT_HRESULT(S_OK, mapOf(pin.Get())->UnmapPID(1, &pid));
    EXPECT_HRESULT(S_OK, source.push(a(3)));
    end();
    EXPECT_EQ(join({noise(500, 1), noise(300, 2), noise(500, 2)}), first.allBytes());
    EXPECT_EQ(join({video(1), video(2)}), second.allBytes());
    EXPECT_EQ(std::nullopt, second.samples.at(0).start);
}

}  // namespace

}  // namespace zarnow::test
