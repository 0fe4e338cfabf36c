// Samples in every environment: with buffers of any size, as packets of 188 and of 192 bytes, behind
// garbage, and with the file ending anywhere. What is found must be what a plain selection finds, byte for byte: one
// that makes every search from the file's beginning, reads every block in order, and keeps nothing. Random streams are
// compared likewise in tests/fuzz.

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <unistd.h>

#include "tests/robustness/samples.h"
#include "tests/support/difficult_files.h"
#include "tests/support/golden.h"
#include "tests/support/plain_selection.h"
#include "tests/support/temporary_file.h"
#include "tests/support/transport_stream.h"

namespace zarnow::test {
namespace {

TEST(Golden, FactsOfEverySample)
{
    for (const auto& [name, packets] : samples()) {
        const TemporaryFile file(packets);
        const std::string facts = factsOf(file.path());
        EXPECT_EQ(facts, goldenText(ZARNOW_TEST_DATA "golden/" + name + ".txt", facts)) << name;
    }
}

/// Buffer size, bytes of garbage before the first packet, and whether packets have 192 bytes.
using Environment = std::tuple<std::uint32_t, std::size_t, bool>;

Data contentIn(const Environment& environment, const Data& packets)
{
    const auto& [bufferSize, garbage, withPrefixes] = environment;
    return join({filled(garbage, 0x11), withPrefixes ? timed(packets) : packets});
}

/// Loads one file and holds everything found in it against the plain selection's finds.
/// @return all facts but those that depend on the environment; empty when the file was not analysed
std::string expectSame(SelectionPair& pair, const Environment& environment, const Data& content)
{
    const auto& [bufferSize, garbage, withPrefixes] = environment;
    const TemporaryFile file(content);
    pair.setReadBufferSize(bufferSize);
    pair.load(file.path().c_str());
    EXPECT_EQ(pair.difference(), "");
    CProgramSelection& selection = pair.selection;
    if (!selection.analysed)
        return {};
    EXPECT_EQ(selection.packetSize, withPrefixes ? kTimedPacketSize : kPacketSize);
    EXPECT_EQ(selection.startOffset, garbage + (withPrefixes ? 4 : 0));
    EXPECT_EQ(selection.file.position(), selection.startOffset);
    EXPECT_EQ(pair.differenceInPrograms(), "");
    return factsOf(file.path(), bufferSize, true);
}

class Environments : public testing::TestWithParam<Environment>
{
};

/// Each in turn with the same selection, so that none may depend on what was loaded before. The samples that ffmpeg
/// makes are there when tests/run_tests.py runs this.
TEST_P(Environments, EverySample)
{
    constexpr std::size_t kAhead = 1000;  // bytes of packets that the search for the first one needs, and a few more
    static std::map<std::pair<std::string, bool>, std::string> expected;  // by name and whether timed
    const auto& [bufferSize, garbage, withPrefixes] = GetParam();
    static Samples all = madeSamples();
    all.insert(samples().begin(), samples().end());
    SelectionPair pair;
    for (const auto& [name, packets] : all) {
        SCOPED_TRACE(name);
        const std::string found = expectSame(pair, GetParam(), contentIn(GetParam(), packets));
        EXPECT_EQ(!found.empty(), garbage + kAhead < bufferSize * 3) << "three buffers are looked into";
        if (!found.empty() && bufferSize == kDefaultReadBufferSize) {
            EXPECT_EQ(found, expected.try_emplace({name, withPrefixes}, found).first->second);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, Environments,
                         testing::Combine(testing::Values(33000, 2001, 3000, 7777, 32768, 65536, 1 << 20),
                                          testing::Values(0, 77, 5000, 120000), testing::Bool()));

TEST(FilesThatEndAnywhere, AreAnalysedAsFarAsTheyGo)
{
    constexpr std::size_t kCuts = 60;
    for (const auto& [name, packets] : samples()) {
        for (const Environment& environment :
             {Environment{2001, 0, false}, {2001, 0, true}, {33000, 0, false}, {33000, 0, true}}) {
            const Data content = contentIn(environment, packets);
            for (std::size_t cut = 0; cut < kCuts && !HasFailure(); ++cut) {
                // The first ones lie close together, around the tables; the others anywhere in their packets.
                const std::size_t size =
                    cut < kCuts / 2 ? 2000 + cut * cut : content.size() * (cut * 2 - kCuts) / kCuts + cut * 37 % 190;
                SCOPED_TRACE(name + testing::PrintToString(environment) + ", cut at " + std::to_string(size));
                SelectionPair pair;
                const bool analysed = !expectSame(pair, environment, firstBytes(content, size)).empty();
                EXPECT_TRUE(analysed || size < 2000 + kCuts) << "the packets up to the tables";
            }
        }
    }
}

TEST(DifficultFiles, AreLoadedAsPlainly)
{
    for (const DifficultFile& file : difficultFiles()) {
        const TemporaryFile source(file.content(200'000));
        SelectionPair pair;
        pair.load(source.path().c_str());
        EXPECT_EQ(pair.difference(), "") << file.name;
    }
}

std::size_t residentBytes()
{
    std::size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages >> pages;
    return pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

TEST(Buffers, OfAnySize)
{
    const TemporaryFile file(samples().at("two-programs"));
    CProgramSelection selection;
    for (const std::uint32_t size : {0U, 1U, 187U, 188U, 375U, 376U, 2000U, 2001U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        SCOPED_TRACE(size);
        selection.setReadBufferSize(kDefaultReadBufferSize);
        selection.loadFile(file.path().c_str());
        const std::size_t before = residentBytes();
        selection.setReadBufferSize(size);
        if (selection.readBuffer == nullptr)
            GTEST_SKIP() << "no " << size << " bytes of address space here";
        EXPECT_TRUE(selection.selectProgram(0)) << "of the file that is loaded";
        EXPECT_EQ(selection.loadFile(nullptr).status, LoadResult::Status::loaded);
        EXPECT_EQ(selection.analysed, size > 2000) << "fewer bytes do not tell the packet size";
        EXPECT_TRUE(!selection.analysed || (selection.durationSeconds == 0.0) == (size > 0x3FFFFFFF))
            << "two buffers back are no 32-bit distance";
        EXPECT_LT(residentBytes(), before + (64U << 20)) << "a buffer is written to no further than the file goes";
    }
}

}  // namespace
}  // namespace zarnow::test
