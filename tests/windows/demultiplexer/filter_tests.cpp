// The demultiplexer as a filter: pins and PID maps come and go, streams are delivered.

#include "tests/windows/demultiplexer/demux_fixture.h"
#include "tests/windows/support/demultiplexer_pins.h"
#include "tools/demultiplexer/pes_header.h"

namespace zarnow::test {

namespace {

constexpr REFERENCE_TIME kSecond = 10'000'000;

TEST_F(Demultiplexer, CreatesAndDeletesPinsByName)
{
    ComPtr<IEnumPins> pins;
    ComPtr<IPin> pin;
    ComPtr<IPin> other;
    ASSERT_HRESULT(S_OK, filter->EnumPins(pins.GetAddressOf()));
    ASSERT_HRESULT(S_OK, create(L"MPEG2_0", pin));
    EXPECT_HRESULT(VFW_E_ENUM_OUT_OF_SYNC, pins->Next(1, other.GetAddressOf(), nullptr));
    EXPECT_HRESULT(VFW_E_DUPLICATE_NAME, create(L"MPEG2_0", other));
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

TEST_F(Demultiplexer, ChangesConnectedPins)
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
    first.Stop();  // so that it would let go
    EXPECT_HRESULT(VFW_E_NOT_STOPPED, remove(L"A"));
    EXPECT_TRUE(first.input.IsConnected());
    stop();
    EXPECT_HRESULT(S_OK, remove(L"A"));
    EXPECT_FALSE(first.input.IsConnected());
}

TEST_F(Demultiplexer, MapsPids)
{
    ComPtr<IPin> pin;
    ASSERT_HRESULT(S_OK, create(L"A", pin));
    const auto map = query<IMPEG2PIDMap>(pin.Get());
    ULONG pids[] = {0, 0x1FFF, 0x100};
    ULONG wrong[] = {5, 0x2000};
    EXPECT_HRESULT(S_OK, map->MapPID(3, pids, MEDIA_ELEMENTARY_STREAM));
    EXPECT_HRESULT(S_OK, map->MapPID(1, &pids[1], MEDIA_TRANSPORT_PAYLOAD)) << "mapped anew";
    EXPECT_HRESULT(E_INVALIDARG, map->MapPID(2, wrong, MEDIA_ELEMENTARY_STREAM));
    EXPECT_HRESULT(E_INVALIDARG, map->MapPID(1, wrong, MEDIA_MPEG2_PSI));
    EXPECT_HRESULT(E_INVALIDARG, map->UnmapPID(2, wrong));
    EXPECT_EQ(std::set<std::string>{"A video 0 elementary 8191 payload 256 elementary"},
              demultiplexerPins(*filter.Get()))
        << "a refused call changes nothing";
    EXPECT_HRESULT(S_OK, map->UnmapPID(2, pids));
    EXPECT_EQ(std::set<std::string>{"A video 256 elementary"}, demultiplexerPins(*filter.Get()));
}

TEST_F(Demultiplexer, DropsTheUnitThatAFaultFellIntoAndNoOther)
{
    const Data units[] = {video(1), video(2, 450), video(3, 250)};
    Data whole;
    for (const Data& unit : units)
        append(whole, packets(kVideo, unit));
    const std::vector<Data> p = cut(whole, kPacket);  // 0 to 2, 3 to 5, 6 and 7
    const auto ahead = [&](std::size_t at, const Data& bytes) {
        return join({firstBytes(whole, at * kPacket), bytes, bytesFrom(whole, at * kPacket)});
    };
    const auto instead = [&](std::size_t at, const Data& bytes) {
        return join({firstBytes(whole, at * kPacket), bytes, bytesFrom(whole, (at + 1) * kPacket)});
    };
    const Data noPayload = packet({.pid = kVideo, .unitStart = false, .control = 2, .adaptation = 183});
    const struct
    {
        const char* fault;
        Data stream;
        const char* arriving;  // units; an ! is a discontinuity
    } cases[] = {
        {"nothing wrong", whole, "012"},
        {"a packet is lost", instead(4, {}), "0!2"},
        {"the first one of a unit is lost", instead(3, {}), "!2"},
        {"a packet is sent twice", ahead(4, p[4]), "012"},
        {"the first one of a unit is sent twice", ahead(3, p[3]), "012"},
        {"sent three times", ahead(4, repeat(p[4], 2)), "0!2"},
        {"marked as in error", instead(4, withByte(p[4], 1, 0x81)), "0!2"},
        {"scrambled", instead(4, withByte(p[4], 3, 0x94)), "0!2"},
        {"all adaptation field", instead(4, withByte(withByte(p[4], 3, 0x34), 4, 0xFF)), "0!2"},
        {"the jump of the counter is signalled", instead(7, withByte(withByte(p[7], 3, 0x30), 5, 0x80)), "012"},
        {"packets without payload repeat the counter", ahead(5, repeat(withByte(noPayload, 3, 0x24), 2)), "012"},
        {"other PIDs and garbage come in between",
         ahead(4, join({nullPackets(1), packet({.pid = kAudio}), filled(188)})), "012"},
        {"garbage with a sync byte comes first", ahead(0, join({filled(20), {0x47}, filled(30)})), "012"},
        {"a sync byte is lost", instead(4, withByte(p[4], 0, 0xB8)), "0!2"},
        {"bytes are lost, and with them the next packet's start", instead(3, firstBytes(p[3], 183)), "0!2"},
        {"the stream ends within a packet", ahead(8, firstBytes(p[0], 100)), "012"},
        {"garbage ahead of the last packet", ahead(7, filled(9)), "012"},
        {"nothing but sync bytes", filled(1000, 0x47), ""},
        {"it starts in the middle of a unit", instead(0, {}), "12"},
    };
    connectPin(L"V", kVideo, MEDIA_TRANSPORT_PAYLOAD, first);
    play();
    for (const auto& c : cases) {
        for (const std::size_t chunk : {1U, 7U, 100U, 187U, 188U, 189U, 400U, 5000U}) {
            SCOPED_TRACE(testing::Message() << c.fault << ", in chunks of " << chunk);
            for (const Data& piece : cut(c.stream, chunk))
                push({piece});
            end();
            std::string arrived;
            for (const Received& sample : std::exchange(first.samples, {})) {
                const auto unit = std::ranges::find(units, sample.bytes) - std::begin(units);
                arrived += (sample.discontinuity ? "!" : "") + std::to_string(unit);
            }
            EXPECT_EQ(c.arriving, arrived);
        }
    }
}

TEST_F(Demultiplexer, KeepsToTheLengthsOfUnits)
{
    playBoth();
    push({packets(kAudio, join({audio(1), noise(40, 5)}))});
    EXPECT_EQ(noise(300, 1), second.allBytes()) << "bytes behind a packet with a length belong to nothing";
    for (const Data& piece : cut(v(1, 9'000'000), 1'000'000))
        push({piece});
    EXPECT_LT(8'000'000U, first.allBytes().size()) << "in parts of about 4 MiB";
    end();
    EXPECT_TRUE(noise(9'000'000, 1) == first.allBytes());
    EXPECT_TRUE(first.samples[0].start && first.samples[0].syncPoint);
    EXPECT_FALSE(first.samples[1].start || first.samples[1].syncPoint) << "only a packet's beginning has a time";
}

TEST(PesHeader, ThatIsLongerThanItsPacketIsNotWaitedFor)
{
    demux::PesHeader header;
    EXPECT_EQ(demux::PesParse::kInvalid, demux::parsePesHeader(withByte(audio(1, 20), 8, 26), header));
}

TEST_F(Demultiplexer, DeliversElementaryStreamsWithTimesFromTheFirstStampOn)
{
    playBoth();
    // Padding, scrambled, no '10' ahead of the flags, cut off, and no PES packet at all.
    Data others;
    for (const Data& unit : {withByte(audio(9), 3, 0xBE), withByte(audio(9), 6, 0x90), withByte(audio(9), 6, 0x40),
                             firstBytes(audio(9), 13), noise(50, 9)})
        append(others, packets(kAudio, unit));
    const Data stream = join({v(1), others, a(1), v(2), a(2), v(3),
                              packets(kVideo, withByte(video(4), 11, 0xFE)),  // a marker bit is clear
                              packets(kVideo, withByte(video(5), 9, 0x1F)),   // the stamp has a DTS prefix
                              packets(kVideo, withByte(video(6), 8, 15))});   // ten bytes of stuffing
    for (const Data& piece : cut(stream, 77))
        push({piece});
    end();
    EXPECT_EQ("SSSSSSE", first.calls) << "the end brings the last packet and then itself";
    EXPECT_EQ("SSE", second.calls);
    ASSERT_EQ(6U, first.samples.size());
    EXPECT_EQ(noise(500, 2), first.samples[1].bytes);
    EXPECT_EQ(bytesFrom(noise(500, 6), 10), first.samples[5].bytes);
    EXPECT_EQ(join({noise(300, 1), noise(300, 2)}), second.allBytes()) << "without what is no stream";
    // The first audio packet is complete first, the video packet is half a second and a tick earlier.
    EXPECT_EQ(0, second.samples[0].start);
    EXPECT_EQ(-kSecond / 2 - 111, first.samples[0].start);
    EXPECT_EQ(kSecond, second.samples[1].start);
    EXPECT_EQ(kSecond * 3 / 2 - 112, first.samples[2].start);  // a tick is 111.1 units
    EXPECT_FALSE(first.samples[3].start || first.samples[4].start);
    EXPECT_FALSE(first.samples[1].discontinuity);
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
    EXPECT_HRESULT(S_OK, query<IMPEG2PIDMap>(pin.Get())->MapPID(1, &pid, MEDIA_ELEMENTARY_STREAM));
    push({v(2), a(2)});
    EXPECT_HRESULT(S_OK, query<IMPEG2PIDMap>(pin.Get())->UnmapPID(1, &pid));
    push({a(3)});
    end();
    EXPECT_EQ(join({noise(500, 1), noise(300, 2), noise(500, 2)}), first.allBytes());
    EXPECT_EQ(join({video(1), video(2)}), second.allBytes());
    EXPECT_EQ(std::nullopt, second.samples.at(0).start);
}

}  // namespace

}  // namespace zarnow::test
