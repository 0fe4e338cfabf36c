// From transport packets to elementary streams, with the faults that the files of the end-to-end tests do not have.

#include <gtest/gtest.h>

#include "tests/windows/demultiplexer/packets.h"
#include "tools/demultiplexer/pes_header.h"
#include "tools/demultiplexer/stream_clock.h"
#include "tools/demultiplexer/stream_splitter.h"

namespace zarnow::test {

namespace {

using Packets = std::vector<Data>;

struct Collected
{
    std::vector<Data> units;
    std::vector<bool> afterLoss;
};

class Collector final : public demux::UnitConsumer
{
public:
    explicit Collector(Collected& collected) : collected_(collected) {}

    void consume(const demux::UnitPart& part) override
    {
        if (part.startsUnit)
            collected_.units.emplace_back();
        append(collected_.units.back(), part.bytes);
        collected_.afterLoss.push_back(part.afterLoss);
    }

private:
    Collected& collected_;
};

Collected split(const Data& stream, std::size_t chunk = SIZE_MAX)
{
    Collected collected;
    demux::StreamRoutes routes;
    routes.push_back(std::make_unique<demux::StreamRoute>(kVideo, std::make_unique<Collector>(collected)));
    demux::StreamSplitter splitter;
    splitter.setRoutes(std::move(routes));
    for (const Data& piece : cut(stream, std::min(chunk, stream.size() + 1)))
        splitter.push(piece);
    splitter.finish();
    return collected;
}

void flip(Data& packet, std::size_t index, std::uint8_t bits)
{
    packet.at(index) = static_cast<std::uint8_t>(packet.at(index) ^ bits);
}

TEST(StreamSplitter, DropsTheUnitThatAFaultFellIntoAndNoOther)
{
    const std::vector<Data> units{video(1), video(2, 450), video(3, 250)};
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
        {"marked as in error", {0, 2}, true, [](Packets& p) { flip(p[4], 1, 0x80); }},
        {"scrambled", {0, 2}, true, [](Packets& p) { flip(p[4], 3, 0x80); }},
        {"all adaptation field",
         {0, 2},
         true,
         [](Packets& p) {
             flip(p[4], 3, 0x20);
             p[4][4] = 0xFF;
         }},
        {"the counter's jump is signalled",
         {0, 1, 2},
         false,
         [](Packets& p) {
             flip(p[7], 3, 0x07);
             p[7][5] = 0x80;
         }},
        {"a packet without payload repeats the counter",
         {0, 1, 2},
         false,
         [](Packets& p) {
             p.insert(p.begin() + 5, packet({.pid = kVideo, .unitStart = false, .control = 2, .adaptation = 183}));
             flip(p[5], 3, 4);
         }},
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
        {"a sync byte is lost", {0, 2}, true, [](Packets& p) { flip(p[4], 0, 0xFF); }},
        {"bytes are lost, and with them the next packet's start", {0, 2}, true, [](Packets& p) { p[3].resize(183); }},
        {"the stream ends within a packet", {0, 1, 2}, false, [](Packets& p) { p.push_back(firstBytes(p[0], 100)); }},
        {"garbage ahead of the last packet", {0, 1, 2}, false, [](Packets& p) { p.insert(p.begin() + 7, filled(9)); }},
        {"nothing but sync bytes", {}, false, [](Packets& p) { p = {filled(1000, 0x47)}; }},
        {"it starts in the middle of a unit", {1, 2}, false, [](Packets& p) { p.erase(p.begin()); }},
    };
    for (const auto& c : cases) {
        Multiplexer multiplexer;
        Data whole;
        for (const Data& unit : units)
            append(whole, multiplexer.stream(kVideo, unit));
        Packets stream = cut(whole, kPacket);
        c.apply(stream);
        std::vector<Data> arriving;
        for (const std::size_t index : c.arriving)
            arriving.push_back(units[index]);
        for (const std::size_t chunk : {1U, 7U, 100U, 187U, 188U, 189U, 400U, 5000U}) {
            const Collected collected = split(joined(stream), chunk);
            EXPECT_EQ(arriving, collected.units) << c.fault << ", in chunks of " << chunk;
            const auto& losses = collected.afterLoss;
            EXPECT_EQ(c.lossSeen, std::ranges::find(losses, true) != losses.end()) << c.fault;
        }
    }
}

TEST(StreamSplitter, KeepsToTheLengthsOfUnits)
{
    Multiplexer multiplexer;
    EXPECT_EQ(std::vector<Data>{audio(1)}, split(multiplexer.stream(kVideo, join({audio(1), noise(40, 5)}))).units)
        << "bytes behind a packet with a length belong to nothing";
    const Data endless = video(1, 9'000'000);
    const Collected collected = split(multiplexer.stream(kVideo, endless));
    EXPECT_TRUE(std::vector<Data>{endless} == collected.units);
    EXPECT_EQ(3U, collected.afterLoss.size()) << "in parts of about 4 MiB";
}

TEST(PesHeader, IsReadAsFarAsItIsValid)
{
    using demux::PesParse;
    const Data timed = pes(0xE0, noise(20, 1), 0x1FFFFFFFF);
    const Data plain = pes(0xE0, noise(20, 1));
    const Data sound = audio(1, 20);
    const std::nullopt_t none = std::nullopt;
    const struct
    {
        const char* fault;
        Data bytes;
        PesParse result;
        std::size_t packetSize;
        std::size_t headerSize;
        bool carriesStream;
        std::optional<std::int64_t> pts;
    } cases[] = {
        {"the largest time stamp", timed, PesParse::kDone, 0, 14, true, 0x1FFFFFFFF},
        {"a length", sound, PesParse::kDone, 34, 14, true, 135'000},
        {"stuffing in the header", withByte(timed, 8, 15), PesParse::kDone, 0, 24, true, 0x1FFFFFFFF},
        {"a marker bit is clear", withByte(timed, 11, 0xFE), PesParse::kDone, 0, 14, true, none},
        {"the stamp has a DTS prefix", withByte(timed, 9, 0x1F), PesParse::kDone, 0, 14, true, none},
        {"a scrambled payload", withByte(plain, 6, 0x90), PesParse::kDone, 0, 9, false, none},
        {"padding carries nothing", withByte(plain, 3, 0xBE), PesParse::kDone, 0, 6, false, none},
        {"no '10' ahead of the flags", withByte(plain, 6, 0x40), PesParse::kInvalid, 0, 0, true, none},
        {"no start code", withByte(plain, 2, 2), PesParse::kInvalid, 0, 0, true, none},
        {"a header past its packet", withByte(sound, 8, 26), PesParse::kInvalid, 0, 0, true, none},
        {"8 bytes", firstBytes(plain, 8), PesParse::kNeedsMore, 0, 0, true, none},
        {"a cut time stamp", firstBytes(timed, 13), PesParse::kNeedsMore, 0, 0, true, none},
    };
    for (const auto& c : cases) {
        demux::PesHeader header;
        ASSERT_EQ(c.result, demux::parsePesHeader(c.bytes, header)) << c.fault;
        EXPECT_EQ(c.packetSize, header.packetSize) << c.fault;
        EXPECT_EQ(c.headerSize, header.headerSize) << c.fault;
        EXPECT_EQ(c.carriesStream, header.carriesStream) << c.fault;
        EXPECT_EQ(c.pts, header.pts) << c.fault;
    }
}

TEST(StreamClock, CountsFromTheFirstStampOverTheWrapOfTheCounter)
{
    demux::StreamClock clock;
    const std::int64_t last = (std::int64_t{1} << 33) - 1;
    EXPECT_EQ(0, clock.toStreamTime(last - 89'999));
    EXPECT_EQ(10'000'000, clock.toStreamTime(0)) << "90000 ticks later";
    EXPECT_EQ(10'000'111, clock.toStreamTime(1));
    EXPECT_EQ(-10'000'000, clock.toStreamTime(last - 179'999)) << "a stamp before the first one";
}

}  // namespace

}  // namespace zarnow::test
