// Moves in the open file, and the program tables that a load reads from it.

#include <gtest/gtest.h>

#include <climits>
#include <map>

#include "analysis/file_scan.h"
#include "tests/support/temporary_file.h"
#include "tests/support/transport_stream.h"

namespace zarnow::test {
namespace {

struct Scan : CFileScan
{
    explicit Scan(const Data& content) : source(content) { EXPECT_EQ(file.open(source.path().c_str()), 0U); }

    TemporaryFile source;
};

using Pids = std::vector<std::uint16_t>;

TEST(TransportFile, MovesWithin32Bits)
{
    TemporaryFile source;
    constexpr std::int64_t kSize = (std::int64_t{1} << 32) + 1000;
    source.growTo(kSize);
    CTransportFile file;
    EXPECT_EQ(file.open(source.path().c_str()), 0U);
    std::int64_t size = 0;
    EXPECT_TRUE(file.size(size));
    EXPECT_EQ(size, kSize);

    EXPECT_TRUE(file.moveTo(100));
    EXPECT_FALSE(file.moveTo(-1));
    EXPECT_FALSE(file.moveBy(-101));
    EXPECT_FALSE(file.moveFromEnd(-999)) << "4 GiB and 1";
    EXPECT_EQ(file.position(), 100) << "a failed move leaves the position";
    EXPECT_TRUE(file.moveFromEnd(-1001));
    EXPECT_EQ(file.position(), 0xFFFFFFFF);

    EXPECT_TRUE(file.moveTo(INT_MAX) && file.moveBy(INT_MAX) && file.moveBy(1));
    EXPECT_FALSE(file.moveBy(1));
    std::uint8_t bytes[100];
    std::uint32_t count = 0;
    EXPECT_TRUE(file.read(bytes, 100, count)) << "reading on knows no limit";
    EXPECT_EQ(file.position(), 0x100000063);
    EXPECT_FALSE(file.moveBy(0)) << "the position itself does not fit";
    EXPECT_FALSE(file.moveBy(-99));
    EXPECT_TRUE(file.moveBy(-100));
}

TEST(SyncInFile, CountsFromTheCurrentPositionAndStaysThere)
{
    Scan scan(join({filled(70000), nullPackets(20)}));
    Scan lost(filled(120000));
    std::uint32_t offset = 0;
    for (Scan* one : {&scan, &lost}) {
        one->startOffset = 4711;
        ASSERT_TRUE(one->file.moveTo(1234));
        EXPECT_EQ(one->findSyncInFile(offset), one == &scan);
        EXPECT_EQ(one->file.position(), 1234);
        EXPECT_EQ(offset, 70000U - 1234U);
        EXPECT_EQ(one->rewindToData(), one == &scan);
        EXPECT_EQ(one->startOffset, one == &scan ? 70000U : 0U);
        EXPECT_EQ(one->file.position(), one->startOffset);
    }
}

/// Null packets with some replaced. A block of the table scans holds 175 packets and looks at 174 of them.
Data fileWith(std::initializer_list<std::pair<std::size_t, Data>> replacements, std::size_t packets = 900)
{
    Data whole = nullPackets(packets);
    for (const auto& [index, bytes] : replacements)
        std::copy(bytes.begin(), bytes.end(), whole.begin() + static_cast<std::ptrdiff_t>(index * kPacket));
    return whole;
}

/// What the random tables of the comparison with a plain selection do not reach, or as a rule of its own.
TEST(ProgramTables, Walk)
{
    const Data oneProgram = patPacket({{1, 0x100}});
    const Data ownPids = patPacket({{1, 0x100}, {2, 0x200}, {3, 0x300}});
    const Data shared = patPacket({{1, 0x100}, {2, 0x100}});
    const Data map1 = pmtPacket(0x100, 1, {{2, 0x11}, {3, 0x12}, {4, 0x11}});
    const Data map2 = pmtPacket(0x200, 2, {{2, 0x21}});
    const Data shared2 = pmtPacket(0x100, 2, {{2, 0x21}});
    // Sections that name programs the PAT does not have: their streams are never folded and show each reading.
    const Data foreign1 = pmtPacket(0x100, 99, {{2, 0x11}});
    const Data foreign2 = pmtPacket(0x200, 98, {{2, 0x21}});
    using Streams = std::map<std::pair<std::uint16_t, std::uint16_t>, Pids>;  // by PMT PID and program
    const Streams first{{{0x100, 1}, {0x11, 0x12}}};
    const struct
    {
        const char* fault;
        Data content;
        Streams expected;  ///< empty: the search fails
    } cases[] = {
        {"a PAT at the file's end is not reached", fileWith({{898, oneProgram}, {3, map1}}), first},
        {"the file's very last packet is looked at", fileWith({{899, oneProgram}, {3, map1}}), {}},
        {"programs without any map are accepted, or searched for ever", fileWith({{0, ownPids}}), {}},
        {"the wrapped walk of a long file does not end at the first map",
         fileWith({{0, ownPids}, {200, foreign1}, {400, foreign2}}),
         {{{0x100, 99}, {0x11, 0x11}}, {{0x200, 98}, {0x21}}}},
        {"the wrapped walk of a short file ends before the list does, or begins a third time",
         fileWith({{0, ownPids}, {2, foreign1}, {4, foreign2}}, 20),
         {{{0x100, 99}, {0x11, 0x11}}, {{0x200, 98}, {0x21, 0x21}}}},
        {"the blocks of a search by PID overlap", fileWith({{0, oneProgram}, {349, map1}}), {}},
        // 186 bytes back, the second block ends 2 bytes into packet 349 and the third has it whole.
        {"the blocks of a search by number do not overlap, or by more than 186 bytes",
         fileWith({{0, shared}, {174, map1}, {349, shared2}}),
         {{{0x100, 2}, {0x21}}}},
        {"later programs that share a PID are searched by number",
         fileWith({{0, patPacket({{1, 0x100}, {2, 0x200}, {3, 0x200}})},
                   {2, map1},
                   {3, pmtPacket(0x200, 3, {{2, 0x31}})},
                   {9, map2}}),
         {{{0x100, 1}, {0x11, 0x12}}, {{0x200, 3}, {0x31}}}},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.fault);
        Scan scan(test.content);
        EXPECT_EQ(scan.scanProgramTables(), !test.expected.empty());
        Streams found;
        for (const PsiEntry& stream : scan.streamList) {
            if (stream.streamType != 0)
                found[{stream.pmtPid, stream.programNumber}].push_back(stream.pid);
        }
        EXPECT_TRUE(found == test.expected || test.expected.empty());
    }
}

TEST(ProgramTables, StopFlagAndOddBuffers)
{
    const Data content = fileWith({{0, patPacket({{1, 0x100}, {2, 0x100}})}, {5, pmtPacket(0x100, 1, {{2, 0x11}})}});
    Scan stopped(content);
    stopped.abortScan = true;
    EXPECT_FALSE(stopped.scanProgramTables());

    for (const std::uint32_t size : {0U, 1U, 99U, 100U, 187U, 287U, 288U, 1040U, 1041U}) {
        Scan scan(content);
        scan.setReadBufferSize(size);
        // five packets and a byte are needed to find one's footing in a block, which is 100 bytes less
        EXPECT_EQ(scan.scanProgramTables(), size > 1040) << size;
    }
    CFileScan closed;
    EXPECT_FALSE(closed.scanProgramTables() || closed.detectFilePacketSize() || closed.rewindToData());
}

}  // namespace
}  // namespace zarnow::test
