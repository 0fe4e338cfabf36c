// What the demultiplexer reads in the headers of PES packets, and the times that it makes of it.

#include <gtest/gtest.h>

#include "tests/windows/demultiplexer/packets.h"
#include "tools/demultiplexer/pes_header.h"
#include "tools/demultiplexer/stream_clock.h"

namespace zarnow::test {

namespace {

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
