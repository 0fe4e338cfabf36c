#include <gtest/gtest.h>

#include "tests/support/dice.h"
#include "tests/windows/demultiplexer/packet_builder.h"
#include "tools/demultiplexer/elementary_stream_reader.h"
#include "tools/demultiplexer/stream_splitter.h"

namespace {

using namespace packets;

constexpr std::uint16_t kPid = 0x100;

using Units = std::vector<Bytes>;

struct Collected
{
    Units units;
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
        collected_.units.back().insert(collected_.units.back().end(), part.bytes.begin(), part.bytes.end());
        collected_.afterLoss.push_back(part.afterLoss);
    }

private:
    Collected& collected_;
};

void addRoute(demux::StreamRoutes& routes, Collected& collected)
{
    routes.push_back(std::make_unique<demux::StreamRoute>(kPid, std::make_unique<Collector>(collected)));
}

Collected split(const Bytes& stream, std::size_t chunk = SIZE_MAX)
{
    Collected collected;
    demux::StreamRoutes routes;
    addRoute(routes, collected);
    demux::StreamSplitter splitter;
    splitter.setRoutes(std::move(routes));
    for (const Bytes& piece : cut(stream, std::min(chunk, std::max<std::size_t>(stream.size(), 1))))
        splitter.push(piece);
    splitter.finish();
    return collected;
}

Bytes video(std::size_t size, unsigned seed)
{
    return Pes{.openLength = true, .pts = 3600 * seed, .payload = pattern(size, seed)}.bytes();
}

Bytes audio(std::size_t size, unsigned seed)
{
    return Pes{.streamId = 0xC0, .pts = 2160 * seed, .payload = pattern(size, seed)}.bytes();
}

const Units kThree{video(500, 1), video(450, 2), video(250, 3)};

/// Eight packets: 0 to 2, 3 to 5, 6 and 7.
std::vector<Bytes> threeUnits()
{
    Multiplexer multiplexer;
    std::vector<Bytes> whole;
    for (const Bytes& unit : kThree)
        whole.push_back(multiplexer.stream(kPid, unit));
    return cut(joined(whole), 188);
}

struct FaultCase
{
    const char* fault;
    void (*apply)(std::vector<Bytes>&);
    std::vector<std::size_t> units;  // of the three, those that arrive
    bool lossSeen;
};

Bytes& byteFlip(Bytes& packet, std::size_t index, std::uint8_t bits)
{
    packet.at(index) = static_cast<std::uint8_t>(packet.at(index) ^ bits);
    return packet;
}

const FaultCase kFaults[] = {
    {"nothing wrong", [](std::vector<Bytes>&) {}, {0, 1, 2}, false},
    {"a packet in the middle of a unit is lost", [](std::vector<Bytes>& p) { p.erase(p.begin() + 4); }, {0, 2}, true},
    {"the first packet of a unit is lost: what is before it may be incomplete too",
     [](std::vector<Bytes>& p) { p.erase(p.begin() + 3); },
     {2},
     true},
    {"a packet is sent twice", [](std::vector<Bytes>& p) { p.insert(p.begin() + 4, p[4]); }, {0, 1, 2}, false},
    {"the first packet of a unit is sent twice",
     [](std::vector<Bytes>& p) { p.insert(p.begin() + 3, p[3]); },
     {0, 1, 2},
     false},
    {"a packet is sent three times", [](std::vector<Bytes>& p) { p.insert(p.begin() + 4, 2, p[4]); }, {0, 2}, true},
    {"a packet has transport_error_indicator", [](std::vector<Bytes>& p) { byteFlip(p[4], 1, 0x80); }, {0, 2}, true},
    {"a packet is scrambled", [](std::vector<Bytes>& p) { byteFlip(p[4], 3, 0x80); }, {0, 2}, true},
    {"an adaptation field covers the payload",
     [](std::vector<Bytes>& p) { byteFlip(p[4], 3, 0x20).at(4) = 0xFF; },
     {0, 2},
     true},
    {"a packet without payload repeats the counter",
     [](std::vector<Bytes>& p) { p.insert(p.begin() + 5, Packet{.pid = kPid, .counter = 4}.bytes()); },
     {0, 1, 2},
     false},
    {"packets of other PIDs, of the null PID and garbage come in between",
     [](std::vector<Bytes>& p) {
         p.insert(p.begin() + 4, Packet{.pid = 0x1FFF, .payload = pattern(184, 9)}.bytes());
         p.insert(p.begin() + 5, Packet{.pid = 0x101, .unitStart = true, .payload = pattern(184, 8)}.bytes());
         p.insert(p.begin() + 6, Bytes(188, 0));
     },
     {0, 1, 2},
     false},
    {"garbage with a sync byte in it comes ahead of the first packet",
     [](std::vector<Bytes>& p) { p.insert(p.begin(), Bytes(20, 0) + Bytes{0x47} + Bytes(30, 0)); },
     {0, 1, 2},
     false},
    {"a packet has lost its sync byte", [](std::vector<Bytes>& p) { byteFlip(p[4], 0, 0xFF); }, {0, 2}, true},
    {"a packet has lost a few bytes, with which the start of the next one is missed",
     [](std::vector<Bytes>& p) { p[3].resize(183); },
     {0, 2},
     true},
    {"the stream ends within a packet",
     [](std::vector<Bytes>& p) { p.push_back(part(p[0], 0, 100)); },
     {0, 1, 2},
     false},
    {"the last packet comes just after garbage",
     [](std::vector<Bytes>& p) { p.insert(p.begin() + 7, Bytes(9, 0)); },
     {0, 1, 2},
     false},
    {"nothing but sync bytes", [](std::vector<Bytes>& p) { p = {Bytes(1000, 0x47)}; }, {}, false},
    {"nothing at all", [](std::vector<Bytes>& p) { p.clear(); }, {}, false},
    {"the stream starts in the middle of a unit", [](std::vector<Bytes>& p) { p.erase(p.begin()); }, {1, 2}, false},
};

TEST(StreamSplitter, DropsTheUnitThatAFaultFellIntoAndNoOther)
{
    for (const FaultCase& each : kFaults) {
        std::vector<Bytes> stream = threeUnits();
        ASSERT_EQ(8U, stream.size());
        each.apply(stream);
        Units expected;
        for (const std::size_t index : each.units)
            expected.push_back(kThree[index]);
        for (const std::size_t chunk : {1U, 7U, 100U, 187U, 188U, 189U, 400U, 5000U}) {
            const Collected collected = split(joined(stream), chunk);
            EXPECT_EQ(expected, collected.units) << each.fault << ", in chunks of " << chunk;
            const auto& losses = collected.afterLoss;
            EXPECT_EQ(each.lossSeen, std::ranges::find(losses, true) != losses.end()) << each.fault;
        }
    }
}

TEST(StreamSplitter, KeepsToTheUnits)
{
    Multiplexer multiplexer;
    const Bytes shortUnit = video(250, 1);
    const Bytes longest = audio(65535 - 8, 1);
    const Bytes endless = video(9'000'000, 1);
    const struct
    {
        const char* what;
        Bytes stream;
        Bytes unit;
        std::size_t parts;
    } cases[] = {
        {"a signalled discontinuity of the counter is no loss",
         Packet{.counter = 3, .unitStart = true, .payload = part(shortUnit, 0, 184)}.bytes() +
             Packet{.counter = 9, .discontinuity = true, .payload = part(shortUnit, 184)}.bytes(),
         shortUnit, 1},
        {"bytes behind a packet with a length belong to nothing",
         multiplexer.stream(kPid, audio(300, 1) + pattern(40, 5)), audio(300, 1), 1},
        {"the longest packet with a length comes in one piece", multiplexer.stream(kPid, longest), longest, 1},
        {"9 MB come in parts of at most about 4 MiB", multiplexer.stream(kPid, endless), endless, 3},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.what);
        const Collected collected = split(each.stream);
        ASSERT_EQ(1U, collected.units.size());
        EXPECT_TRUE(each.unit == collected.units[0]);
        EXPECT_EQ(std::vector<bool>(each.parts), collected.afterLoss);
    }
}

TEST(StreamSplitter, RoutesAPidToSeveralConsumersAndKeepsWhatARouteHasCollected)
{
    Multiplexer multiplexer;
    const std::vector<Bytes> stream = multiplexer.unit(kPid, video(500, 1));
    Collected first;
    Collected second;
    demux::StreamRoutes routes;
    addRoute(routes, first);
    demux::StreamSplitter splitter;
    splitter.setRoutes(std::move(routes));
    splitter.push(stream[0]);
    routes = splitter.takeRoutes();
    addRoute(routes, second);
    splitter.setRoutes(std::move(routes));
    splitter.push(stream[1] + stream[2] + multiplexer.stream(kPid, audio(500, 2)));
    EXPECT_EQ((Units{video(500, 1), audio(500, 2)}), first.units) << "a whole packet does not wait for the next one";
    EXPECT_EQ(Units{audio(500, 2)}, second.units) << "it came in the middle of the first unit";
}

TEST(ElementaryStreamReader, GivesTheStreamWithoutHeaders)
{
    demux::ElementaryStreamReader reader;
    const Bytes good = Pes{.pts = 5, .payload = pattern(30, 1)}.bytes();
    const demux::ElementaryPart first = reader.read({good, true, false});
    EXPECT_EQ(pattern(30, 1), Bytes(first.bytes.begin(), first.bytes.end()));
    EXPECT_EQ(5, first.pts);
    EXPECT_EQ(7U, reader.read({pattern(7, 2), false, false}).bytes.size()) << "a further part of the same packet";
    EXPECT_EQ(0U, reader.read({pattern(50, 3), true, false}).bytes.size()) << "no PES packet";
    EXPECT_EQ(0U, reader.read({pattern(7, 2), false, false}).bytes.size()) << "nor what goes on with it";
}

// Anything may come; what counts is that it ends, stays inside its buffers (the sanitizer build sees that) and that
// the bytes handed on are not more than came in.
TEST(StreamSplitter, EndsWithAnyInput)
{
    zarnow::test::Dice dice(20);
    for (int round = 0; round < 200; ++round) {
        Multiplexer multiplexer;
        Bytes stream;
        for (unsigned i = 0; i < 6; ++i)
            stream = stream + multiplexer.stream(kPid, i % 2 == 0 ? video(700, i) : audio(400, i));
        const auto size = static_cast<unsigned>(stream.size());
        for (int hit = 0; hit < 40; ++hit)
            stream[dice.below(size)] = static_cast<std::uint8_t>(dice.below(256));
        const unsigned gap = dice.below(size - 300);
        stream = part(stream, 0, gap) + part(stream, gap + dice.below(300));
        EXPECT_LE(joined(split(stream).units).size(), stream.size());
    }
}

}  // namespace
