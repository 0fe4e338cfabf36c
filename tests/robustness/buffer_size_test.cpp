// The read buffer's size: any one is taken, and its blocks end anywhere in the tables.

#include <gtest/gtest.h>

#include <fstream>
#include <unistd.h>

#include "tests/robustness/facts.h"
#include "tests/robustness/samples.h"
#include "tests/support/temporary_file.h"
#include "tests/support/transport_stream.h"

namespace zarnow::test {
namespace {

/// The tables, once in the file, with the block that the table scans read ending before, in and behind them. A packet
/// that a block's end cuts, or that ends there, is not looked at, and behind another packet of the PID one is found
/// only with more than five packets of the block to go. Where programs share the PID of their maps the blocks overlap,
/// and what is lost in one may be found in the next. Otherwise a map whose second packet is lost ends with its first.
TEST(BufferSizes, MapsCutByABlocksEnd)
{
    constexpr std::uint32_t kMargin = 100;
    constexpr std::size_t kOverlap = 186;
    constexpr std::size_t kBehind = 5 * kPacket;
    constexpr std::size_t kMapsAt = 12 * kPacket;
    const Data shared = join({patPacket({{1, 0x100}, {2, 0x100}}), nullPackets(11),
                              pmtPacket(0x100, 1, {{0x0F, 0x110}}), pmtPacket(0x100, 2, {{0x0F, 0x120}})});
    std::vector<Stream> many(50, {0x05, 0x200});
    for (std::size_t i = 0; i < many.size(); ++i)
        many[i].pid = static_cast<std::uint16_t>(many[i].pid + i);
    const Data section = pointed(pmtSection(1, many));
    const auto cut = section.begin() + kPacket - 4;
    const Data single = join({patPacket({{1, 0x100}}), nullPackets(11), packet({.pid = 0x100}, {section.begin(), cut}),
                              packet({.pid = 0x100}, {cut, section.end()})});
    constexpr std::size_t kInFirst = (kPacket - 4 - 1 - 12) / 5;
    for (std::uint32_t bufferSize = 2001; bufferSize < 3400; ++bufferSize) {
        SCOPED_TRACE(testing::Message() << "buffers of " << bufferSize);
        const std::size_t blockSize = bufferSize - kMargin;
        CProgramSelection selection;
        selection.setReadBufferSize(bufferSize);
        const auto streamsIn = [&](const Data& tables) {
            const TemporaryFile file(join({tables, nullPackets(40)}));
            selection.loadFile(file.path().c_str());
            return selection.analysed ? selection.streamList.size() - 2 : 0;  // without the two that a PAT leads with
        };
        const bool firstSeen = kMapsAt + kPacket < blockSize;
        const bool secondSeen = kMapsAt + 1 + kBehind < blockSize;
        const auto inNext = [&](std::size_t map) { return map + kOverlap >= blockSize; };
        EXPECT_EQ(streamsIn(shared),
                  std::size_t{firstSeen || inNext(kMapsAt)} + std::size_t{secondSeen || inNext(kMapsAt + kPacket)});
        const bool wholeInNext = kMapsAt >= blockSize;
        EXPECT_EQ(streamsIn(single), secondSeen || wholeInNext ? many.size() : firstSeen ? kInFirst : 0);
        if (HasFailure())
            return;
    }
}

/// A stream is listed if its header is among the first packets of a block that are looked at, and how many these are
/// depends on the block: before each search the bytes that it may cover fall by its whole distance from the block's
/// start, and it finds a packet only in more than five packets' length.
TEST(BufferSizes, DecideHowLateAnAudioHeaderMayCome)
{
    constexpr std::uint16_t kPid = 0x21;
    const auto listed = [&](std::uint32_t bufferSize, std::size_t headerAt) {
        const TemporaryFile file(
            join({packet({.pid = kPid}, pes(0xBD, filled(170))),
                  repeat(packet({.pid = kPid, .unitStart = false}, filled(184)), headerAt - 1),
                  packet({.pid = kPid, .unitStart = false}, {0x0B, 0x77, 0, 0, 0x1C, 0, 0x40}), nullPackets(6000)}));
        CProgramSelection selection;
        selection.setReadBufferSize(bufferSize);
        EXPECT_EQ(selection.file.open(file.path().c_str()), 0U);
        return selection.probeAudioStream(kPid, 0x81, 0, false);
    };
    for (const std::uint32_t bufferSize : {2001U, 3000U, 7777U, 33000U, 65536U, 1U << 20}) {
        SCOPED_TRACE(bufferSize);
        const std::size_t block = (bufferSize / kPacket - 2) * kPacket;
        const auto reached = [=](std::size_t n) { return kPacket * n * (n - 1) / 2 + n + 5 * kPacket < block; };
        std::size_t last = 1;
        while (reached(last + 1))
            ++last;
        EXPECT_TRUE(listed(bufferSize, last)) << last;
        EXPECT_FALSE(listed(bufferSize, last + 1)) << last;
    }
}

std::size_t residentBytes()
{
    std::size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages >> pages;
    return pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

TEST(BufferSizes, OfAnyValue)
{
    const TemporaryFile file(sample("two-programs").packets);
    CProgramSelection selection;
    for (const std::uint32_t size : {0U, 1U, 187U, 188U, 375U, 376U, 2000U, 2001U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        SCOPED_TRACE(size);
        selection.setReadBufferSize(kDefaultReadBufferSize);
        ASSERT_EQ(selection.loadFile(file.path().c_str()).status, LoadResult::Status::loaded);
        const std::string tables = tablesText(selection);
        const std::size_t before = residentBytes();
        selection.setReadBufferSize(size);
        if (selection.readBuffer == nullptr)
            GTEST_SKIP() << "no " << size << " bytes of address space here";
        EXPECT_TRUE(selection.selectProgram(0)) << "of the file that is loaded";
        EXPECT_EQ(selection.loadFile(nullptr).status, LoadResult::Status::loaded);
        EXPECT_EQ(selection.analysed, size > 2000) << "fewer bytes do not tell the packet size";
        if (selection.analysed) {
            EXPECT_EQ(selection.durationSeconds == 0.0, size > 0x3FFFFFFF) << "two buffers back are no 32-bit distance";
            EXPECT_EQ(tablesText(selection), tables);
        }
        EXPECT_LT(residentBytes(), before + (64U << 20)) << "a buffer is written to no further than the file goes";
    }
}

}  // namespace
}  // namespace zarnow::test
