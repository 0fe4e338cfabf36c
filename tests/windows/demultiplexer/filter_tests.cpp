// The demultiplexer as a filter: pins and PID maps come and go, streams are delivered.

#include "tests/windows/demultiplexer/demux_fixture.h"
#include "tests/windows/support/demultiplexer_pins.h"

namespace zarnow::test {

namespace {

using Packets = std::vector<Data>;

constexpr REFERENCE_TIME kSecond = 10'000'000;

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
    push({a(1), a(2)});
    ASSERT_EQ(2U, first.samples.size());
    EXPECT_EQ(6U, first.samples[0].newSampleSize) << "the first sample brings the new type";
    EXPECT_EQ(std::nullopt, first.samples[1].newSampleSize);
    const CMediaType foreign = mediaType(MEDIATYPE_Stream, MEDIASUBTYPE_MPEG2_PROGRAM);
    EXPECT_HRESULT(S_FALSE, input->QueryAccept(&foreign));
}

TEST_F(Demultiplexer, MapsPids)
{
    ComPtr<IPin> pin;
    ASSERT_HRESULT(S_OK, create(L"A", pin));
    const ComPtr<IMPEG2PIDMap> map = mapOf(pin.Get());
    ULONG pids[] = {0, 0x1FFF, 0x100};
    ULONG wrong[] = {5, 0x2000};
    EXPECT_HRESULT(S_OK, map->MapPID(3, pids, MEDIA_ELEMENTARY_STREAM));
    EXPECT_HRESULT(S_OK, map->MapPID(1, &pids[1], MEDIA_TRANSPORT_PAYLOAD)) << "mapped anew";
    EXPECT_HRESULT(E_INVALIDARG, map->MapPID(2, wrong, MEDIA_ELEMENTARY_STREAM));
    EXPECT_HRESULT(E_INVALIDARG, map->MapPID(1, wrong, MEDIA_MPEG2_PSI));
    EXPECT_HRESULT(E_INVALIDARG, map->UnmapPID(2, wrong));
    EXPECT_HRESULT(E_POINTER, map->MapPID(1, nullptr, MEDIA_ELEMENTARY_STREAM));
    EXPECT_EQ(std::set<std::string>{"A video 0 elementary 8191 payload 256 elementary"},
              demultiplexerPins(*filter.Get()))
        << "a refused call changes nothing";
    EXPECT_HRESULT(S_OK, map->UnmapPID(2, pids));
    EXPECT_HRESULT(S_OK, map->UnmapPID(2, pids)) << "no longer mapped is no error";
    EXPECT_EQ(std::set<std::string>{"A video 256 elementary"}, demultiplexerPins(*filter.Get()));
}

TEST_F(Demultiplexer, DropsTheUnitThatAFaultFellIntoAndNoOther)
{
    const std::vector<Data> units{video(1), video(2, 450), video(3, 250)};
    static constexpr Header kNoPayload{.pid = kVideo, .unitStart = false, .control = 2, .adaptation = 183};
    const struct
    {
        const char* fault;
        std::vector<std::size_t> arriving;
        bool lossSeen;
        void (*apply)(Packets&);  // to packets 0 to 2, 3 to 5, 6 and 7
    } cases[] = {
        {"nothing wrong", {0, 1, 2}, false, [](Packets&) {}},
        {"a packet is lost", {0, 2}, true, [](Packets& p) { p.erase(p.begin() + 4); }},
        {"the first one of a unit is lost", {2}, true, [](Packets& p) { p.erase(p.begin() + 3); }},
        {"a packet is sent twice", {0, 1, 2}, false, [](Packets& p) { p.insert(p.begin() + 4, p[4]); }},
        {"the first one of a unit is sent twice", {0, 1, 2}, false, [](Packets& p) { p.insert(p.begin() + 3, p[3]); }},
        {"sent three times", {0, 2}, true, [](Packets& p) { p.insert(p.begin() + 4, 2, p[4]); }},
        {"marked as in error", {0, 2}, true, [](Packets& p) { p[4] = withByte(p[4], 1, 0x81); }},
        {"scrambled", {0, 2}, true, [](Packets& p) { p[4] = withByte(p[4], 3, 0x94); }},
        {"all adaptation field", {0, 2}, true, [](Packets& p) { p[4] = withByte(withByte(p[4], 3, 0x34), 4, 0xFF); }},
        {"the jump of the counter is signalled",
         {0, 1, 2},
         false,
         [](Packets& p) { p[7] = withByte(withByte(p[7], 3, 0x30), 5, 0x80); }},
        {"packets without payload repeat the counter",
         {0, 1, 2},
         false,
         [](Packets& p) { p.insert(p.begin() + 5, 2, withByte(packet(kNoPayload), 3, 0x24)); }},
        {"other PIDs and garbage come in between",
         {0, 1, 2},
         false,
         [](Packets& p) {
             p.insert(p.begin() + 4, {nullPackets(1), packet({.pid = kAudio}), filled(188)});
         }},
        {"garbage with a sync byte comes first",
         {0, 1, 2},
         false,
         [](Packets& p) {
             p.insert(p.begin(), join({filled(20), {0x47}, filled(30)}));
         }},
        {"a sync byte is lost", {0, 2}, true, [](Packets& p) { p[4] = withByte(p[4], 0, 0xB8); }},
        {"bytes are lost, and with them the next packet's start", {0, 2}, true, [](Packets& p) { p[3].resize(183); }},
        {"the stream ends within a packet", {0, 1, 2}, false, [](Packets& p) { p.push_back(firstBytes(p[0], 100)); }},
        {"garbage ahead of the last packet", {0, 1, 2}, false, [](Packets& p) { p.insert(p.begin() + 7, filled(9)); }},
        {"nothing but sync bytes", {}, false, [](Packets& p) { p = {filled(1000, 0x47)}; }},
        {"it starts in the middle of a unit", {1, 2}, false, [](Packets& p) { p.erase(p.begin()); }},
    };
    connectPin(L"V", kVideo, MEDIA_TRANSPORT_PAYLOAD, first);
    play();
    for (const auto& c : cases) {
        counters.clear();
        Data whole;
        for (const Data& unit : units)
            append(whole, packets(kVideo, unit));
        Packets stream = cut(whole, kPacket);
        c.apply(stream);
        Data damaged;
        for (const Data& each : stream)
            append(damaged, each);
        Data arriving;
        for (const std::size_t index : c.arriving)
            append(arriving, units[index]);
        for (const std::size_t chunk : {1U, 7U, 100U, 187U, 188U, 189U, 400U, 5000U}) {
            SCOPED_TRACE(testing::Message() << c.fault << ", in chunks of " << chunk);
            for (const Data& piece : cut(damaged, chunk))
                push({piece});
            end();
            EXPECT_EQ(arriving, first.allBytes());
            EXPECT_EQ(c.arriving.size(), first.samples.size());
            EXPECT_EQ(c.lossSeen, std::ranges::any_of(first.samples, &Received::discontinuity));
            first.samples.clear();
        }
    }
}

TEST_F(Demultiplexer, KeepsToTheLengthsOfUnits)
{
    connectPin(L"V", kVideo, MEDIA_TRANSPORT_PAYLOAD, first);
    play();
    push({packets(kVideo, join({audio(1), noise(40, 5)}))});
    EXPECT_EQ(audio(1), first.allBytes()) << "bytes behind a packet with a length belong to nothing";
    first.samples.clear();
    const Data endless = video(1, 9'000'000);
    for (const Data& piece : cut(packets(kVideo, endless), 1'000'000))
        push({piece});
    EXPECT_LT(8'000'000U, first.allBytes().size()) << "in parts of about 4 MiB";
    end();
    EXPECT_TRUE(endless == first.allBytes());
}

TEST_F(Demultiplexer, DeliversElementaryStreamsWithTimesFromTheFirstStampOn)
{
    playBoth();
    Data others = packets(kAudio, withByte(audio(9), 3, 0xBE));  // padding, and no PES packet at all
    append(others, packets(kAudio, noise(50, 9)));
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
    push({v(1, 200'000)});
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
    const auto expectAnew = [&](const std::function<void()>& interrupt, bool discontinuity, const char* calls) {
        push({v(1), firstBytes(a(9), 200)});
        first.samples.clear();
        first.calls.clear();
        interrupt();
        EXPECT_HRESULT(S_OK, source.push(join({v(5), v(6)}), discontinuity));
        EXPECT_EQ(calls, first.calls);
        EXPECT_EQ(noise(500, 5), first.allBytes()) << "nothing from before";
        EXPECT_TRUE(second.samples.empty());
        EXPECT_EQ(0, first.samples.at(0).start) << "times start again as well";
    };
    const auto restart = [&] {
        stop();
        run();
    };
    const auto flush = [&] {
        EXPECT_HRESULT(S_OK, source.DeliverBeginFlush());
        EXPECT_HRESULT(S_FALSE, source.push(v(2))) << "nothing is taken while flushing";
        EXPECT_HRESULT(S_OK, source.DeliverEndFlush());
        EXPECT_HRESULT(S_OK, source.DeliverNewSegment(0, kSecond, 1.0));
    };
    playBoth();
    expectAnew([] {}, true, "S");
    expectAnew(restart, false, "S");
    expectAnew(flush, false, "BFNS");
}

TEST_F(Demultiplexer, GoesOnForThePinsThatStillTakeSamples)
{
    playBoth();
    first.receiveResult = S_FALSE;
    first.refuseAfter = 0;
    push({v(1), v(2), a(1)});
    first.receiveResult = S_OK;
    push({v(3), a(2)});
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
    push({v(1), a(1)});
    ULONG pid = kAudio;
    EXPECT_HRESULT(S_OK, mapOf(pin.Get())->MapPID(1, &pid, MEDIA_ELEMENTARY_STREAM));
    push({v(2), a(2)});
    EXPECT_HRESULT(S_OK, mapOf(pin.Get())->UnmapPID(1, &pid));
    push({a(3)});
    end();
    EXPECT_EQ(join({noise(500, 1), noise(300, 2), noise(500, 2)}), first.allBytes());
    EXPECT_EQ(join({video(1), video(2)}), second.allBytes());
    EXPECT_EQ(std::nullopt, second.samples.at(0).start);
}

}  // namespace

}  // namespace zarnow::test
