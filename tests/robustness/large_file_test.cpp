// Files whose positions no 32-bit distance reaches: a real stream at the start and at the end, zeros between.

#include <gtest/gtest.h>

#include <chrono>
#include <regex>

#include "tests/robustness/facts.h"
#include "tests/robustness/samples.h"
#include "tests/robustness/sparse_file.h"
#include "tests/support/transport_stream.h"
#include "tests/support/video_headers.h"

namespace zarnow::test {
namespace {

constexpr std::uintmax_t k4GiB = std::uintmax_t{1} << 32;
constexpr double kLoadSeconds = 2.0;

/// The first half, which has all headers, and the second one, which has the last time stamps.
struct Halves
{
    explicit Halves(const Data& packets)
        : head(firstBytes(packets, packets.size() / kPacket / 2 * kPacket)), tail(bytesFrom(packets, head.size()))
    {
    }

    Data head;
    Data tail;
};

/// What a file says that is as long as need be: without the bit rates, and without durations where none is measured.
std::string factsOf(CProgramSelection& selection, bool measured)
{
    const std::string facts = std::regex_replace(allFacts(selection), std::regex(" .* bit/s.*\n"), "");
    return measured ? facts : std::regex_replace(facts, std::regex("[0-9.]+ seconds"), "0.000000 seconds");
}

/// The bit rate of a stream that does not tell its own.
std::uint32_t estimate(std::uintmax_t size, double seconds)
{
    constexpr double kShare = 0.88;
    return seconds > 0
               ? static_cast<std::uint32_t>(static_cast<std::int64_t>(static_cast<double>(size) / seconds * 8 * kShare))
               : 0;
}

double secondsToLoad(CProgramSelection& selection, const SparseFile& file)
{
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(selection.loadFile(file.path()).status, LoadResult::Status::loaded);
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
    testing::Test::RecordProperty("seconds", std::to_string(seconds.count()));
    return seconds.count();
}

TEST(LargeFiles, AllButTheDurationIsReadFromTheStart)
{
    for (const char* name : {"mpeg2", "two-programs", "every-type"}) {
        const Halves halves(sample(name).packets);
        const TemporaryFile small(sample(name).packets);
        CProgramSelection selection;
        selection.loadFile(small.path().c_str());
        for (const std::uintmax_t size : {std::uintmax_t{2'100'000'000}, std::uintmax_t{4'200'000'000}, k4GiB + 3,
                                          k4GiB + 4, std::uintmax_t{20'000'000'000}}) {
            SCOPED_TRACE(testing::Message() << name << ", " << size << " bytes");
            const SparseFile large(halves.head, size, halves.tail);
            if (!large.valid())
                GTEST_SKIP() << "no sparse files in " << large.path();
            CProgramSelection again;
            EXPECT_LT(secondsToLoad(again, large), kLoadSeconds);
            EXPECT_TRUE(again.analysed);
            EXPECT_EQ(again.fileSize, static_cast<std::int64_t>(size));
            // The way back from the end begins 4 bytes before it, which has to be less than 4 GiB.
            const bool measured = size < k4GiB + 4;
            EXPECT_EQ(factsOf(again, true), factsOf(selection, measured));
            EXPECT_EQ(again.file.position(), again.startOffset);
            AvcStreamInfo info;
            if (name == std::string("every-type")) {
                EXPECT_TRUE(again.readVideoInfo(info));
                EXPECT_EQ(info.hrdBitRate, estimate(size, again.durationSeconds));
            }
        }
    }
}

TEST(LargeFiles, AStampIsLookedForThroughTheZeros)
{
    // Without a stream at the end the way back goes on to the one at the start.
    const Halves halves(sample("mpeg2").packets);
    const SparseFile large(halves.head, 300'000'000);
    if (!large.valid())
        GTEST_SKIP() << "no sparse files in " << large.path();
    CProgramSelection selection;
    EXPECT_LT(secondsToLoad(selection, large), kLoadSeconds);
    EXPECT_NEAR(selection.durationSeconds, 1.3, 0.3) << "half of three seconds; not every block is read";
}

TEST(LargeFiles, WhatLiesBeyond4GiBIsReadOnTo)
{
    constexpr std::uintmax_t kSize = k4GiB + 10'000'000;
    const Data programs = patPacket({{1, 0x100}, {2, 0x100}});
    const Data maps = join({pmtPacket(0x100, 1, {{0x02, 0x200}}), pmtPacket(0x100, 2, {{0x02, 0x300}, {0x81, 0x301}})});
    const Data tail = join({repeat(join({maps, nullPackets(20)}), 4), mpegVideoPacket(0x200), mpegVideoPacket(0x300),
                            ac3Packet(0x301), nullPackets(20)});
    const SparseFile large(join({programs, nullPackets(40)}), kSize, tail);
    if (!large.valid())
        GTEST_SKIP() << "no sparse files in " << large.path();
    CProgramSelection selection;
    EXPECT_LT(secondsToLoad(selection, large), 15.0) << "for a file that is read four times";
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
    EXPECT_EQ(selection.file.position(), selection.startOffset);
}

TEST(LargeFiles, NothingInThemIsFoundOnce)
{
    const SparseFile large(nullPackets(40), 20'000'000'000);
    if (!large.valid())
        GTEST_SKIP() << "no sparse files in " << large.path();
    CProgramSelection selection;
    EXPECT_LT(secondsToLoad(selection, large), 15.0);
    EXPECT_FALSE(selection.analysed);
    EXPECT_EQ(selection.file.position(), 0);
}

}  // namespace
}  // namespace zarnow::test
