#include <gtest/gtest.h>

#include "tests/windows/demultiplexer/packet_builder.h"
#include "tools/demultiplexer/packet_framer.h"

namespace {

using namespace packets;

/// Packets that can be told apart by their PIDs and have no further sync byte in them.
Bytes numbered(std::uint16_t first, std::uint16_t last)
{
    Bytes result;
    for (std::uint16_t pid = first; pid <= last; ++pid)
        result = result + Packet{.pid = pid, .payload = Bytes(184, 0x55)}.bytes();
    return result;
}

TEST(PacketFramer, FindsThePacketsHoweverTheStreamIsCut)
{
    const Bytes one = numbered(1, 1);
    const Bytes falseSync = Bytes(20, 0) + Bytes{0x47} + Bytes(30, 0);
    const struct
    {
        const char* fault;
        Bytes stream;
        std::vector<int> pids;
    } cases[] = {
        {"packets in a row", numbered(1, 4), {1, 2, 3, 4}},
        {"garbage ahead of the first packet is passed over", Bytes(57, 0x11) + numbered(1, 3), {1, 2, 3}},
        {"a sync byte in garbage is not taken for a packet", falseSync + numbered(1, 3), {1, 2, 3}},
        {"a packet without its sync byte costs only itself", one + Bytes(188, 0x11) + numbered(3, 5), {1, 3, 4, 5}},
        {"a few bytes lost inside a packet cost it and the one whose start is missed",
         one + part(one, 0, 183) + numbered(3, 6),
         {1, 1, 4, 5, 6}},
        {"a packet cut off by the end is dropped", one + part(one, 0, 100), {1}},
        {"the last packet needs no sync byte behind it, also just after a loss",
         one + Bytes(9, 0) + numbered(2, 2),
         {1, 2}},
        {"nothing but sync bytes ends", Bytes(1000, 0x47), {0x747, 0x747, 0x747, 0x747, 0x747}},
        {"nothing at all", {}, {}},
    };
    for (const auto& each : cases) {
        for (const std::size_t size : {1U, 7U, 100U, 187U, 188U, 189U, 376U, 400U, 5000U}) {
            demux::PacketFramer framer;
            std::vector<int> pids;
            const auto take = [&](demux::PacketBytes packet) { pids.push_back(demux::packetPid(packet)); };
            for (const Bytes& chunk : cut(each.stream, size))
                framer.push(chunk, take);
            framer.finish(take);
            EXPECT_EQ(each.pids, pids) << each.fault << ", in chunks of " << size;
        }
    }
}

}  // namespace
