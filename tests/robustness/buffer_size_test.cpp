// The read buffer's size: any one is taken, and its blocks end anywhere in the tables.

#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <unistd.h>

#include "tests/robustness/facts.h"
#include "tests/robustness/samples.h"
#include "tests/support/plain_selection.h"
#include "tests/support/temporary_file.h"
#include "tests/support/transport_stream.h"

namespace zarnow::test {
namespace {

/// The tables, once in the file, with the block that the table scans read ending before, in and behind them.
TEST(BufferSizes, MapsCutByABlocksEnd)
{
    const auto fileOf = [](const std::vector<Program>& programs, const Data& maps) {
        return join({patPacket(programs), nullPackets(11), maps, nullPackets(40)});
    };
    std::vector<Stream> many(50, {0x05, 0x200});
    for (std::size_t i = 0; i < many.size(); ++i)
        many[i].pid = static_cast<std::uint16_t>(many[i].pid + i);
    const Data section = pointed(pmtSection(1, many));
    constexpr std::size_t kRoom = kPacket - 4;
    const TemporaryFile single(fileOf({{1, 0x100}}, join({packet({.pid = 0x100}, bytesFrom(section, 0, kRoom)),
                                                          packet({.pid = 0x100}, bytesFrom(section, kRoom))})));
    const TemporaryFile shared(fileOf(
        {{1, 0x100}, {2, 0x100}}, join({pmtPacket(0x100, 1, {{0x0F, 0x110}}), pmtPacket(0x100, 2, {{0x0F, 0x120}})})));
    std::set<std::size_t> counts;
    for (std::uint32_t bufferSize = 2001; bufferSize < 3400 && !HasFailure(); ++bufferSize) {
        SelectionPair pair;
        pair.setReadBufferSize(bufferSize);
        for (const TemporaryFile* file : {&single, &shared}) {
            pair.load(file->path().c_str());
            EXPECT_EQ(pair.difference(), "") << "buffers of " << bufferSize;
            counts.insert(pair.selection.streamList.size());
        }
    }
    EXPECT_EQ(counts, (std::set<std::size_t>{2, 3, 4, 2 + 34, 2 + 50}))
        << "none, one or both, and part of the long one";
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
