// Every sample in every environment: with buffers of any size, as packets of 188 and of 192 bytes, behind garbage, and
// with the file ending anywhere. What is found must be what a plain selection finds, byte for byte, and nothing that
// the sample does not hold.

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>

#include "tests/robustness/facts.h"
#include "tests/robustness/samples.h"
#include "tests/support/plain_selection.h"
#include "tests/support/temporary_file.h"
#include "tests/support/transport_stream.h"

namespace zarnow::test {
namespace {

/// ZARNOW_WRITE_GOLDEN in the environment makes the test write what it would compare with.
TEST(Golden, FactsOfEverySample)
{
    for (const Sample& one : samples()) {
        SCOPED_TRACE(one.name);
        const TemporaryFile file(one.packets);
        CProgramSelection selection;
        ASSERT_EQ(selection.loadFile(file.path().c_str()).status, LoadResult::Status::loaded);
        const std::string facts = allFacts(selection);
        const std::string path = ZARNOW_TEST_DATA "golden/" + one.name + ".txt";
        if (std::getenv("ZARNOW_WRITE_GOLDEN") != nullptr)
            std::ofstream(path, std::ios::binary) << facts;
        std::ostringstream golden;
        golden << std::ifstream(path, std::ios::binary).rdbuf();
        EXPECT_EQ(facts, golden.str());
    }
}

struct Environment
{
    std::uint32_t bufferSize = kDefaultReadBufferSize;
    bool timed = false;
    std::size_t garbage = 0;

    std::size_t start() const { return garbage + (timed ? 4 : 0); }
    Data content(const Sample& sample) const
    {
        return join({filled(garbage, 0x11), timed ? test::timed(sample.packets) : sample.packets});
    }
    std::string text() const
    {
        return "buffers of " + std::to_string(bufferSize) + (timed ? ", timed" : "") + " behind " +
               std::to_string(garbage);
    }
};

/// What does not depend on the environment.
struct Facts
{
    /// Selects every program in turn.
    explicit Facts(SelectionPair& pair) : streams(pair.selection.streamList.size())
    {
        CProgramSelection& selection = pair.selection;
        std::istringstream tables(tablesText(selection));
        for (std::string line; std::getline(tables, line);)
            texts.insert(line);
        for (std::size_t i = 0; i < selection.programList.size(); ++i) {
            AvcStreamInfo info;
            pair.select(i);
            add(selection.videoStreams);
            add(selection.audioStreams);
            if (pair.readVideoInfo(info))
                structures.insert(programName(selection.currentProgramNumber) + structureText(info));
            EXPECT_EQ(pair.difference(), "") << "program " << i;
        }
    }

    template <class Records>
    void add(const Records& records)
    {
        for (const auto& record : records) {
            if (record.pid != 0)
                texts.insert(mediaText(record));
        }
    }

    std::size_t streams;
    std::set<std::string> texts;       // of the tables and of headers
    std::set<std::string> structures;  // of AVC
};

/// What the sample holds, as found in the environment that its golden text is about, or as timed packets.
Facts reference(const Sample& sample, bool timed)
{
    const TemporaryFile file(Environment{.timed = timed}.content(sample));
    SelectionPair pair;
    pair.load(file.path().c_str());
    return Facts(pair);
}

template <class Set>
void expectSubset(const Set& part, const Set& whole)
{
    for (const auto& one : part)
        EXPECT_TRUE(whole.contains(one)) << one;
}

/// Loads one file and holds everything found in it against the reference. @param whole  nothing is cut off the file
/// @return whether it was analysed
bool expectSame(SelectionPair& pair, const Facts& expected, const Environment& environment, const Data& content,
                bool whole)
{
    const TemporaryFile file(content);
    pair.load(file.path().c_str());
    EXPECT_EQ(pair.difference(), "");
    const CProgramSelection& selection = pair.selection;
    if (!selection.analysed)
        return false;
    EXPECT_EQ(selection.packetSize, environment.timed ? kTimedPacketSize : kPacketSize);
    EXPECT_EQ(selection.startOffset, environment.start());
    EXPECT_EQ(selection.file.position(), static_cast<std::int64_t>(environment.start()));
    const Facts found(pair);
    expectSubset(found.texts, expected.texts);
    expectSubset(found.structures, expected.structures);
    if (whole) {
        EXPECT_EQ(found.streams, expected.streams);
        EXPECT_EQ(found.structures, expected.structures);
    }
    if (whole && environment.bufferSize == kDefaultReadBufferSize)
        expectSubset(expected.texts, found.texts);  // nothing may be overlooked
    return true;
}

TEST(Environments, AfterAnyOtherFile)
{
    for (const Sample& later : samples()) {
        for (const bool timed : {false, true}) {
            const Facts expected = reference(later, timed);
            for (const Sample& earlier : samples()) {
                SCOPED_TRACE(later.name + " after " + earlier.name);
                const Environment environment{.timed = timed};
                const TemporaryFile other(Environment{.timed = !timed}.content(earlier));
                SelectionPair pair;
                pair.load(other.path().c_str());
                expectSame(pair, expected, environment, environment.content(later), true);
            }
        }
    }
}

void expectSameEverywhere(const Sample& sample)
{
    constexpr std::size_t kAhead = 1000;  // bytes of packets that the search for the first one needs, and a few more
    for (const bool timed : {false, true}) {
        const Facts expected = reference(sample, timed);
        for (const std::uint32_t bufferSize : {2001U, 3000U, 7777U, 32768U, 33000U, 65536U, 1U << 20}) {
            for (const std::size_t garbage : {0U, 77U, 5000U, 120000U}) {
                const Environment environment{bufferSize, timed, garbage};
                SCOPED_TRACE(sample.name + ": " + environment.text());
                SelectionPair pair;
                pair.setReadBufferSize(bufferSize);
                EXPECT_EQ(expectSame(pair, expected, environment, environment.content(sample), true),
                          garbage + kAhead < bufferSize * 3)
                    << "three buffers are looked into";
                if (testing::Test::HasFailure())
                    return;
            }
        }
    }
}

TEST(Environments, EverySample)
{
    for (const Sample& one : samples())
        expectSameEverywhere(one);
}

TEST(Environments, FilesMadeByFfmpeg)
{
    const std::vector<Sample> made = madeSamples();
    if (made.empty())
        GTEST_SKIP() << "tests/run_tests.py makes them in " << ZARNOW_MADE_SAMPLES;
    for (const Sample& one : made)
        expectSameEverywhere(one);
}

TEST(Environments, FilesThatEndAnywhere)
{
    constexpr std::size_t kCuts = 60;
    for (const Sample& one : samples()) {
        for (const Environment& environment :
             {Environment{2001, false}, Environment{2001, true}, Environment{33000, false}, Environment{33000, true}}) {
            const Facts expected = reference(one, environment.timed);
            const Data content = environment.content(one);
            bool before = false;  // whether a shorter file was analysed
            for (std::size_t cut = 0; cut < kCuts && !HasFailure(); ++cut) {
                // The first ones lie close together, around the tables; the others anywhere in their packets.
                const std::size_t size =
                    cut < kCuts / 2 ? 2000 + cut * cut : content.size() * (cut * 2 - kCuts) / kCuts + cut * 37 % 190;
                SCOPED_TRACE(testing::Message() << one.name << ": " << environment.text() << ", cut at " << size);
                SelectionPair pair;
                pair.setReadBufferSize(environment.bufferSize);
                const bool analysed = expectSame(pair, expected, environment, firstBytes(content, size), false);
                EXPECT_TRUE(size > 2000 || !analysed);
                EXPECT_TRUE(size < 2000 + kCuts || analysed || !before) << "a shorter file was analysed";
                before = analysed;
            }
            EXPECT_TRUE(before) << one.name;
        }
    }
}

}  // namespace
}  // namespace zarnow::test
