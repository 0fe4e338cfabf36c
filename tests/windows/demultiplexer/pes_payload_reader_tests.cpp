#include <gtest/gtest.h>

#include "tests/windows/demultiplexer/packet_builder.h"
#include "tools/demultiplexer/pes_payload_reader.h"

namespace {

using namespace packets;

class Collector final : public demux::ByteConsumer
{
public:
    void consume(std::span<const std::uint8_t> bytes) override { all.insert(all.end(), bytes.begin(), bytes.end()); }

    Bytes all;
};

Bytes open(unsigned seed, std::size_t stuffing)
{
    return Pes{.openLength = true, .pts = 7, .stuffing = stuffing, .payload = pattern(600, seed)}.bytes();
}

Bytes bounded(unsigned seed)
{
    return Pes{.streamId = 0xBD, .pts = 7, .payload = pattern(300, seed)}.bytes();
}

/// Samples of open packets start with a packet each, but may end anywhere.
std::vector<Bytes> openPackets(std::size_t size)
{
    std::vector<Bytes> samples = cut(open(1, 240), size);
    for (const Bytes& sample : cut(open(2, 0), size))
        samples.push_back(sample);
    return samples;
}

TEST(PesPayloadReader, TakesTheHeadersOut)
{
    const Bytes first = pattern(300, 1);
    const Bytes second = pattern(300, 2);
    const Bytes both = pattern(600, 1) + pattern(600, 2);
    const struct
    {
        const char* fault;
        std::vector<Bytes> samples;
        Bytes expected;
    } cases[] = {
        {"open packets in samples of 4", openPackets(4), both},
        {"open packets in samples of 11", openPackets(11), both},
        {"open packets in samples of 184", openPackets(184), both},
        {"open packets in one sample each", openPackets(1000), both},
        {"several packets with a length in one sample", {bounded(1) + bounded(2)}, first + second},
        {"bytes ahead of the first packet", {pattern(50, 9), bounded(1)}, first},
        {"stuffing behind a packet, then the next", {bounded(1) + Bytes(9, 0xFF), bounded(2)}, first + second},
        {"padding", {Bytes{0, 0, 1, 0xBE, 0, 3, 1, 2, 3} + bounded(1)}, first},
        {"a packet that breaks off ahead of the next one",  // its header is 14 bytes long
         {part(bounded(1), 0, 100), bounded(2)},
         part(first, 0, 86) + second},
        {"an empty sample", {{}, bounded(1)}, first},
    };
    for (const auto& each : cases) {
        demux::PesPayloadReader reader;
        Collector collector;
        for (const Bytes& sample : each.samples)
            reader.push(sample, collector);
        EXPECT_EQ(each.expected, collector.all) << each.fault;
    }
}

}  // namespace
