// Reads, moves and allocations that fail, wherever in a load they do.

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <new>
#include <optional>

#include "tests/robustness/faults.h"
#include "tests/robustness/samples.h"
#include "tests/support/plain_selection.h"
#include "tests/support/temporary_file.h"
#include "tests/support/transport_stream.h"

namespace zarnow::test {
namespace {

using Kind = Fault::Kind;
using Lasting = Fault::Lasting;

/// A sample in a file.
struct GoodFile
{
    explicit GoodFile(const char* name) : packets(sample(name).packets), file(packets) {}

    void load(CProgramSelection& selection) const
    {
        EXPECT_EQ(selection.loadFile(file.path().c_str()).status, LoadResult::Status::loaded);
    }

    const Data& packets;
    TemporaryFile file;
};

struct Attempt
{
    const GoodFile& good;
    CProgramSelection selection{};
    bool struck = true;
};

using Step = std::function<void(Attempt&)>;

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
            EXPECT_TRUE(one->selectProgram(i));
            one->readVideoInfo(one == &untouched ? expected : info);
        }
        EXPECT_EQ(differenceOf(run.selection, untouched), "") << "program " << i;
        EXPECT_EQ(std::memcmp(&info, &expected, sizeof info), 0);
    }
}

void expectGoodLoad(Attempt& run)
{
    CProgramSelection untouched;
    run.good.load(untouched);
    run.good.load(run.selection);
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
    run.good.load(untouched);
    untouched.setReadBufferSize(run.selection.readBufferSize);
    untouched.analysed = run.selection.analysed;
    untouched.programList = run.selection.programList;
    untouched.streamList = run.selection.streamList;
    untouched.durationSeconds = run.selection.durationSeconds;
    untouched.avcStreamInfo = run.selection.avcStreamInfo;
    expectGoodSelections(run, untouched);
}

void load(Attempt& run)
{
    run.good.load(run.selection);
}

/// A selection reads next to nothing right after a load.
void loadAndForget(Attempt& run)
{
    load(run);
    run.selection.setReadBufferSize(3000);
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
    Step run = load;  ///< with the fault armed
    Step meanwhile = nullptr;
    std::size_t readsOn = SIZE_MAX;  ///< at most, after the fault
    Step check = nullptr;
};

/// With the fault at the first, the second, the third place and so on, until it finds none to strike at, on each
/// sample. The next load knows nothing of it.
void expectAtEveryPlace(const FaultCase& test)
{
    for (const char* name : {"two-programs", "every-type", "shared-maps"}) {
        const GoodFile good(name);
        bool struck = true;
        for (std::size_t place = 0; struck && !testing::Test::HasFailure(); ++place) {
            SCOPED_TRACE(testing::Message() << name << ", " << test.name << " at " << place);
            Attempt run{good};
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
    expectAtEveryPlace({.name = "a short read", .kind = Kind::shortRead, .run = expectGoodLoad});
    expectAtEveryPlace({"short reads", Kind::shortRead, Lasting::forGood, nullptr, expectGoodLoad});
    expectAtEveryPlace({.name = "interruption", .kind = Kind::interruptedRead, .run = expectGoodLoad});
}

/// A file in which a call fails is loaded as one that ends there; the next selection reads it anew.
TEST(ReadFaults, AreForgottenWithTheNextCall)
{
    const Step tryToLoad = [](Attempt& run) { run.selection.loadFile(run.good.file.path().c_str()); };
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
    for (const std::size_t size : {200077U, 2001U, 0U}) {
        std::optional<TemporaryFile> file;
        const auto loadCopy = [&](Attempt& run) { return run.selection.loadFile(file->path().c_str()).status; };
        expectAtEveryPlace({.name = "cut to " + std::to_string(size),
                            .kind = Kind::meanwhile,
                            .prepare = [&](Attempt& run) { file.emplace(run.good.packets); },
                            .run = [&](Attempt& run) { EXPECT_EQ(loadCopy(run), LoadResult::Status::loaded); },
                            .meanwhile =
                                [&](Attempt&) {
                                    std::filesystem::resize_file(file->path(), size);
                                    std::filesystem::remove(file->path());
                                },
                            .check =
                                [&](Attempt& run) {
                                    readFacts(run);
                                    EXPECT_EQ(loadCopy(run) == LoadResult::Status::cannotOpen, run.struck);
                                }});
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
            {"a stopped load", Kind::meanwhile, Lasting::once, prepare, load, stop, kReadsOn, expectStopped});

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
    const auto test = [](const char* name, const Step& prepare, const Step& run, const Step& check) {
        expectAtEveryPlace({.name = name,
                            .kind = Kind::failedAllocation,
                            .lasting = Lasting::forGood,
                            .prepare = prepare,
                            .run = run,
                            .check = check});
    };
    const Step expectEnded = [](Attempt& run) {
        EXPECT_NE(run.selection.analysed, run.struck);
        EXPECT_EQ(run.selection.file.position(), run.selection.startOffset);
        readFacts(run);  // of what the fault left behind
    };
    const Step loadByPids = [](Attempt& run) {
        run.selection.setDefaultStreams(0, 0x102, 2, 0x103, 0x81);
        load(run);
    };
    const Step select = [](Attempt& run) { run.selection.selectProgram(0); };
    const Step resize = [](Attempt& run) { run.selection.setReadBufferSize(70000); };
    const Step expectNoHeaders = [](Attempt& run) {
        EXPECT_TRUE(run.selection.readBuffer != nullptr || !run.selection.selectProgram(0) ||
                    run.selection.videoStreamCount + run.selection.audioStreamCount == 0)
            << "headers are read without a buffer";
    };
    test("load", load, load, expectEnded);
    test("load by default PIDs", load, loadByPids, readFacts);
    test("selection", loadAndForget, mayThrow(select), expectNothingRemembered);
    test("selection, video facts and descriptions", load, mayThrow(readFacts), readFacts);
    test("buffer", load, resize, expectNoHeaders);
}

}  // namespace
}  // namespace zarnow::test
