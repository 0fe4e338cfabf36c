// Requests for memory and kernel objects that fail, at every point and in every operation.

#include <functional>
#include <set>

#include "tests/windows/robustness/graph.h"
#include "tests/windows/robustness/module_requests.h"
#include "tests/windows/support/page_host.h"
#include "tools/common/find_pin.h"
#include "tools/demultiplexer/demultiplexer.h"

namespace zarnow::test {

namespace {

/// What there is before an operation.
enum class With { filter, file, connection };

class AllocationTest;

struct Operation
{
    friend void PrintTo(const Operation& operation, std::ostream* out) { *out << operation.name; }

    const char* name;
    With with;
    std::function<HRESULT(AllocationTest&)> run;
    std::set<HRESULT> failures = {};  // besides E_OUTOFMEMORY; S_OK: it may do without
    std::function<void(AllocationTest&)> undo = [](AllocationTest&) {};  // after success and after failure
    bool needsNothing = false;                                           // as there is no way to report a failure
};

/// Everything is made anew for each failure.
class AllocationTest : public AskingTest, public ::testing::WithParamInterface<Operation>
{
public:
    void SetUp() override { watchRequests(module.handle()); }
    void TearDown() override {}

    HRESULT createAnother() { return module.create(CLSID_ZarnowTSSource, IID_PPV_ARGS(&another)); }
    void releaseAnother() { EXPECT_EQ(0U, another.Reset()); }
    HRESULT releaseAll() { return releaseFilter() == 0 ? S_OK : E_FAIL; }
    void makeAnew() { FilterTest::SetUp(); }
    HRESULT createPage() { return frame.create(module); }
    void releasePage() { EXPECT_EQ(0U, frame.page.Reset()); }
    HRESULT loadPrograms() { return load(kTwoProgramsSample); }
    HRESULT connectAll() { return pin->Connect(findPin(*demultiplexer.Get(), PINDIR_INPUT).Get(), nullptr); }
    void disconnectAll()
    {
        pin->Disconnect();
        findPin(*demultiplexer.Get(), PINDIR_INPUT)->Disconnect();
    }
    HRESULT pause() { return filter->Pause(); }
    void stopFilter() { EXPECT_HRESULT(S_OK, filter->Stop()); }
    HRESULT selectProgram() { return tarnwell->SelectProgram(1); }
    HRESULT changeBufferSize()
    {
        const HRESULT set = tarnwell->SetBufferSize(40'000);
        return FAILED(set) ? set : loadPrograms();
    }
    HRESULT askForAll()
    {
        HRESULT first = S_OK;
        AskingTest::askForAll(0, [&](HRESULT result, bool) { first = first == S_OK ? result : first; });
        return first;
    }
    /// A graph does not keep a filter that does not join it, and is not to be held by it either.
    HRESULT joinGraph()
    {
        const Graph graph;
        const HRESULT joined = filter->JoinFilterGraph(graph.builder.Get(), L"a name");
        FILTER_INFO info = {};
        EXPECT_HRESULT(S_OK, filter->QueryFilterInfo(&info));
        EXPECT_EQ(SUCCEEDED(joined) ? graph.builder.Get() : nullptr, info.pGraph);
        EXPECT_STREQ(SUCCEEDED(joined) ? L"a name" : L"", info.achName);
        if (info.pGraph != nullptr)
            info.pGraph->Release();
        EXPECT_HRESULT(S_OK, filter->JoinFilterGraph(nullptr, nullptr));
        return joined;
    }
    HRESULT showPage()
    {
        const HRESULT created = createPage();
        if (FAILED(created))
            return created;
        PROPPAGEINFO information = {};
        const HRESULT described = frame.page->GetPageInfo(&information);
        CoTaskMemFree(information.pszTitle);
        const HRESULT shown = frame.open(filter.Get());
        if (SUCCEEDED(shown)) {
            frame.command(IDC_PROGRAMS, CBN_SELCHANGE);
            EXPECT_HRESULT(S_OK, frame.page->Apply());
        }
        EXPECT_HRESULT(SUCCEEDED(shown) ? S_OK : E_UNEXPECTED, frame.close());
        return FAILED(described) ? described : shown;
    }

protected:
    /// @return whether there was a request to fail
    bool runFailing(long number, long count)
    {
        const Operation& operation = GetParam();
        const std::size_t before = blocksInUse();
        makeAnew();
        EXPECT_HRESULT(S_OK, demux::createDemultiplexer(&demultiplexer));
        EXPECT_HRESULT(S_OK, operation.with >= With::file ? loadPrograms() : S_OK);
        EXPECT_HRESULT(S_OK, operation.with >= With::connection ? connectAll() : S_OK);
        failRequests(number, count);
        const HRESULT result = operation.run(*this);
        const bool failed = letRequestsSucceed();
        EXPECT_TRUE(result == S_OK ? !failed || operation.failures.contains(S_OK)
                                   : result == E_OUTOFMEMORY || operation.failures.contains(result))
            << hex(result);
        operation.undo(*this);
        EXPECT_HRESULT(S_OK, operation.run(*this)) << "the next attempt";
        operation.undo(*this);
        disconnectAll();
        EXPECT_EQ(0U, demultiplexer.Reset());
        FilterTest::TearDown();
        leaked += static_cast<long>(blocksInUse()) - static_cast<long>(before);
        return failed;
    }

    ComPtr<IBaseFilter> another;
    ComPtr<IBaseFilter> demultiplexer;
    PageFrame frame;
    long leaked = 0;
};

TEST_P(AllocationTest, EveryRequestMayFail)
{
    // All from there on, with the run-time system as it is when nothing was ever thrown; one; the one behind it as
    // well, which an exception asks for.
    for (const long count : {LONG_MAX, 1L, 2L}) {
        SCOPED_TRACE(count);
        long number = 1;
        // The first round is allowed what the run-time system keeps for each thread.
        for (const bool first : {true, false}) {
            number = 1;
            leaked = 0;
            for (bool more = true; more && !HasFailure(); ++number) {
                SCOPED_TRACE(number);
                more = runFailing(number, count);
                EXPECT_TRUE(first || leaked == 0) << leaked << " blocks are left";
            }
        }
        EXPECT_TRUE(HasFailure() || GetParam().needsNothing == (number == 2)) << number - 2 << " requests";
    }
}

using T = AllocationTest;

const Operation kOperations[] = {
    {"CreateFilter", With::filter, &T::createAnother, {}, &T::releaseAnother},
    {"ReleaseFilter", With::filter, &T::releaseAll, {}, &T::makeAnew, true},
    {"CreatePage", With::filter, &T::createPage, {}, &T::releasePage},
    {"ShowPage", With::file, &T::showPage, {S_OK}, &T::releasePage},  // which then shows less
    {"Load", With::filter, &T::loadPrograms, {S_OK}},
    {"SetBufferSize", With::file, &T::changeBufferSize, {S_OK}},
    // A demultiplexer's pin that cannot be described is left out.
    {"Connect", With::file, &T::connectAll, {VFW_E_NO_ACCEPTABLE_TYPES, E_FAIL, S_OK}, &T::disconnectAll},
    {"AskForAll", With::file, &T::askForAll, {S_FALSE}},
    {"JoinGraph", With::filter, &T::joinGraph},
    {"SelectProgramWhileConnected", With::connection, &T::selectProgram, {S_OK}},
    {"PauseAnew", With::filter, &T::pause, {}, &T::stopFilter, true},
    {"PauseConnected", With::connection, &T::pause, {E_FAIL, S_OK}, &T::stopFilter},
};

INSTANTIATE_TEST_SUITE_P(Module, AllocationTest, ::testing::ValuesIn(kOperations),
                         [](const auto& tested) { return std::string(tested.param.name); });

}  // namespace

}  // namespace zarnow::test
