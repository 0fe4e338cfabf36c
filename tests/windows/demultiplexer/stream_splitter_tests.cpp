#include <gtest/gtest.h>

#include <random>

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
        const Bytes bytes(part.bytes.begin(), part.bytes.end());
        if (part.startsUnit)
            collected_.units.push_back(bytes);
        else
            collected_.units.back() = std::move(collected_.units.back()) + bytes;
        collected_.afterLoss.push_back(part.afterLoss);
    }

private:
    Collected& collected_;
};

void addRoute(demux::StreamRoutes& routes, std::uint16_t pid, Collected& collected)
{
    routes.push_back(std::make_unique<demux::StreamRoute>(pid, std::make_unique<Collector>(collected)));
}

Collected split(const Bytes& stream, std::uint16_t pid = kPid)
{
    Collected collected;
    demux::StreamRoutes routes;
    addRoute(routes, pid, collected);
    demux::StreamSplitter splitter;
    splitter.setRoutes(std::move(routes));
    splitter.push(stream);
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

// Three units of an open length in eight packets: 0 to 2, 3 to 5, 6 and 7.
std::vector<Bytes> threeUnits()
{
    Multiplexer multiplexer;
    std::vector<Bytes> result = multiplexer.unit(kPid, video(500, 1));
    for (const Bytes& unit : {video(450, 2), video(250, 3)}) {
        for (const Bytes& packet : multiplexer.unit(kPid, unit))
            result.push_back(packet);
    }
    return result;
}

const std::vector<Bytes> kThree{video(500, 1), video(450, 2), video(250, 3)};

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
    {"the stream starts in the middle of a unit", [](std::vector<Bytes>& p) { p.erase(p.begin()); }, {1, 2}, false},
};

TEST(StreamSplitter, DropsTheUnitThatAFaultFellIntoAndNoOther)
{
    for (const FaultCase& each : kFaults) {
        std::vector<Bytes> stream = threeUnits();
        ASSERT_EQ(8U, stream.size());
        each.apply(stream);
        std::vector<Bytes> expected;
        for (const std::size_t index : each.units)
            expected.push_back(kThree[index]);
        const Collected collected = split(joined(stream));
        EXPECT_EQ(expected, collected.units) << each.fault;
        const auto& losses = collected.afterLoss;
        EXPECT_EQ(each.lossSeen, std::ranges::find(losses, true) != losses.end()) << each.fault;
    }
}

TEST(StreamSplitter, TakesASignalledDiscontinuityOfTheCounter)
{
    const Bytes unit = video(250, 1);
    const Bytes head(unit.begin(), unit.begin() + 184);
    const Bytes tail(unit.begin() + 184, unit.end());
    const Bytes stream = Packet{.pid = kPid, .counter = 3, .unitStart = true, .payload = head}.bytes() +
                         Packet{.pid = kPid, .counter = 9, .discontinuity = true, .payload = tail}.bytes();
    EXPECT_EQ(Units{unit}, split(stream).units);
}

TEST(StreamSplitter, EndsAPacketWithALengthAtItsLastByte)
{
    Multiplexer multiplexer;
    const Bytes unit = audio(300, 1);
    const Bytes stream = multiplexer.stream(kPid, unit + pattern(40, 5));
    EXPECT_EQ(Units{unit}, split(stream).units) << "bytes behind the packet belong to nothing";

    Collected collected;
    demux::StreamRoutes routes;
    addRoute(routes, kPid, collected);
    demux::StreamSplitter splitter;
    splitter.setRoutes(std::move(routes));
    splitter.push(multiplexer.stream(kPid, audio(500, 2)));
    EXPECT_EQ(Units{audio(500, 2)}, collected.units) << "it is handed on without waiting for the next one";
}

TEST(StreamSplitter, HandsOnTheLongestPacketWithALengthInOnePiece)
{
    Multiplexer multiplexer;
    const Bytes unit = audio(65535 - 8, 1);
    EXPECT_EQ(65541U, unit.size());
    const Collected collected = split(multiplexer.stream(kPid, unit));
    EXPECT_EQ(Units{unit}, collected.units);
    EXPECT_EQ(1U, collected.afterLoss.size());
}

TEST(StreamSplitter, HandsOnAnEndlessUnitInPartsAndLosesNothingOfIt)
{
    Multiplexer multiplexer;
    const Bytes unit = video(9'000'000, 1);
    const Collected collected = split(multiplexer.stream(kPid, unit));
    ASSERT_EQ(1U, collected.units.size());
    EXPECT_TRUE(unit == collected.units[0]);
    EXPECT_EQ(3U, collected.afterLoss.size()) << "9 MB in parts of at most about 4 MiB";
}

TEST(StreamSplitter, RoutesAPidToSeveralConsumersAndKeepsWhatARouteHasCollected)
{
    Multiplexer multiplexer;
    const std::vector<Bytes> stream = multiplexer.unit(kPid, video(500, 1));
    Collected first;
    Collected second;
    demux::StreamRoutes routes;
    addRoute(routes, kPid, first);
    demux::StreamSplitter splitter;
    splitter.setRoutes(std::move(routes));
    splitter.push(stream[0]);
    routes = splitter.takeRoutes();
    addRoute(routes, kPid, second);
    splitter.setRoutes(std::move(routes));
    splitter.push(stream[1] + stream[2] + multiplexer.stream(kPid, video(10, 2)));
    splitter.finish();
    EXPECT_EQ((Units{video(500, 1), video(10, 2)}), first.units);
    EXPECT_EQ(Units{video(10, 2)}, second.units) << "it came in the middle of the first unit";
}

TEST(StreamSplitter, ForgetsEverythingOnReset)
{
    Multiplexer multiplexer;
    const std::vector<Bytes> stream = multiplexer.unit(kPid, video(500, 1));
    Collected collected;
    demux::StreamRoutes routes;
    addRoute(routes, kPid, collected);
    demux::StreamSplitter splitter;
    splitter.setRoutes(std::move(routes));
    splitter.push(stream[0]);
    splitter.reset();
    splitter.push(stream[1] + stream[2]);
    splitter.finish();
    EXPECT_TRUE(collected.units.empty());
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
    std::mt19937 random{20};
    for (int round = 0; round < 200; ++round) {
        Multiplexer multiplexer;
        Bytes stream;
        for (unsigned i = 0; i < 6; ++i)
            stream = std::move(stream) + multiplexer.stream(kPid, i % 2 == 0 ? video(700, i) : audio(400, i));
        for (int hit = 0; hit < 40; ++hit)
            stream[random() % stream.size()] = static_cast<std::uint8_t>(random());
        const std::size_t cut = random() % stream.size();
        stream.erase(stream.begin() + static_cast<std::ptrdiff_t>(cut),
                     stream.begin() + static_cast<std::ptrdiff_t>(std::min(cut + random() % 300, stream.size())));
        EXPECT_LE(joined(split(stream).units).size(), stream.size());
    }
}

}  // namespace
