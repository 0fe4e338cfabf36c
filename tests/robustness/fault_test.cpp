// Reads, moves and allocations that fail, wherever in a load they do.

#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <string_view>

#include "tests/robustness/allocation_fault.h"
#include "tests/robustness/facts.h"
#include "tests/robustness/file_fault.h"
#include "tests/robustness/samples.h"
#include "tests/support/temporary_file.h"

namespace zarnow::test {
namespace {

using Kind = FileFault::Kind;
using Lasting = FileFault::Lasting;

/// A sample in a file, and what is in it.
struct GoodFile
{
    explicit GoodFile(const char* name) : file(sample(name).packets)
    {
        CProgramSelection selection;
        load(selection);
        facts = allFacts(selection);
    }

    LoadResult::Status load(CProgramSelection& selection) const
    {
        return selection.loadFile(file.path().c_str()).status;
    }

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

TEST(ReadFaults, ReadsInPiecesMakeNoDifference)
{
    for (const char* name : kSamples) {
        const GoodFile good(name);
        for (const Kind kind : {Kind::shortRead, Kind::interruptedRead}) {
            bool struck = true;
            for (std::size_t n = 0; struck && !HasFailure(); ++n) {
                SCOPED_TRACE(testing::Message() << name << ", read " << n);
                CProgramSelection selection;
                const FileFault fault(kind, n,
                                      kind == Kind::shortRead && n % 2 == 0 ? Lasting::forGood : Lasting::once);
                expectGoodLoad(selection, good);
                struck = fault.struck();
            }
        }
    }
}

TEST(ReadFaults, NoFailedReadOutlivesItsLoad)
{
    for (const char* name : kSamples) {
        const GoodFile good(name);
        for (const Lasting lasting : {Lasting::once, Lasting::forGood}) {
            bool struck = true;
            for (std::size_t n = 0; struck && !HasFailure(); ++n) {
                SCOPED_TRACE(testing::Message() << name << ", read " << n);
                CProgramSelection selection;
                {
                    const FileFault fault(Kind::failedRead, n, lasting);
                    EXPECT_EQ(good.load(selection), LoadResult::Status::loaded);
                    struck = fault.struck();
                }
                expectConsistent(selection);
                EXPECT_EQ(selection.file.position(), selection.startOffset);
                allFacts(selection);  // its records' leftovers are in both of the next two
                const std::string again = allFacts(selection);
                selection.setReadBufferSize(selection.readBufferSize);
                EXPECT_EQ(again, allFacts(selection)) << "a search remembers what could not be read";
                expectGoodLoad(selection, good);
            }
        }
    }
}

TEST(ReadFaults, FailedMovesAndSizes)
{
    for (const char* name : kSamples) {
        const GoodFile good(name);
        for (const Lasting lasting : {Lasting::once, Lasting::forGood}) {
            for (const Kind kind : {Kind::failedMove, Kind::failedSize}) {
                bool struck = true;
                for (std::size_t n = 0; struck && !HasFailure(); ++n) {
                    SCOPED_TRACE(testing::Message() << name << ", call " << n);
                    CProgramSelection selection;
                    {
                        const FileFault fault(kind, n, lasting);
                        good.load(selection);
                        struck = fault.struck();
                    }
                    expectConsistent(selection);
                    expectGoodLoad(selection, good);
                }
            }
        }
    }
}

/// A file that loses its end, or all of it, or its name while it is read.
TEST(ReadFaults, FilesThatShrink)
{
    for (const char* name : kSamples) {
        const GoodFile good(name);
        const Data& packets = sample(name).packets;
        for (const std::size_t size : {packets.size() / 2 + 77, std::size_t{2001}, std::size_t{0}}) {
            bool struck = true;
            for (std::size_t n = 0; struck && !HasFailure(); ++n) {
                SCOPED_TRACE(testing::Message() << name << " to " << size << ", read " << n);
                const TemporaryFile file(packets);
                CProgramSelection selection;
                const FileFault fault(n, [&] {
                    std::filesystem::resize_file(file.path(), size);
                    std::filesystem::remove(file.path());
                });
                EXPECT_EQ(selection.loadFile(file.path().c_str()).status, LoadResult::Status::loaded);
                expectConsistent(selection);
                allFacts(selection);
                struck = fault.struck();
                EXPECT_EQ(selection.loadFile(file.path().c_str()).status,
                          struck ? LoadResult::Status::cannotOpen : LoadResult::Status::loaded);
                expectGoodLoad(selection, good);
            }
        }
    }
}

/// The stop flag, raised at any read: what reads on is at most the way back to the first packet, three buffers, and a
/// block of what comes after it in the same call.
TEST(StopFlag, EndsEveryScanAtItsNextBlock)
{
    constexpr std::size_t kReadsOn = 4;
    for (const char* name : kSamples) {
        const GoodFile good(name);
        for (const std::uint32_t bufferSize : {2001U, kDefaultReadBufferSize}) {
            bool struck = true;
            for (std::size_t n = 0; struck && !HasFailure(); ++n) {
                SCOPED_TRACE(testing::Message() << name << " by " << bufferSize << ", read " << n);
                CProgramSelection selection;
                selection.setReadBufferSize(bufferSize);
                {
                    const FileFault fault(n, [&] { selection.abortScan = true; });
                    good.load(selection);
                    struck = fault.struck();
                    EXPECT_LE(fault.readsSince(), kReadsOn);
                }
                EXPECT_NE(selection.analysed, struck);
                EXPECT_EQ(selection.file.position(), selection.startOffset);
                selection.abortScan = false;
                selection.setReadBufferSize(kDefaultReadBufferSize);
                expectGoodLoad(selection, good);
            }
            CProgramSelection selection;
            good.load(selection);
            struck = true;
            for (std::size_t n = 0; struck && !HasFailure(); ++n) {
                SCOPED_TRACE(testing::Message() << name << ", selection's read " << n);
                AvcStreamInfo info;
                selection.abortScan = false;
                const FileFault fault(n, [&] { selection.abortScan = true; });
                selection.selectProgram(0);
                if (!fault.struck())
                    selection.readVideoInfo(info);
                struck = fault.struck();
                EXPECT_LE(fault.readsSince(), kReadsOn);
            }
        }
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
    {"selection",
     [](CProgramSelection& selection, const GoodFile&) {
         selection.setReadBufferSize(3000);  // or a selection would allocate nothing
         selection.selectProgram(static_cast<std::uint32_t>(selection.programList.size()) - 1);
     }},
    {"video facts",
     [](CProgramSelection& selection, const GoodFile&) {
         AvcStreamInfo info;
         selection.readVideoInfo(info);
     }},
    {"description",
     [](CProgramSelection& selection, const GoodFile&) {
         for (const PsiEntry& stream : selection.streamList) {
             std::string text;
             selection.describeStream(stream.streamType, stream.pid, text);
         }
     }},
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
    std::size_t failures = 0;
    for (const char* name : kSamples) {
        const GoodFile good(name);
        for (const AllocatingCall& call : kAllocatingCalls) {
            bool struck = true;
            for (std::size_t n = 0; struck && !HasFailure(); ++n) {
                SCOPED_TRACE(testing::Message() << name << ", " << call.name << ", allocation " << n);
                CProgramSelection selection;
                good.load(selection);
                struck = failAllocation(call, n, selection, good);
                failures += struck ? 1 : 0;
                if (std::string_view(call.name) == "load") {
                    EXPECT_NE(selection.analysed, struck);
                    EXPECT_EQ(selection.file.position(), selection.startOffset);
                }
                EXPECT_TRUE(selection.readBuffer != nullptr || !selection.selectProgram(0) ||
                            selection.videoStreamCount + selection.audioStreamCount == 0)
                    << "headers are read without a buffer";
                expectConsistent(selection);
                selection.setDefaultStreams(0, 0, 0, 0, 0);
                selection.setReadBufferSize(kDefaultReadBufferSize);
                expectGoodLoad(selection, good);
            }
        }
    }
    EXPECT_GT(failures, 100U) << "nothing was made to fail";
}

}  // namespace
}  // namespace zarnow::test
