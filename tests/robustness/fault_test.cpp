// Reads, moves and allocations that fail, wherever in a load they do.

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <new>
#include <tuple>

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
    CProgramSelection selection{};
    bool byNumber = false;  ///< how the first program is selected after the fault
    bool struck = true;
};

using Step = std::function<void(Attempt&)>;

LoadResult::Status load(CProgramSelection& selection, const std::filesystem::path& path)
{
    return selection.loadFile(path.c_str()).status;
}

void loadGood(Attempt& run)
{
    EXPECT_EQ(load(run.selection, run.good), LoadResult::Status::loaded);
}

/// A selection reads next to nothing right after a load.
void loadAndForget(Attempt& run)
{
    loadGood(run);
    run.selection.setReadBufferSize(3000);
}

/// Selects every program and reads the video facts.
void readFacts(Attempt& run)
{
    AvcStreamInfo info;
    for (std::uint32_t i = 0; run.selection.selectProgram(i); ++i)
        run.selection.readVideoInfo(info);
}

/// Every program, selected, is as in a selection that has met no fault.
void expectGoodSelections(Attempt& run, CProgramSelection& untouched)
{
    for (std::uint32_t i = 0; i < untouched.programList.size(); ++i) {
        AvcStreamInfo info, expected;
        for (CProgramSelection* one : {&run.selection, &untouched}) {
            one->videoStreams = {};  // earlier selections may leave fields behind
            one->audioStreams = {};
            const PsiEntry program = one->programList[i];
            EXPECT_TRUE(run.byNumber && i == 0 ? one->selectProgramByNumber(program.pmtPid, program.programNumber)
                                               : one->selectProgram(i));
            one->readVideoInfo(one == &untouched ? expected : info);
        }
        EXPECT_EQ(differenceOf(run.selection, untouched), "") << "program " << i;
        EXPECT_EQ(std::memcmp(&info, &expected, sizeof info), 0);
    }
}

void expectGoodLoad(Attempt& run)
{
    CProgramSelection untouched;
    load(untouched, run.good);
    loadGood(run);
    expectGoodSelections(run, untouched);
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

/// That a search could not read, or had no memory, is forgotten with the next selection.
void expectNothingRemembered(Attempt& run)
{
    CProgramSelection untouched;
    load(untouched, run.good);
    untouched.setReadBufferSize(run.selection.readBufferSize);
    untouched.analysed = run.selection.analysed;
    untouched.programList = run.selection.programList;
    untouched.streamList = run.selection.streamList;
    untouched.durationSeconds = run.selection.durationSeconds;
    untouched.avcStreamInfo = run.selection.avcStreamInfo;
    expectGoodSelections(run, untouched);
}

void stop(Attempt& run)
{
    run.selection.abortScan = true;
}

struct FaultCase
{
    std::string name;
    Kind kind;
    Lasting lasting = Lasting::once;
    Step prepare = nullptr;
    Step run = nullptr;  ///< with the fault armed
    Step meanwhile = nullptr;
    std::size_t readsOn = SIZE_MAX;  ///< at most, after the fault
    Step check = nullptr;
};

/// With the fault at the first, the second, the third place and so on, until it finds none to strike at, on each
/// sample. The next load knows nothing of it.
void expectAtEveryPlace(const FaultCase& test)
{
    for (const char* name : {"two-programs", "every-type", "shared-maps"}) {
        const TemporaryFile good(sample(name).packets);
        bool struck = true;
        for (std::size_t place = 0; struck && !testing::Test::HasFailure(); ++place) {
            SCOPED_TRACE(testing::Message() << name << ", " << test.name << " at " << place);
            Attempt run{.good = good.path(), .byNumber = place % 2 != 0};
            if (test.prepare)
                test.prepare(run);
            {
                const Fault fault(test.kind, place, test.lasting, [&] { test.meanwhile(run); });
                test.run(run);
                struck = run.struck = fault.struck();
                EXPECT_LE(fault.readsSince(), test.readsOn);
            }
            EXPECT_TRUE(struck || place > 0) << "nothing was made to fail";
            expectConsistent(run.selection);
            if (test.check)
                test.check(run);
            run.selection.abortScan = false;
            run.selection.setDefaultStreams(0, 0, 0, 0, 0);
            run.selection.setReadBufferSize(kDefaultReadBufferSize);
            expectGoodLoad(run);
        }
    }
}

TEST(ReadFaults, ReadsInPiecesMakeNoDifference)
{
    std::string facts;
    const Step readFirst = [&](Attempt& run) { facts = factsOf(run.good); };
    const Step readAgain = [&](Attempt& run) { EXPECT_EQ(factsOf(run.good), facts); };
    expectAtEveryPlace({"a short read", Kind::shortRead, Lasting::once, readFirst, readAgain});
    expectAtEveryPlace({"short reads", Kind::shortRead, Lasting::forGood, readFirst, readAgain});
    expectAtEveryPlace({"interruption", Kind::interruptedRead, Lasting::once, readFirst, readAgain});
}

/// A file in which a call fails is loaded as one that ends there; the next selection reads it anew.
TEST(ReadFaults, AreForgottenWithTheNextCall)
{
    const Step tryToLoad = [](Attempt& run) { load(run.selection, run.good); };
    const Step readAgain = [](Attempt& run) {
        EXPECT_EQ(run.selection.file.position(), run.selection.startOffset);
        expectNothingRemembered(run);
    };
    for (const Lasting lasting : {Lasting::once, Lasting::forGood}) {
        for (const Kind kind : {Kind::failedMove, Kind::failedSize})
            expectAtEveryPlace({.name = "failure", .kind = kind, .lasting = lasting, .run = tryToLoad});
        expectAtEveryPlace({.name = "failed read",
                            .kind = Kind::failedRead,
                            .lasting = lasting,
                            .run = tryToLoad,
                            .check = readAgain});
    }
    expectAtEveryPlace({.name = "failure in a selection",
                        .kind = Kind::failedRead,
                        .prepare = loadAndForget,
                        .run = readFacts,
                        .check = expectNothingRemembered});
}

/// A file that loses its end, or all of it, and its name while it is read.
TEST(ReadFaults, FilesThatShrink)
{
    const TemporaryFile file;
    for (const std::size_t size : {200077U, 2001U, 0U}) {
        const auto loadCopy = [&](Attempt& run) { return load(run.selection, file.path()); };
        const Step copy = [&](Attempt& run) {
            std::filesystem::copy(run.good, file.path(), std::filesystem::copy_options::overwrite_existing);
        };
        const Step shrink = [&](Attempt&) {
            std::filesystem::resize_file(file.path(), size);
            std::filesystem::remove(file.path());
        };
        const Step expectGone = [&](Attempt& run) {
            readFacts(run);
            EXPECT_EQ(loadCopy(run) == LoadResult::Status::cannotOpen, run.struck);
        };
        const Step expectLoaded = [&](Attempt& run) { EXPECT_EQ(loadCopy(run), LoadResult::Status::loaded); };
        expectAtEveryPlace({"cut to " + std::to_string(size), Kind::meanwhile, Lasting::once, copy, expectLoaded,
                            shrink, SIZE_MAX, expectGone});
    }
}

/// What reads on with the stop flag raised is the way back to the first packet, in at most this many buffers here.
constexpr std::size_t kReadsOn = 4;

TEST(StopFlag, EndsEveryCallAtTheNextBlock)
{
    const Step expectStopped = [](Attempt& run) {
        EXPECT_NE(run.selection.analysed, run.struck);
        EXPECT_EQ(run.selection.file.position(), run.selection.startOffset);
    };
    const Step useSmallBuffer = [](Attempt& run) { run.selection.setReadBufferSize(2001); };
    for (const Step& prepare : {Step(), useSmallBuffer})
        expectAtEveryPlace(
            {"a stopped load", Kind::meanwhile, Lasting::once, prepare, loadGood, stop, kReadsOn, expectStopped});

    const Step select = [](Attempt& run) {
        run.selection.selectProgram(0);
        AvcStreamInfo info;
        if (!run.selection.abortScan)
            run.selection.readVideoInfo(info);
    };
    expectAtEveryPlace({"a stopped selection", Kind::meanwhile, Lasting::once, loadAndForget, select, stop, kReadsOn});
}

TEST(StopFlag, EndsTheSearchForMapsThatLieFarBack)
{
    const TemporaryFile file(join({patPacket({{1, 0x100}}), nullPackets(4000), pmtPacket(0x100, 1, {{2, 0x101}})}));
    for (std::size_t place = 0; place < 20; ++place) {
        CProgramSelection selection;
        const Fault fault(Kind::meanwhile, place, Lasting::once, [&] { selection.abortScan = true; });
        selection.loadFile(file.path().c_str());
        EXPECT_TRUE(fault.struck());
        EXPECT_LE(fault.readsSince(), kReadsOn) << place;
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
        EXPECT_NE(run.selection.analysed, run.struck);
        EXPECT_EQ(run.selection.file.position(), run.selection.startOffset);
        readFacts(run);  // of what the fault left behind
    };
    const Step loadByPids = [](Attempt& run) {
        run.selection.setDefaultStreams(0, 0x102, 2, 0x103, 0x81);
        loadGood(run);
    };
    const Step select = [](Attempt& run) { run.selection.selectProgram(0); };
    const Step resize = [](Attempt& run) { run.selection.setReadBufferSize(70000); };
    const Step expectNoHeaders = [](Attempt& run) {
        EXPECT_TRUE(run.selection.readBuffer != nullptr || !run.selection.selectProgram(0) ||
                    run.selection.videoStreamCount + run.selection.audioStreamCount == 0)
            << "headers are read without a buffer";
    };
    const std::tuple<const char*, Step, Step, Step> calls[] = {
        {"load", loadGood, loadGood, expectEnded},
        {"load by default PIDs", loadGood, loadByPids, readFacts},
        {"selection", loadAndForget, mayThrow(select), expectNothingRemembered},
        {"selections and video facts", loadGood, mayThrow(readFacts), readFacts},
        {"buffer", loadGood, resize, expectNoHeaders},
    };
    for (const auto& [name, prepare, run, check] : calls)
        expectAtEveryPlace({name, Kind::failedAllocation, Lasting::forGood, prepare, run, nullptr, SIZE_MAX, check});
}

}  // namespace
}  // namespace zarnow::test
