#include <gtest/gtest.h>

#include "tests/windows/demultiplexer/packet_builder.h"
#include "tools/demultiplexer/packet_framer.h"

namespace {

using namespace packets;

// A packet that can be told from others by its PID and has no further sync byte in it.
Bytes numbered(std::uint16_t pid)
{
    return Packet{.pid = pid, .payload = Bytes(184, 0x55)}.bytes();
}

Bytes numberedRun(std::uint16_t first, std::uint16_t last)
{
    Bytes result;
    for (std::uint16_t pid = first; pid <= last; ++pid)
        result = std::move(result) + numbered(pid);
    return result;
}

struct FramerCase
{
    const char* fault;
    Bytes stream;
    std::vector<int> pids;
};

std::vector<FramerCase> framerCases()
{
    const Bytes one = numbered(1);
    const Bytes falseSync = Bytes(20, 0) + Bytes{0x47} + Bytes(30, 0);
    return {
        {"packets in a row", numberedRun(1, 4), {1, 2, 3, 4}},
        {"garbage ahead of the first packet is passed over", Bytes(57, 0x11) + numberedRun(1, 3), {1, 2, 3}},
        {"a sync byte in garbage is not taken for a packet", falseSync + numberedRun(1, 3), {1, 2, 3}},
        {"a packet without its sync byte costs only itself", one + Bytes(188, 0x11) + numberedRun(3, 5), {1, 3, 4, 5}},
        {"a few bytes lost inside a packet cost it and the one whose start is missed",
         one + Bytes(one.begin(), one.end() - 5) + numberedRun(3, 6),
         {1, 1, 4, 5, 6}},
        {"a packet cut off by the end is dropped", one + Bytes(one.begin(), one.begin() + 100), {1}},
        {"the last packet needs no sync byte behind it, also just after a loss",
         one + Bytes(9, 0) + numbered(2),
         {1, 2}},
        {"nothing but sync bytes ends", Bytes(1000, 0x47), {0x747, 0x747, 0x747, 0x747, 0x747}},
        {"nothing at all", {}, {}},
    };
}

std::vector<int> framed(const Bytes& stream, std::size_t chunkSize)
{
    demux::PacketFramer framer;
    std::vector<int> pids;
    const auto take = [&](demux::PacketBytes packet) { pids.push_back(demux::packetPid(packet)); };
    const std::span<const std::uint8_t> all{stream};
    for (std::size_t at = 0; at < all.size(); at += chunkSize)
        framer.push(all.subspan(at, std::min(chunkSize, all.size() - at)), take);
    framer.finish(take);
    return pids;
}

TEST(PacketFramer, FindsThePacketsHoweverTheStreamIsCut)
{
    for (const FramerCase& each : framerCases()) {
        for (const std::size_t chunk : {1U, 7U, 100U, 187U, 188U, 189U, 376U, 400U, 5000U})
            EXPECT_EQ(each.pids, framed(each.stream, chunk)) << each.fault << ", in chunks of " << chunk;
    }
}

TEST(PacketFramer, HandsOnWholePacketsWithoutACopy)
{
    const Bytes stream = numberedRun(1, 2);
    demux::PacketFramer framer;
    std::vector<const std::uint8_t*> places;
    framer.push(stream, [&](demux::PacketBytes packet) { places.push_back(packet.data()); });
    EXPECT_EQ((std::vector{stream.data(), stream.data() + 188}), places);
}

TEST(PacketFramer, ForgetsACarriedPartOnReset)
{
    const Bytes one = numbered(1);
    const Bytes part(one.begin(), one.begin() + 50);
    demux::PacketFramer framer;
    std::vector<int> pids;
    const auto take = [&](demux::PacketBytes packet) { pids.push_back(demux::packetPid(packet)); };
    framer.push(part, take);
    framer.reset();
    framer.push(numbered(2), take);
    EXPECT_EQ(std::vector{2}, pids);
}

}  // namespace
