// Reads, moves and allocations that fail, wherever in a load they do.

#include <gtest/gtest.h>

#include <functional>
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
    const std::filesystem::path& good;  ///< a sample's file
    SelectionPair pair{};
    CProgramSelection& selection = pair.selection;
    bool byNumber = false;  ///< how the first program is selected after the fault
    bool struck = true;
};

using Step = std::function<void(Attempt&)>;

LoadResult::Status load(Attempt& run, const std::filesystem::path& path)
{
    return run.selection.loadFile(path.c_str()).status;
}

void loadGood(Attempt& run)
{
    EXPECT_EQ(load(run, run.good), LoadResult::Status::loaded);
}

/// A selection reads next to nothing right after a load.
void loadAndForget(Attempt& run)
{
    loadGood(run);
    run.selection.setReadBufferSize(3000);
}

void select(Attempt& run)
{
    run.selection.selectProgram(0);
}

/// Selects every program and reads the video facts.
void readFacts(Attempt& run)
{
    AvcStreamInfo info;
    for (std::uint32_t i = 0; run.selection.selectProgram(i); ++i)
        run.selection.readVideoInfo(info);
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

void expectGoodSelections(Attempt& run)
{
    PlainSelection& plain = run.pair.plain;
    plain.videoStreams = run.selection.videoStreams;  // earlier selections may leave fields behind
    plain.audioStreams = run.selection.audioStreams;
    EXPECT_EQ(run.pair.differenceInPrograms(run.byNumber), "");
}

/// That a search could not read, or had no memory, is forgotten with the next selection.
void expectNothingRemembered(Attempt& run)
{
    PlainSelection& plain = run.pair.plain;
    plain.setReadBufferSize(run.selection.readBufferSize);
    plain.plainLoad(run.good.c_str());
    plain.analysed = run.selection.analysed;
    plain.startOffset = run.selection.startOffset;
    plain.programList = run.selection.programList;
    plain.streamList = run.selection.streamList;
    plain.durationSeconds = run.selection.durationSeconds;
    plain.avcStreamInfo = run.selection.avcStreamInfo;
    expectGoodSelections(run);
}

void stop(Attempt& run)
{
    run.selection.abortScan = true;
}

void expectAtStart(Attempt& run)
{
    EXPECT_NE(run.selection.analysed, run.struck);
    EXPECT_EQ(run.selection.file.position(), run.selection.startOffset);
}

struct FaultCase
{
    std::string name;
    Kind kind;
    Step run;  ///< with the fault armed
    Lasting lasting = Lasting::once;
    Step prepare = [](Attempt&) {};
    Step check = [](Attempt&) {};
    Step meanwhile = stop;
};

/// What reads on with the stop flag raised is the way back to the first packet, in at most this many buffers here.
constexpr std::size_t kReadsOn = 4;

/// With the fault at the first, the second, the third place and so on, until it finds none to strike at, on each
/// sample. The next load knows nothing of it.
void expectAtEveryPlace(const FaultCase& test)
{
    for (const char* name : {"two-programs", "every-type"}) {
        const TemporaryFile good(samples().at(name));
        bool struck = true;
        for (std::size_t place = 0; struck && !testing::Test::HasFailure(); ++place) {
            SCOPED_TRACE(testing::Message() << name << ", " << test.name << " at " << place);
            Attempt run{.good = good.path(), .byNumber = place % 2 != 0};
            test.prepare(run);
            {
                const Fault fault(test.kind, place, test.lasting, [&] { test.meanwhile(run); });
                test.run(run);
                struck = run.struck = fault.struck;
                EXPECT_TRUE(!run.selection.abortScan || fault.readsSince <= kReadsOn) << fault.readsSince;
            }
            EXPECT_TRUE(struck || place > 0) << "nothing was made to fail";
            expectConsistent(run.selection);
            test.check(run);
            run.selection.abortScan = false;
            run.pair.setDefaultStreams({0, 0, 0, 0, 0});
            run.pair.setReadBufferSize(kDefaultReadBufferSize);
            run.pair.load(good.path().c_str());
            expectGoodSelections(run);
        }
    }
}

TEST(ReadFaults, ReadsInPiecesMakeNoDifference)
{
    std::string facts;
    const Step readFirst = [&](Attempt& run) { facts = factsOf(run.good); };
    const Step readAgain = [&](Attempt& run) { EXPECT_EQ(factsOf(run.good), facts); };
    expectAtEveryPlace({"a short read", Kind::shortRead, readAgain, Lasting::once, readFirst});
    expectAtEveryPlace({"short reads", Kind::shortRead, readAgain, Lasting::forGood, readFirst});
    expectAtEveryPlace({"interruption", Kind::interruptedRead, readAgain, Lasting::once, readFirst});
}

/// A file in which a call fails is loaded as one that ends there; the next selection reads it anew.
TEST(ReadFaults, AreForgottenWithTheNextCall)
{
    const Step tryToLoad = [](Attempt& run) { load(run, run.good); };
    const Step readAgain = [](Attempt& run) {
        EXPECT_EQ(run.selection.file.position(), run.selection.startOffset);
        expectNothingRemembered(run);
    };
    for (const Lasting lasting : {Lasting::once, Lasting::forGood}) {
        expectAtEveryPlace({"failed move", Kind::failedMove, tryToLoad, lasting});
        expectAtEveryPlace({"failed size", Kind::failedSize, tryToLoad, lasting});
        expectAtEveryPlace({"failed read", Kind::failedRead, tryToLoad, lasting, [](Attempt&) {}, readAgain});
    }
    expectAtEveryPlace(
        {"failure in a selection", Kind::failedRead, readFacts, Lasting::once, loadAndForget, expectNothingRemembered});
}

/// A file that loses its end, or all of it, and its name while it is read.
TEST(ReadFaults, FilesThatShrink)
{
    const TemporaryFile file;
    for (const std::size_t size : {200077U, 2001U, 0U}) {
        const Step copy = [&](Attempt& run) {
            std::filesystem::copy(run.good, file.path(), std::filesystem::copy_options::overwrite_existing);
        };
        const Step shrink = [&](Attempt&) {
            std::filesystem::resize_file(file.path(), size);
            std::filesystem::remove(file.path());
        };
        const Step expectLoaded = [&](Attempt& run) { EXPECT_EQ(load(run, file.path()), LoadResult::Status::loaded); };
        const Step expectGone = [&](Attempt& run) {
            readFacts(run);
            EXPECT_EQ(load(run, file.path()) == LoadResult::Status::cannotOpen, run.struck);
        };
        expectAtEveryPlace(
            {"cut to " + std::to_string(size), Kind::meanwhile, expectLoaded, Lasting::once, copy, expectGone, shrink});
    }
}

TEST(StopFlag, EndsEveryCallAtTheNextBlock)
{
    const Step useSmallBuffer = [](Attempt& run) { run.selection.setReadBufferSize(2001); };
    for (const Step& prepare : {Step([](Attempt&) {}), useSmallBuffer})
        expectAtEveryPlace({"a stopped load", Kind::meanwhile, loadGood, Lasting::once, prepare, expectAtStart});
    const Step selectAndReadInfo = [](Attempt& run) {
        select(run);
        AvcStreamInfo info;
        if (!run.selection.abortScan)
            run.selection.readVideoInfo(info);
    };
    expectAtEveryPlace({"a stopped selection", Kind::meanwhile, selectAndReadInfo, Lasting::once, loadAndForget});
}

TEST(StopFlag, EndsTheSearchForMapsThatLieFarBack)
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

/// Every call that may allocate. A load ends in order; the others may throw.
TEST(AllocationFaults, EndTheCallAndNothingElse)
{
    const auto mayThrow = [](const Step& step) -> Step {
        return [=](Attempt& run) {
            try {
                step(run);
            } catch (const std::bad_alloc&) {
            }
        };
    };
    const Step expectEnded = [](Attempt& run) {
        expectAtStart(run);
        readFacts(run);  // of what the fault left behind
    };
    const Step loadByPids = [](Attempt& run) {
        run.selection.setDefaultStreams(0, 0x102, 2, 0x103, 0x81);
        loadGood(run);
    };
    const Step resize = [](Attempt& run) { run.selection.setReadBufferSize(70000); };
    const Step expectNoHeaders = [](Attempt& run) {
        EXPECT_TRUE(run.selection.readBuffer != nullptr || !run.selection.selectProgram(0) ||
                    run.selection.videoStreamCount + run.selection.audioStreamCount == 0)
            << "headers are read without a buffer";
    };
    const auto expectWithout = [](const char* name, const Step& run, const Step& prepare, const Step& check) {
        expectAtEveryPlace({name, Kind::failedAllocation, run, Lasting::forGood, prepare, check});
    };
    expectWithout("load", loadGood, loadGood, expectEnded);
    expectWithout("load by default PIDs", loadByPids, loadGood, readFacts);
    expectWithout("selection", mayThrow(select), loadAndForget, expectNothingRemembered);
    expectWithout("selections and video facts", mayThrow(readFacts), loadGood, readFacts);
    expectWithout("buffer", resize, loadGood, expectNoHeaders);
}

}  // namespace
}  // namespace zarnow::test
