// Moves in the open file, and loading. What the searches of a load find is compared with a plain one's in
// tests/robustness and tests/fuzz.

#include <gtest/gtest.h>

#include <ctime>

#include "esparse/program_selection.h"
#include "tests/support/difficult_files.h"
#include "tests/support/temporary_file.h"
#include "tests/support/transport_stream.h"
#include "tests/support/video_headers.h"

namespace zarnow::test {
namespace {

using Numbers = std::vector<std::uint16_t>;

struct Selection : CProgramSelection
{
    LoadResult::Status load(const Data& content)
    {
        const TemporaryFile source(content);
        return loadFile(source.path().c_str()).status;
    }

    Numbers selected;  ///< with every configuration of the demultiplexer

protected:
    void configureDemultiplexer() override { selected.push_back(currentProgramNumber); }
};

/// Program n has its map on PID 0x100 + n and one video stream on PID 0x10 + n, playable or not.
Data programFile(const std::vector<bool>& playable)
{
    std::vector<Program> programs;
    Data packets;
    for (std::size_t i = 0; i < playable.size(); ++i) {
        const auto number = static_cast<std::uint16_t>(1 + i);
        const auto mapPid = static_cast<std::uint16_t>(0x100 + number), pid = static_cast<std::uint16_t>(0x10 + number);
        programs.push_back({number, mapPid});
        packets = join({packets, pmtPacket(mapPid, number, {{2, pid}}), playable[i] ? mpegVideoPacket(pid) : Data{}});
    }
    return join({patPacket(programs), packets, nullPackets(12)});
}

TEST(TransportFile, MovesWithin32Bits)
{
    constexpr std::int64_t k4GiB = std::int64_t{1} << 32;
    const TemporaryFile source;
    std::filesystem::resize_file(source.path(), k4GiB + 1000);
    CTransportFile file;
    EXPECT_EQ(file.open(source.path().c_str()), 0U);
    EXPECT_TRUE(file.moveTo(100));
    EXPECT_FALSE(file.moveTo(-1) || file.moveBy(-101) || file.moveFromEnd(-1000));
    EXPECT_EQ(file.position(), 100) << "a failed move leaves the position";
    EXPECT_TRUE(file.moveFromEnd(-1001));
    EXPECT_EQ(file.position(), k4GiB - 1);
    EXPECT_FALSE(file.moveBy(1));
    std::uint8_t bytes[100];
    std::uint32_t count = 0;
    EXPECT_TRUE(file.read(bytes, 100, count)) << "reading on knows no limit";
    EXPECT_FALSE(file.moveBy(0) || file.moveBy(-99)) << "the position itself does not fit";
    EXPECT_EQ(file.position(), k4GiB + 99);
    EXPECT_TRUE(file.moveBy(-100));
    EXPECT_FALSE(CTransportFile().read(bytes, 100, count));
}

TEST(Load, FilesThatCannotBeAnalysed)
{
    for (const Data& content : {Data{}, firstBytes(programFile({true}), 2000), nullPackets(50)}) {
        SCOPED_TRACE(content.size());
        const bool empty = content.empty();
        Selection filter;
        ASSERT_EQ(filter.load(timed(programFile({true}))), LoadResult::Status::loaded);
        ASSERT_EQ(filter.packetSize, 192U);
        filter.avcStreamInfo.hrdBitRate = 4711;
        EXPECT_EQ(filter.load(content), empty ? LoadResult::Status::noData : LoadResult::Status::loaded);
        EXPECT_FALSE(filter.analysed);
        EXPECT_TRUE(filter.programList.empty() || !empty) << "the earlier file's programs";
        EXPECT_EQ(filter.packetSize, empty ? 192U : 188U);
        EXPECT_EQ(filter.startOffset, 0U);
        EXPECT_EQ(filter.file.position(), 0);
        EXPECT_EQ(filter.avcStreamInfo.hrdBitRate, 0U) << "the next stream's figures would not be taken";
    }
    Selection filter;
    EXPECT_EQ(filter.loadFile("/no/such.ts").status, LoadResult::Status::cannotOpen);
    EXPECT_EQ(filter.loadFile(nullptr).status, LoadResult::Status::noData) << "no name and no open file";
    EXPECT_TRUE(filter.selected.empty());
}

TEST(Load, PrunesUnplayableProgramsAndSelectsTheFirst)
{
    const struct
    {
        const char* fault;
        std::vector<bool> playable;
        Numbers expected;
        Numbers selected;  ///< in this order, the end of the load included
    } cases[] = {
        {"a single program is pruned", {false}, {1}, {1, 1}},
        {"the walk does not begin again after a removal", {true, false, true}, {1, 3}, {1, 2, 1, 3, 1, 1}},
        {"the last one left is kept unplayable", {false, false}, {}, {1, 2, 2}},
        {"the first program is kept", {false, true}, {2}, {1, 2, 2, 2}},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.fault);
        Selection filter;
        EXPECT_EQ(filter.load(programFile(test.playable)), LoadResult::Status::loaded);
        Numbers numbers;
        for (const PsiEntry& program : filter.programList)
            numbers.push_back(program.programNumber);
        EXPECT_EQ(numbers, test.expected);
        EXPECT_EQ(filter.selected, test.selected);
        filter.abortScan = true;
        EXPECT_EQ(filter.loadFile(nullptr).status, LoadResult::Status::loaded) << "the file that is still open";
        EXPECT_FALSE(filter.analysed);
    }
}

TEST(Load, ListsNoMoreStreamsThanThereAreRecords)
{
    std::vector<Stream> streams;
    Data packets;
    for (std::uint16_t pid = 0x11; pid <= 0x19; ++pid) {
        const auto audioPid = static_cast<std::uint16_t>(pid + 0x10);
        streams.insert(streams.end(), {{2, pid}, {6, audioPid}});
        append(packets, join({mpegVideoPacket(pid), ac3Packet(audioPid)}));
    }
    Selection filter;
    filter.load(join({patPacket({{1, 0x100}}), pmtPacket(0x100, 1, streams), packets, nullPackets(12)}));
    EXPECT_EQ(std::tuple(filter.videoStreamCount, filter.videoStreams[4].pid), std::tuple(5U, 0x15));
    EXPECT_EQ(std::tuple(filter.audioStreamCount, filter.audioStreams[7].pid), std::tuple(8U, 0x28));
}

TEST(Load, LooksForVideoWhereThreeBytesFollowThePacket)
{
    for (const std::size_t behind : {2U, 3U}) {  // the packet begins the second block
        const TemporaryFile source(join({nullPackets(173), mpegVideoPacket(0x11), filled(behind)}));
        CStreamProbe probe;
        EXPECT_EQ(probe.file.open(source.path().c_str()), 0U);
        EXPECT_EQ(probe.probeVideoStream(0x11, 0), behind == 3) << behind;
    }
}

TEST(Load, EndsWithinASecondWhateverTheFile)
{
    // Sixty programs of hundreds of streams each. Thirty are playable by their last stream, so that every removal of
    // one of the others makes the walk over them begin again.
    for (const int type : {0x02, 0x1B, 0x81}) {
        const auto streamType = static_cast<std::uint8_t>(type);
        std::vector<Program> programs;
        Data maps;
        for (std::uint16_t number = 1; number <= 60; ++number) {
            programs.push_back({number, 0x100});
            append(maps, endlessMap(0x100, number, streamType, number <= 30 ? 0x1000 : 0x1400));
        }
        const Data playable = type == 0x81 ? ac3Packet(0x1100) : mpegVideoPacket(0x1100);
        Selection filter;
        const std::clock_t begin = std::clock();  // of the processor, which others may be busy with
        filter.load(join({patPacket(programs), maps, nullPackets(4000), playable, nullPackets(2)}));
        EXPECT_LT(std::clock() - begin, CLOCKS_PER_SEC) << type << ": a file of 1 MB";
    }
}

}  // namespace
}  // namespace zarnow::test
