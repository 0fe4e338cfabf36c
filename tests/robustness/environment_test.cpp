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

struct Environment
{
    std::uint32_t bufferSize = kDefaultReadBufferSize;
    bool timed = false;
    std::size_t garbage = 0;

    Data content(const Data& packets) const
    {
        return join({filled(garbage, 0x11), timed ? test::timed(packets) : packets});
    }
};

void PrintTo(const Environment& environment, std::ostream* out)
{
    *out << "buffers of " << environment.bufferSize << (environment.timed ? ", timed" : "") << " behind "
         << environment.garbage;
}

/// Loads one file and holds everything found in it against the plain selection's finds.
/// @return all facts but those that depend on the environment; empty when the file was not analysed
std::string expectSame(SelectionPair& pair, const Environment& environment, const Data& content)
{
    const TemporaryFile file(content);
    pair.load(file.path().c_str());
    EXPECT_EQ(pair.difference(), "");
    CProgramSelection& selection = pair.selection;
    if (!selection.analysed)
        return {};
    const std::size_t start = environment.garbage + (environment.timed ? 4 : 0);
    EXPECT_EQ(selection.packetSize, environment.timed ? kTimedPacketSize : kPacketSize);
    EXPECT_EQ(selection.startOffset, start);
    EXPECT_EQ(selection.file.position(), static_cast<std::int64_t>(start));
    EXPECT_EQ(pair.differenceInPrograms(), "");
    return placelessFactsOf(file.path(), environment.bufferSize);
}

/// Each in turn with the same selection, so that none may depend on what was loaded before.
void expectSameEverywhere(const Samples& all)
{
    constexpr std::size_t kAhead = 1000;  // bytes of packets that the search for the first one needs, and a few more
    std::map<std::pair<std::string, bool>, std::string> expected;  // by name and whether timed
    SelectionPair pair;
    for (const std::uint32_t bufferSize : {33000U, 2001U, 3000U, 7777U, 32768U, 65536U, 1U << 20}) {
        for (const std::size_t garbage : {0U, 77U, 5000U, 120000U}) {
            for (const bool timed : {false, true}) {
                for (const auto& [name, packets] : all) {
                    const Environment environment{bufferSize, timed, garbage};
                    SCOPED_TRACE(name + ": " + testing::PrintToString(environment));
                    pair.setReadBufferSize(bufferSize);
                    const std::string found = expectSame(pair, environment, environment.content(packets));
                    EXPECT_EQ(!found.empty(), garbage + kAhead < bufferSize * 3) << "three buffers are looked into";
                    if (!found.empty() && bufferSize == kDefaultReadBufferSize) {
                        EXPECT_EQ(found, expected.try_emplace({name, timed}, found).first->second);
                    }
                    if (testing::Test::HasFailure())
                        return;
                }
            }
        }
    }
}

TEST(Environments, EverySample)
{
    expectSameEverywhere(samples());
}

TEST(Environments, FilesMadeByFfmpeg)
{
    const Samples made = madeSamples();
    if (made.empty())
        GTEST_SKIP() << "tests/run_tests.py makes them in " << ZARNOW_MADE_SAMPLES;
    expectSameEverywhere(made);
}

TEST(Environments, FilesThatEndAnywhere)
{
    constexpr std::size_t kCuts = 60;
    for (const auto& [name, packets] : samples()) {
        for (const Environment& environment :
             {Environment{2001, false}, Environment{2001, true}, Environment{33000, false}, Environment{33000, true}}) {
            const Data content = environment.content(packets);
            bool before = false;  // whether a shorter file was analysed
            for (std::size_t cut = 0; cut < kCuts && !HasFailure(); ++cut) {
                // The first ones lie close together, around the tables; the others anywhere in their packets.
                const std::size_t size =
                    cut < kCuts / 2 ? 2000 + cut * cut : content.size() * (cut * 2 - kCuts) / kCuts + cut * 37 % 190;
                SCOPED_TRACE(testing::PrintToString(environment) + ", cut at " + std::to_string(size));
                SelectionPair pair;
                pair.setReadBufferSize(environment.bufferSize);
                const bool analysed = !expectSame(pair, environment, firstBytes(content, size)).empty();
                EXPECT_TRUE(size > 2000 || !analysed);
                EXPECT_TRUE(size < 2000 + kCuts || analysed || !before) << "a shorter file was analysed";
                before = analysed;
            }
            EXPECT_TRUE(before) << name;
        }
    }
}

TEST(Environments, DifficultFiles)
{
    for (const DifficultFile& file : difficultFiles()) {
        const TemporaryFile source;
        file.write(source.path(), 200'000);
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

TEST(Environments, BuffersOfAnySize)
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
