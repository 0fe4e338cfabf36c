// Files whose positions no 32-bit distance reaches: a real stream at the start and at the end, zeros between.

#include <gtest/gtest.h>

#include <ctime>
#include <fstream>
#include <sys/stat.h>

#include "tests/robustness/samples.h"
#include "tests/support/temporary_file.h"
#include "tests/support/transport_stream.h"
#include "tests/support/video_headers.h"

namespace zarnow::test {
namespace {

constexpr std::uintmax_t k4GiB = std::uintmax_t{1} << 32;

class LargeFiles : public testing::Test
{
protected:
    void SetUp() override
    {
        std::filesystem::resize_file(file.path(), 16U << 20);  // enough to tell whether a hole takes space
        struct stat status = {};
        if (stat(file.path().c_str(), &status) != 0 || status.st_blocks != 0)
            GTEST_SKIP() << "no sparse files in " << file.path();
    }

    /// Loads a file that takes the disk space of its ends alone. @param longest  seconds that it may take
    void load(const Data& head, std::uintmax_t size, const Data& tail = {}, double longest = 2.0)
    {
        file.write(head);
        std::filesystem::resize_file(file.path(), size - tail.size());
        std::ofstream(file.path(), std::ios::binary | std::ios::app)
            .write(reinterpret_cast<const char*>(tail.data()), static_cast<std::streamsize>(tail.size()));
        const std::clock_t begin = std::clock();  // of the processor, which others may be busy with
        EXPECT_EQ(selection.loadFile(file.path().c_str()).status, LoadResult::Status::loaded);
        EXPECT_LT(static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC, longest);
        EXPECT_EQ(selection.fileSize, static_cast<std::int64_t>(size));
        EXPECT_EQ(selection.file.position(), selection.startOffset);
    }

    const TemporaryFile file{{}, directoryInMemory()};
    CProgramSelection selection;
};

/// All headers of a sample; the other half has the last time stamps.
Data firstHalf(const Data& packets)
{
    return firstBytes(packets, packets.size() / kPacket / 2 * kPacket);
}

TEST_F(LargeFiles, AllButTheDurationIsReadFromTheStart)
{
    for (const auto& [name, packets] : samples()) {
        const Data head = firstHalf(packets);
        const TemporaryFile small(packets);
        CProgramSelection whole;
        whole.loadFile(small.path().c_str());
        for (const std::uintmax_t size : {std::uintmax_t{2'100'000'000}, std::uintmax_t{4'200'000'000}, k4GiB + 3,
                                          k4GiB + 4, std::uintmax_t{20'000'000'000}}) {
            SCOPED_TRACE(testing::Message() << name << ", " << size << " bytes");
            load(head, size, bytesFrom(packets, head.size()));
            // The way back from the end begins 4 bytes before it, which has to be less than 4 GiB.
            const bool measured = size < k4GiB + 4;
            EXPECT_EQ(factsOf(file.path(), kDefaultReadBufferSize, true),
                      factsOf(small.path(), kDefaultReadBufferSize, true));
            EXPECT_EQ(selection.durationSeconds, measured ? whole.durationSeconds : 0.0);
        }
    }
}

TEST_F(LargeFiles, TheZerosAreNoTrouble)
{
    load(nullPackets(40), 20'000'000'000, {}, 15.0);
    EXPECT_FALSE(selection.analysed);
    // Without a stream at the end the way back goes on to the one at the start.
    load(firstHalf(samples().at("mpeg2")), 300'000'000);
    EXPECT_NEAR(selection.durationSeconds, 1.3, 0.3) << "half of three seconds; not every block is read";
}

TEST_F(LargeFiles, WhatLiesBeyond4GiBIsReadOnTo)
{
    constexpr std::uintmax_t kSize = k4GiB + 10'000'000;
    const Data maps = join({pmtPacket(0x100, 1, {{0x02, 0x200}}), pmtPacket(0x100, 2, {{0x02, 0x300}, {0x81, 0x301}})});
    const Data tail = join({repeat(join({maps, nullPackets(20)}), 4), mpegVideoPacket(0x200), mpegVideoPacket(0x300),
                            ac3Packet(0x301), nullPackets(20)});
    load(join({patPacket({{1, 0x100}, {2, 0x100}}), nullPackets(40)}), kSize, tail, 15.0);  // it is read four times
    ASSERT_TRUE(selection.analysed);
    EXPECT_EQ(selection.programList.size(), 2U);
    EXPECT_EQ(selection.countStreams(0x100, 2), 2U);
    EXPECT_EQ(selection.videoStreams[0].pid, 0x200);
    EXPECT_EQ(selection.videoStreams[0].filePosition, kSize - k4GiB)
        << "the move back from the block's end fails; that end's low half is kept";
    EXPECT_EQ(selection.durationSeconds, 0.0);
    ASSERT_TRUE(selection.selectProgram(1));
    EXPECT_EQ(selection.videoStreams[0].pid, 0x300);
    EXPECT_EQ(selection.audioStreamCount, 0U) << "audio is looked for in the first 24 blocks";
}

}  // namespace
}  // namespace zarnow::test
