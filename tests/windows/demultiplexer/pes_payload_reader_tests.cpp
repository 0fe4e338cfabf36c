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

Bytes read(const std::vector<Bytes>& samples)
{
    demux::PesPayloadReader reader;
    Collector collector;
    for (const Bytes& sample : samples)
        reader.push(sample, collector);
    return collector.all;
}

std::vector<Bytes> cut(const Bytes& bytes, std::size_t size)
{
    std::vector<Bytes> pieces;
    for (std::size_t at = 0; at < bytes.size(); at += size) {
        const auto from = bytes.begin() + static_cast<std::ptrdiff_t>(at);
        pieces.emplace_back(from, from + static_cast<std::ptrdiff_t>(std::min(size, bytes.size() - at)));
    }
    return pieces;
}

Bytes open(unsigned seed, std::size_t stuffing = 0)
{
    return Pes{.openLength = true, .pts = 7, .stuffing = stuffing, .payload = pattern(600, seed)}.bytes();
}

Bytes bounded(unsigned seed)
{
    return Pes{.streamId = 0xBD, .pts = 7, .payload = pattern(300, seed)}.bytes();
}

TEST(PesPayloadReader, TakesTheHeadersOutHoweverThePacketsAreCut)
{
    const Bytes expected = pattern(600, 1) + pattern(600, 2);
    for (const std::size_t size : {4U, 11U, 184U, 1000U}) {
        std::vector<Bytes> samples = cut(open(1, 240), size);
        for (const Bytes& sample : cut(open(2), size))
            samples.push_back(sample);
        EXPECT_EQ(expected, read(samples)) << "samples of " << size;
    }
}

struct ReaderCase
{
    const char* fault;
    std::vector<Bytes> samples;
    Bytes expected;
};

TEST(PesPayloadReader, KeepsToThePackets)
{
    const Bytes start = bounded(1);
    const Bytes half(start.begin(), start.begin() + 100);  // 86 bytes of payload behind a header of 14
    const ReaderCase cases[] = {
        {"several packets with a length in one sample", {bounded(1) + bounded(2)}, pattern(300, 1) + pattern(300, 2)},
        {"bytes ahead of the first packet", {pattern(50, 9), bounded(1)}, pattern(300, 1)},
        {"stuffing behind a packet, then the next",
         {bounded(1) + Bytes(9, 0xFF), bounded(2)},
         pattern(300, 1) + pattern(300, 2)},
        {"padding", {Bytes{0, 0, 1, 0xBE, 0, 3, 1, 2, 3} + bounded(1)}, pattern(300, 1)},
        {"a packet that breaks off ahead of the next one",
         {half, bounded(2)},
         Bytes(start.begin() + 14, start.begin() + 100) + pattern(300, 2)},
        {"an empty sample", {{}, bounded(1)}, pattern(300, 1)},
    };
    for (const ReaderCase& each : cases)
        EXPECT_EQ(each.expected, read(each.samples)) << each.fault;
}

}  // namespace
