#include <gtest/gtest.h>

#include "tests/windows/demultiplexer/packet_builder.h"
#include "tools/demultiplexer/pes_header.h"
#include "tools/demultiplexer/stream_clock.h"

namespace {

using namespace packets;
using demux::PesParse;

using zarnow::test::withByte;

TEST(PesHeader, IsReadAsFarAsItIsValid)
{
    const Bytes data = pattern(20, 1);
    const Bytes timed = Pes{.pts = 0x1FFFFFFFF, .payload = data}.bytes();
    const Bytes plain = Pes{.payload = data}.bytes();
    const Bytes privateStream2{0, 0, 1, 0xBF, 0, 4, 1, 2, 3, 4};
    const Bytes padding{0, 0, 1, 0xBE, 0, 4, 0xFF, 0xFF, 0xFF, 0xFF};
    const std::nullopt_t none = std::nullopt;
    const struct
    {
        const char* fault;
        Bytes bytes;
        PesParse result;
        std::size_t packetSize;
        std::size_t headerSize;
        bool carriesStream;
        std::optional<std::int64_t> pts;
    } cases[] = {
        {"no time stamp", plain, PesParse::kDone, 29, 9, true, none},
        {"the largest time stamp", timed, PesParse::kDone, 34, 14, true, 0x1FFFFFFFF},
        {"an open length", Pes{.openLength = true, .pts = 1, .payload = data}.bytes(), PesParse::kDone, 0, 14, true, 1},
        {"stuffing in the header", Pes{.pts = 90000, .stuffing = 250}.bytes(), PesParse::kDone, 264, 264, true, 90000},
        {"the middle marker bit is clear", withByte(timed, 11, 0xFE), PesParse::kDone, 34, 14, true, none},
        {"the time stamp has a DTS prefix", withByte(timed, 9, 0x1F), PesParse::kDone, 34, 14, true, none},
        {"a time stamp is flagged but has no room", withByte(plain, 7, 0x80), PesParse::kDone, 29, 9, true, none},
        {"a scrambled payload", Pes{.flags = 0x90, .payload = data}.bytes(), PesParse::kDone, 29, 9, false, none},
        {"private_stream_2 has no flags", privateStream2, PesParse::kDone, 10, 6, true, none},
        {"padding carries nothing", padding, PesParse::kDone, 10, 6, false, none},
        {"the flags do not start with '10'", withByte(plain, 6, 0x40), PesParse::kInvalid, 0, 0, true, none},
        {"no start code", withByte(plain, 2, 2), PesParse::kInvalid, 0, 0, true, none},
        {"a header longer than its packet", withByte(plain, 8, 21), PesParse::kInvalid, 0, 0, true, none},
        {"5 bytes", part(plain, 0, 5), PesParse::kNeedsMore, 0, 0, true, none},
        {"8 bytes", part(plain, 0, 8), PesParse::kNeedsMore, 0, 0, true, none},
        {"a cut time stamp", part(timed, 0, 13), PesParse::kNeedsMore, 0, 0, true, none},
    };
    for (const auto& each : cases) {
        demux::PesHeader header;
        ASSERT_EQ(each.result, demux::parsePesHeader(each.bytes, header)) << each.fault;
        EXPECT_EQ(each.packetSize, header.packetSize) << each.fault;
        EXPECT_EQ(each.headerSize, header.headerSize) << each.fault;
        EXPECT_EQ(each.carriesStream, header.carriesStream) << each.fault;
        EXPECT_EQ(each.pts, header.pts) << each.fault;
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
    clock.reset();
    EXPECT_EQ(0, clock.toStreamTime(12345));
}

}  // namespace
