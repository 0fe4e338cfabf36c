// Requests for memory and kernel objects that fail, at every point and in every operation.

#include <functional>
#include <set>
#include <thread>

#include "tests/windows/robustness/graph.h"
#include "tests/windows/robustness/module_requests.h"
#include "tests/windows/support/filter_fixture.h"
#include "tests/windows/support/page_host.h"
#include "tools/common/find_pin.h"
#include "tools/demultiplexer/demultiplexer.h"
#include "ui/resource_ids.h"

namespace zarnow::test {

namespace {

/// What there is before an operation.
enum class With { nothing, filter, file, connection };

/// A filter with what stands around it. Everything is made anew for each failure.
struct Parts
{
    Parts(const Module& fromModule, With with) : module(fromModule)
    {
        EXPECT_HRESULT(S_OK, with >= With::filter ? createFilter() : S_OK);
        EXPECT_HRESULT(S_OK, with >= With::file ? load() : S_OK);
        EXPECT_HRESULT(S_OK, with >= With::connection ? connect() : S_OK);
    }
    ~Parts() { release(); }
    HRESULT createFilter() { return module.create(CLSID_ZarnowTSSource, IID_PPV_ARGS(&filter)); }
    HRESULT createPage() { return module.create(CLSID_ZarnowTSProperties, IID_PPV_ARGS(&page)); }
    HRESULT load() const { return of<IFileSourceFilter>()->Load(kTwoProgramsSample, nullptr); }
    HRESULT pause() const { return filter->Pause(); }
    void stop() const { EXPECT_HRESULT(S_OK, filter->Stop()); }
    void nothing() const {}

    template <class Interface>
    ComPtr<Interface> of() const
    {
        return query<Interface>(filter.Get());
    }
    ComPtr<IPin> pin() const
    {
        ComPtr<IPin> found;
        EXPECT_HRESULT(S_OK, filter->FindPin(L"1", &found));
        return found;
    }
    HRESULT connect()
    {
        EXPECT_HRESULT(S_OK, demultiplexer ? S_OK : demux::createDemultiplexer(&demultiplexer));
        return pin()->Connect(findPin(*demultiplexer.Get(), PINDIR_INPUT).Get(), nullptr);
    }
    void disconnect() const
    {
        pin()->Disconnect();
        findPin(*demultiplexer.Get(), PINDIR_INPUT)->Disconnect();
    }
    void release()
    {
        if (demultiplexer)
            disconnect();
        EXPECT_EQ(0U, page.Reset());
        EXPECT_EQ(0U, filter.Reset());
        EXPECT_EQ(0U, demultiplexer.Reset());
    }

    const Module& module;
    ComPtr<IBaseFilter> filter;
    ComPtr<IPropertyPage> page;
    ComPtr<IBaseFilter> demultiplexer;
};

/// Everything that is handed out as memory or as an object.
HRESULT askForAll(Parts& parts)
{
    const auto tarnwell = parts.of<ITarnwell>();
    const ComPtr<IPin> pin = parts.pin();
    LPOLESTR texts[2] = {};
    BSTR names[2] = {};
    WORD pmtPid = 0;
    WORD number = 0;
    WORD pid = 0;
    TarnwellVideoInfo video = {};
    CAUUID pages = {};
    ComPtr<IEnumPins> pins;
    ComPtr<IEnumPins> morePins;
    ComPtr<IEnumMediaTypes> types;
    AM_MEDIA_TYPE* type = nullptr;
    const HRESULT results[] = {
        parts.of<IFileSourceFilter>()->GetCurFile(&texts[0], nullptr),
        pin->QueryId(&texts[1]),
        tarnwell->GetProgramInfo(0, &pmtPid, &number, &names[0]),
        tarnwell->GetStreamInfo(0, pmtPid, number, &pid, &names[1]),
        tarnwell->GetVideoInfo(&video),
        parts.of<ISpecifyPropertyPages>()->GetPages(&pages),
        parts.filter->EnumPins(&pins),
        pins ? pins->Clone(&morePins) : E_OUTOFMEMORY,
        pin->EnumMediaTypes(&types),
        types ? types->Next(1, &type, nullptr) : E_OUTOFMEMORY,
    };
    std::ranges::for_each(texts, CoTaskMemFree);
    std::ranges::for_each(names, SysFreeString);
    CoTaskMemFree(pages.pElems);
    DeleteMediaType(type);
    const auto* first = std::ranges::find_if(results, [](HRESULT result) { return result != S_OK; });
    return first != std::end(results) ? *first : S_OK;
}

/// A graph does not keep a filter that does not join it, and is not to be held by it either.
HRESULT joinGraph(Parts& parts)
{
    const Graph graph;
    const HRESULT joined = parts.filter->JoinFilterGraph(graph.builder.Get(), L"a name");
    FILTER_INFO info = {};
    EXPECT_HRESULT(S_OK, parts.filter->QueryFilterInfo(&info));
    EXPECT_EQ(SUCCEEDED(joined) ? graph.builder.Get() : nullptr, info.pGraph);
    EXPECT_STREQ(SUCCEEDED(joined) ? L"a name" : L"", info.achName);
    if (info.pGraph != nullptr)
        info.pGraph->Release();
    EXPECT_HRESULT(S_OK, parts.filter->JoinFilterGraph(nullptr, nullptr));
    return joined;
}

HRESULT showPage(Parts& parts)
{
    static PageFrame frame;
    const HRESULT created = parts.createPage();
    if (FAILED(created))
        return created;
    frame.page = parts.page;
    PROPPAGEINFO information = {};
    const HRESULT described = frame.page->GetPageInfo(&information);
    CoTaskMemFree(information.pszTitle);
    const HRESULT shown = frame.open(parts.filter.Get());
    if (SUCCEEDED(shown)) {
        frame.command(IDC_PROGRAMS, CBN_SELCHANGE);
        EXPECT_HRESULT(S_OK, frame.page->Apply());
    }
    EXPECT_HRESULT(SUCCEEDED(shown) ? S_OK : E_UNEXPECTED, frame.close());
    frame.page.Reset();
    return FAILED(described) ? described : shown;
}

struct Operation
{
    friend void PrintTo(const Operation& operation, std::ostream* out) { *out << operation.name; }

    const char* name;
    With with;
    std::function<HRESULT(Parts&)> run;
    std::function<void(Parts&)> undo;  // after success and after failure; the operation then must succeed
    std::set<HRESULT> failures;        // besides E_OUTOFMEMORY; S_OK: it may do without
    bool needsNothing = false;         // as there is no way to report a failure
};

}  // namespace

class AllocationTest : public ::testing::TestWithParam<Operation>
{
protected:
    /// @return whether there was a request to fail
    bool runFailing(long number, long count)
    {
        const Operation& operation = GetParam();
        const std::size_t before = requests.blocksInUse();
        bool failed = false;
        {
            Parts parts(module, operation.with);
            requests.fail(number, count);
            const HRESULT result = operation.run(parts);
            failed = requests.succeedAgain();
            EXPECT_TRUE(result == S_OK ? !failed || operation.failures.count(S_OK) != 0
                                       : result == E_OUTOFMEMORY || operation.failures.count(result) != 0)
                << hex(result);
            operation.undo(parts);
            EXPECT_HRESULT(S_OK, operation.run(parts)) << "the next attempt";
            operation.undo(parts);
        }
        EXPECT_HRESULT(S_OK, module.canUnload());
        leaked += static_cast<long>(requests.blocksInUse()) - static_cast<long>(before);
        return failed;
    }

    Module module;
    ModuleRequests requests{module.handle()};
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

/// There is what the run-time system keeps for each thread, made when it throws for the first time.
TEST(FirstException, OfAThreadNeedsNoMemory)
{
    const Module module;
    ModuleRequests requests(module.handle());
    for (const bool loads : {false, true}) {
        Parts parts(module, loads ? With::filter : With::nothing);
        HRESULT result = S_OK;
        std::thread([&] {
            requests.fail(1, LONG_MAX);
            result = loads ? parts.load() : parts.createFilter();
            EXPECT_TRUE(requests.succeedAgain());
        }).join();
        EXPECT_HRESULT(E_OUTOFMEMORY, result) << (loads ? "loading" : "creating");
    }
    EXPECT_HRESULT(S_OK, module.canUnload());
}

HRESULT releaseFilter(Parts& parts)
{
    return parts.filter.Reset() == 0 ? S_OK : E_FAIL;
}

HRESULT changeBufferSize(Parts& parts)
{
    const HRESULT set = parts.of<ITarnwell>()->SetBufferSize(40'000);
    return FAILED(set) ? set : parts.load();
}

HRESULT selectProgram(Parts& parts)
{
    return parts.of<ITarnwell>()->SelectProgram(1);
}

const Operation kOperations[] = {
    {"CreateFilter", With::nothing, &Parts::createFilter, &Parts::release, {}},
    {"ReleaseFilter", With::filter, releaseFilter, &Parts::createFilter, {}, true},
    {"CreatePage", With::nothing, &Parts::createPage, &Parts::release, {}},
    {"ShowPage", With::file, showPage, [](Parts& parts) { parts.page.Reset(); }, {S_OK}},  // which then shows less
    {"Load", With::filter, &Parts::load, &Parts::nothing, {S_OK}},
    {"SetBufferSize", With::file, changeBufferSize, &Parts::nothing, {S_OK}},
    // A demultiplexer's pin that cannot be described is left out.
    {"Connect", With::file, &Parts::connect, &Parts::disconnect, {VFW_E_NO_ACCEPTABLE_TYPES, E_FAIL, S_OK}},
    {"AskForAll", With::file, askForAll, &Parts::nothing, {S_FALSE}},
    {"JoinGraph", With::filter, joinGraph, &Parts::nothing, {}},
    {"SelectProgramWhileConnected", With::connection, selectProgram, &Parts::nothing, {S_OK}},
    {"PauseAnew", With::filter, &Parts::pause, &Parts::stop, {}, true},
    {"PauseConnected", With::connection, &Parts::pause, &Parts::stop, {E_FAIL, S_OK}},
};

INSTANTIATE_TEST_SUITE_P(Module, AllocationTest, ::testing::ValuesIn(kOperations),
                         [](const auto& tested) { return std::string(tested.param.name); });

}  // namespace zarnow::test
