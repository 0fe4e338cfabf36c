// Reads, moves and allocations that fail, wherever in a load they do.

#include <gtest/gtest.h>

#include <functional>
#include <new>

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

TEST(AllocationFaults, EndTheCallAndNothingElse)
{
    for (const char* name : kSamples) {
        const GoodFile good(name);
        bool struck = true;
        for (std::size_t n = 0; struck && !HasFailure(); ++n) {
            SCOPED_TRACE(testing::Message() << name << ", allocation " << n);
            CProgramSelection selection;
            {
                const AllocationFault fault(n);
                EXPECT_EQ(good.load(selection), LoadResult::Status::loaded);
                struck = fault.struck();
            }
            EXPECT_NE(selection.analysed, struck);
            expectConsistent(selection);
            EXPECT_EQ(selection.file.position(), selection.startOffset);
            expectGoodLoad(selection, good);
        }
    }
}

}  // namespace
}  // namespace zarnow::test
