// Reads, moves and allocations that fail, files that shrink and calls that are stopped, wherever in a load they do.

#include <gtest/gtest.h>

#include <new>

#include "tests/robustness/faults.h"
#include "tests/robustness/samples.h"
#include "tests/support/plain_selection.h"
#include "tests/support/temporary_file.h"
#include "tests/support/transport_stream.h"

namespace zarnow::test {
namespace {

using Kind = Fault::Kind;
using Lasting = Fault::Lasting;

struct Attempt
{
    const std::filesystem::path good;  ///< a sample's file
    bool byNumber;                     ///< how the first program is selected after the fault
    SelectionPair pair{};
    CProgramSelection& selection = pair.selection;
    bool struck = true;
    const TemporaryFile shrinking{};
    std::string facts{};
};

using Step = std::function<void(Attempt&)>;

struct FaultCase
{
    const char* name;
    Kind kind;
    Lasting lasting;
    Step prepare;
    Step run;    ///< with the fault armed
    Step check;  ///< beside what holds after every fault
    Step meanwhile = [](Attempt& attempt) { attempt.selection.abortScan = true; };
};

void nothing(Attempt&) {}

LoadResult::Status load(Attempt& attempt, const std::filesystem::path& path)
{
    return attempt.selection.loadFile(path.c_str()).status;
}

void tryToLoad(Attempt& attempt)
{
    load(attempt, attempt.good);
}

void loadGood(Attempt& attempt)
{
    EXPECT_EQ(load(attempt, attempt.good), LoadResult::Status::loaded);
}

void loadByPids(Attempt& attempt)
{
    attempt.selection.setDefaultStreams(0, 0x102, 2, 0x103, 0x81);
    loadGood(attempt);
}

void useSmallBuffer(Attempt& attempt)
{
    attempt.selection.setReadBufferSize(2001);
}

/// A selection reads next to nothing right after a load.
void loadAndForget(Attempt& attempt)
{
    loadGood(attempt);
    attempt.selection.setReadBufferSize(3000);
}

/// Selects every program, as long as it is not stopped, and reads the video facts.
void readFacts(Attempt& attempt)
{
    AvcStreamInfo info;
    for (std::uint32_t i = 0; attempt.selection.selectProgram(i) && !attempt.selection.abortScan; ++i)
        attempt.selection.readVideoInfo(info);
}

void noteFacts(Attempt& attempt)
{
    attempt.facts = factsOf(attempt.good);
}

void expectSameFacts(Attempt& attempt)
{
    EXPECT_EQ(factsOf(attempt.good), attempt.facts);
}

Step mayThrow(const Step& step)
{
    return [=](Attempt& attempt) {
        try {
            step(attempt);
        } catch (const std::bad_alloc&) {
        }
    };
}

/// What holds whatever went wrong.
void expectConsistent(const CProgramSelection& selection)
{
    std::uint32_t index = 0;
    EXPECT_TRUE(!selection.analysed || selection.programList.empty() || selection.findCurrentProgram(index));
    EXPECT_TRUE(selection.analysed || selection.startOffset == 0);
    EXPECT_LE(selection.videoStreamCount, selection.videoStreams.size());
    EXPECT_LE(selection.audioStreamCount, selection.audioStreams.size());
}

void expectGoodSelections(Attempt& attempt)
{
    PlainSelection& plain = attempt.pair.plain;
    plain.videoStreams = attempt.selection.videoStreams;  // earlier selections may leave fields behind
    plain.audioStreams = attempt.selection.audioStreams;
    EXPECT_EQ(attempt.pair.differenceInPrograms(attempt.byNumber), "");
}

/// That a search could not read, or had no memory, is forgotten with the next selection.
void expectNothingRemembered(Attempt& attempt)
{
    PlainSelection& plain = attempt.pair.plain;
    plain.setReadBufferSize(attempt.selection.readBufferSize);
    plain.plainLoad(attempt.good.c_str());
    plain.analysed = attempt.selection.analysed;
    plain.startOffset = attempt.selection.startOffset;
    plain.programList = attempt.selection.programList;
    plain.streamList = attempt.selection.streamList;
    plain.durationSeconds = attempt.selection.durationSeconds;
    plain.avcStreamInfo = attempt.selection.avcStreamInfo;
    expectGoodSelections(attempt);
}

void expectAtStart(Attempt& attempt)
{
    EXPECT_NE(attempt.selection.analysed, attempt.struck);
    EXPECT_EQ(attempt.selection.file.position(), attempt.selection.startOffset);
}

void expectNoHeaders(Attempt& attempt)
{
    const CProgramSelection& selection = attempt.selection;
    EXPECT_TRUE(selection.readBuffer != nullptr || !attempt.selection.selectProgram(0) ||
                selection.videoStreamCount + selection.audioStreamCount == 0)
        << "headers are read without a buffer";
}

/// A file that loses its end, or all of it, and its name while it is read.
FaultCase shrinksTo(std::uintmax_t size)
{
    const auto copy = [](Attempt& attempt) {
        std::filesystem::copy(attempt.good, attempt.shrinking.path(),
                              std::filesystem::copy_options::overwrite_existing);
    };
    const auto expectLoaded = [](Attempt& attempt) {
        EXPECT_EQ(load(attempt, attempt.shrinking.path()), LoadResult::Status::loaded);
    };
    const auto expectGone = [](Attempt& attempt) {
        readFacts(attempt);
        EXPECT_EQ(load(attempt, attempt.shrinking.path()) == LoadResult::Status::cannotOpen, attempt.struck);
    };
    const auto shrink = [=](Attempt& attempt) {
        std::filesystem::resize_file(attempt.shrinking.path(), size);
        std::filesystem::remove(attempt.shrinking.path());
    };
    return {"a file that shrinks", Kind::meanwhile, Lasting::once, copy, expectLoaded, expectGone, shrink};
}

const FaultCase kCases[] = {
    // Reads in pieces make no difference.
    {"a short read", Kind::shortRead, Lasting::once, noteFacts, expectSameFacts, nothing},
    {"short reads", Kind::shortRead, Lasting::forGood, noteFacts, expectSameFacts, nothing},
    {"interruption", Kind::interruptedRead, Lasting::once, noteFacts, expectSameFacts, nothing},
    // A file in which a call fails is loaded as one that ends there; the next selection reads it anew.
    {"a failed size", Kind::failedSize, Lasting::once, nothing, tryToLoad, nothing},
    {"failed sizes", Kind::failedSize, Lasting::forGood, nothing, tryToLoad, nothing},
    {"a failed read", Kind::failedRead, Lasting::once, nothing, tryToLoad, expectNothingRemembered},
    {"failed reads", Kind::failedRead, Lasting::forGood, nothing, tryToLoad, expectNothingRemembered},
    {"failure in a selection", Kind::failedRead, Lasting::once, loadAndForget, readFacts, expectNothingRemembered},
    shrinksTo(200077),
    shrinksTo(2001),
    shrinksTo(0),
    {"a stopped load", Kind::meanwhile, Lasting::once, nothing, loadGood, expectAtStart},
    {"a stopped load in small blocks", Kind::meanwhile, Lasting::once, useSmallBuffer, loadGood, expectAtStart},
    {"a stopped selection", Kind::meanwhile, Lasting::once, loadAndForget, readFacts, nothing},
    // Every call that may allocate. A load ends in order; the others may throw.
    {"no memory for a load", Kind::failedAllocation, Lasting::forGood, loadGood, loadGood, expectAtStart},
    {"no memory for a load by PIDs", Kind::failedAllocation, Lasting::forGood, loadGood, loadByPids, nothing},
    {"no memory for selections", Kind::failedAllocation, Lasting::forGood, loadAndForget, mayThrow(readFacts),
     expectNothingRemembered},
    {"no memory for a buffer", Kind::failedAllocation, Lasting::forGood, loadGood,
     [](Attempt& attempt) { attempt.selection.setReadBufferSize(70000); }, expectNoHeaders},
};

/// What reads on with the stop flag raised is the way back to the first packet, in at most this many buffers here.
constexpr std::size_t kReadsOn = 4;

/// With the fault at the first, the second, the third place and so on, until it finds none to strike at. The next load
/// knows nothing of it.
TEST(Faults, EndTheCallAndNothingElse)
{
    const TemporaryFile good(samples().at("two-programs"));
    for (const FaultCase& test : kCases) {
        bool struck = true;
        for (std::size_t place = 0; struck && !HasFailure(); ++place) {
            SCOPED_TRACE(testing::Message() << test.name << " at " << place);
            Attempt attempt{good.path(), place % 2 != 0};
            test.prepare(attempt);
            {
                const Fault fault(test.kind, place, test.lasting, [&] { test.meanwhile(attempt); });
                test.run(attempt);
                struck = attempt.struck = fault.struck;
                EXPECT_TRUE(!attempt.selection.abortScan || fault.readsSince <= kReadsOn) << fault.readsSince;
            }
            EXPECT_TRUE(struck || place > 0) << "nothing was made to fail";
            expectConsistent(attempt.selection);
            test.check(attempt);
            readFacts(attempt);  // of what the fault left behind
            attempt.selection.abortScan = false;
            attempt.pair.setDefaultStreams({0, 0, 0, 0, 0});
            attempt.pair.setReadBufferSize(kDefaultReadBufferSize);
            attempt.pair.load(good.path().c_str());
            expectGoodSelections(attempt);
        }
    }
}

TEST(Faults, TheSearchForMapsThatLieFarBackIsStopped)
{
    const TemporaryFile file(join({patPacket({{1, 0x100}}), nullPackets(4000), pmtPacket(0x100, 1, {{2, 0x101}})}));
    for (std::size_t place = 0; place < 20; ++place) {
        CProgramSelection selection;
        const Fault fault(Kind::meanwhile, place, Lasting::once, [&] { selection.abortScan = true; });
        selection.loadFile(file.path().c_str());
        EXPECT_TRUE(fault.struck);
        EXPECT_LE(fault.readsSince, kReadsOn) << place;
    }
}

}  // namespace
}  // namespace zarnow::test
