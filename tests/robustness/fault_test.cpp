// Reads, moves and allocations that fail, wherever in a load they do.

#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <string_view>

#include "tests/robustness/facts.h"
#include "tests/robustness/faults.h"
#include "tests/robustness/samples.h"
#include "tests/support/temporary_file.h"
#include "tests/support/transport_stream.h"

namespace zarnow::test {
namespace {

using Kind = FileFault::Kind;
using Lasting = FileFault::Lasting;

/// A sample in a file, and what is in it.
struct GoodFile
{
    explicit GoodFile(const char* name) : packets(sample(name).packets), file(packets)
    {
        CProgramSelection selection;
        load(selection);
        facts = allFacts(selection);
    }

    LoadResult::Status load(CProgramSelection& selection) const
    {
        return selection.loadFile(file.path().c_str()).status;
    }

    const Data& packets;
    TemporaryFile file;
    std::string facts;
};

const char* const kSamples[] = {"two-programs", "every-type", "shared-maps"};

/// What holds after a load whatever went wrong in it.
void expectConsistent(const CProgramSelection& selection)
{
    std::uint32_t index = 0;
    if (selection.analysed) {
        EXPECT_TRUE(selection.programList.empty() || selection.findCurrentProgram(index));
        EXPECT_LE(selection.videoStreamCount, selection.videoStreams.size());
        EXPECT_LE(selection.audioStreamCount, selection.audioStreams.size());
    } else {
        EXPECT_EQ(selection.startOffset, 0U);
    }
}

void expectGoodLoad(CProgramSelection& selection, const GoodFile& good)
{
    EXPECT_EQ(good.load(selection), LoadResult::Status::loaded);
    EXPECT_EQ(allFacts(selection), good.facts) << "the load after the fault";
}

/// That a search could not read, or had no memory, is forgotten with the next selection.
void expectNothingRemembered(CProgramSelection& selection)
{
    allFacts(selection);  // its records' leftovers are in both of the next two
    const std::string again = allFacts(selection);
    selection.setReadBufferSize(selection.readBufferSize);
    EXPECT_EQ(again, allFacts(selection));
}

/// Runs a step on each sample with the fault at the first, the second, the third place and so on, until it finds none
/// to strike at. @param step  given the good file and the place; whether the fault struck
void atEveryPlace(const std::string& fault, const std::function<bool(const GoodFile&, std::size_t place)>& step)
{
    for (const char* name : kSamples) {
        const GoodFile good(name);
        bool struck = true;
        for (std::size_t place = 0; struck && !testing::Test::HasFailure(); ++place) {
            SCOPED_TRACE(testing::Message() << name << ", " << fault << " at " << place);
            struck = step(good, place);
            EXPECT_TRUE(struck || place > 0) << "nothing was made to fail";
        }
    }
}

TEST(ReadFaults, ReadsInPiecesMakeNoDifference)
{
    constexpr std::pair<Kind, Lasting> kFaults[] = {
        {Kind::shortRead, Lasting::once}, {Kind::shortRead, Lasting::forGood}, {Kind::interruptedRead, Lasting::once}};
    for (const auto& [kind, lasting] : kFaults) {
        atEveryPlace("pieces", [kind = kind, lasting = lasting](const GoodFile& good, std::size_t place) {
            CProgramSelection selection;
            const FileFault fault(kind, place, lasting);
            expectGoodLoad(selection, good);
            return fault.struck();
        });
    }
}

/// A file in which a call fails is loaded as one that ends there; the next selection reads it anew, and the next load.
TEST(ReadFaults, AreForgottenWithTheNextCall)
{
    for (const Kind kind : {Kind::failedRead, Kind::failedMove, Kind::failedSize}) {
        for (const Lasting lasting : {Lasting::once, Lasting::forGood}) {
            atEveryPlace("failure", [=](const GoodFile& good, std::size_t place) {
                CProgramSelection selection;
                bool struck = true;
                {
                    const FileFault fault(kind, place, lasting);
                    good.load(selection);
                    struck = fault.struck();
                }
                expectConsistent(selection);
                if (kind == Kind::failedRead) {
                    EXPECT_EQ(selection.file.position(), selection.startOffset);
                    expectNothingRemembered(selection);
                }
                expectGoodLoad(selection, good);
                return struck;
            });
        }
    }
}

TEST(ReadFaults, InSelectionsAndVideoFacts)
{
    atEveryPlace("failure", [](const GoodFile& good, std::size_t place) {
        CProgramSelection selection;
        good.load(selection);
        selection.setReadBufferSize(selection.readBufferSize);  // or a selection would read next to nothing
        bool struck = true;
        {
            const FileFault fault(Kind::failedRead, place);
            allFacts(selection);
            struck = fault.struck();
        }
        expectConsistent(selection);
        EXPECT_EQ(allFacts(selection), good.facts);
        return struck;
    });
}

/// A file that loses its end, or all of it, and its name while it is read.
TEST(ReadFaults, FilesThatShrink)
{
    for (const std::size_t size : {200077U, 2001U, 0U}) {
        atEveryPlace("cut to " + std::to_string(size), [=](const GoodFile& good, std::size_t place) {
            const TemporaryFile file(good.packets);
            CProgramSelection selection;
            bool struck = true;
            {
                const FileFault fault(place, [&] {
                    std::filesystem::resize_file(file.path(), size);
                    std::filesystem::remove(file.path());
                });
                EXPECT_EQ(selection.loadFile(file.path().c_str()).status, LoadResult::Status::loaded);
                struck = fault.struck();
            }
            expectConsistent(selection);
            allFacts(selection);
            EXPECT_EQ(selection.loadFile(file.path().c_str()).status,
                      struck ? LoadResult::Status::cannotOpen : LoadResult::Status::loaded);
            expectGoodLoad(selection, good);
            return struck;
        });
    }
}

/// What reads on with the stop flag raised is the way back to the first packet, in at most this many buffers here.
constexpr std::size_t kReadsOn = 4;

TEST(StopFlag, EndsLoadsAtTheNextBlock)
{
    for (const std::uint32_t bufferSize : {2001U, kDefaultReadBufferSize}) {
        atEveryPlace("stopped by " + std::to_string(bufferSize), [=](const GoodFile& good, std::size_t place) {
            CProgramSelection selection;
            selection.setReadBufferSize(bufferSize);
            bool struck = true;
            {
                const FileFault fault(place, [&] { selection.abortScan = true; });
                good.load(selection);
                struck = fault.struck();
                EXPECT_LE(fault.readsSince(), kReadsOn);
            }
            EXPECT_NE(selection.analysed, struck);
            EXPECT_EQ(selection.file.position(), selection.startOffset);
            selection.abortScan = false;
            selection.setReadBufferSize(kDefaultReadBufferSize);
            expectGoodLoad(selection, good);
            return struck;
        });
    }
}

TEST(StopFlag, EndsSelectionsAndTheVideoFacts)
{
    atEveryPlace("stopped", [](const GoodFile& good, std::size_t place) {
        CProgramSelection selection;
        good.load(selection);
        selection.setReadBufferSize(3000);
        const FileFault fault(place, [&] { selection.abortScan = true; });
        selection.selectProgram(0);
        AvcStreamInfo info;
        if (!fault.struck())
            selection.readVideoInfo(info);
        EXPECT_LE(fault.readsSince(), kReadsOn);
        return fault.struck();
    });
}

TEST(StopFlag, EndsTheSearchForMapsThatLieFarBack)
{
    const TemporaryFile file(join({patPacket({{1, 0x100}}), nullPackets(4000), pmtPacket(0x100, 1, {{2, 0x101}})}));
    for (std::size_t place = 0; place < 20; ++place) {
        CProgramSelection selection;
        const FileFault fault(place, [&] { selection.abortScan = true; });
        selection.loadFile(file.path().c_str());
        EXPECT_TRUE(fault.struck());
        EXPECT_LE(fault.readsSince(), kReadsOn) << place;
    }
}

/// Every call that may allocate, with the n-th allocation failing.
struct AllocatingCall
{
    const char* name;
    std::function<void(CProgramSelection&, const GoodFile&)> run;
};

const AllocatingCall kAllocatingCalls[] = {
    {"load", [](CProgramSelection& selection, const GoodFile& good) { good.load(selection); }},
    {"load by default PIDs",
     [](CProgramSelection& selection, const GoodFile& good) {
         selection.setDefaultStreams(0, 0x102, 2, 0x103, 0x81);
         good.load(selection);
     }},
    {"selection", [](CProgramSelection& selection, const GoodFile&) { selection.selectProgram(0); }},
    {"selection, video facts and descriptions",
     [](CProgramSelection& selection, const GoodFile&) { allFacts(selection); }},
    {"buffer", [](CProgramSelection& selection, const GoodFile&) { selection.setReadBufferSize(70000); }},
};

/// @return whether an allocation was asked for in vain
bool failAllocation(const AllocatingCall& call, std::size_t n, CProgramSelection& selection, const GoodFile& good)
{
    const AllocationFault fault(n);
    try {
        call.run(selection, good);
    } catch (const std::bad_alloc&) {
        EXPECT_TRUE(fault.struck());
        EXPECT_EQ(std::string_view(call.name).find("load"), std::string_view::npos) << "a load throws";
    }
    return fault.struck();
}

TEST(AllocationFaults, EndTheCallAndNothingElse)
{
    for (const AllocatingCall& call : kAllocatingCalls) {
        const bool load = std::string_view(call.name) == "load";
        atEveryPlace(call.name, [&](const GoodFile& good, std::size_t place) {
            CProgramSelection selection;
            good.load(selection);
            const bool select = std::string_view(call.name) == "selection";
            if (select)
                selection.setReadBufferSize(3000);  // or it would allocate nothing
            const bool struck = failAllocation(call, place, selection, good);
            EXPECT_TRUE(!load || selection.analysed != struck);
            EXPECT_TRUE(!load || selection.file.position() == selection.startOffset);
            EXPECT_TRUE(selection.readBuffer != nullptr || !selection.selectProgram(0) ||
                        selection.videoStreamCount + selection.audioStreamCount == 0)
                << "headers are read without a buffer";
            expectConsistent(selection);
            selection.setDefaultStreams(0, 0, 0, 0, 0);
            if (select)
                expectNothingRemembered(selection);
            else
                allFacts(selection);  // of what the fault left behind
            selection.setReadBufferSize(kDefaultReadBufferSize);
            expectGoodLoad(selection, good);
            return struck;
        });
    }
}

}  // namespace
}  // namespace zarnow::test
