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

/// A filter with what stands around it. Everything is made anew for each failure.
struct Parts
{
    explicit Parts(const Module& fromModule) : module(fromModule) {}

    HRESULT createFilter() { return module.create(CLSID_ZarnowTSSource, IID_PPV_ARGS(&filter)); }
    HRESULT createPage() { return module.create(CLSID_ZarnowTSProperties, IID_PPV_ARGS(&page)); }

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
    HRESULT load() const { return of<IFileSourceFilter>()->Load(kTwoProgramsSample, nullptr); }
    HRESULT connect()
    {
        if (!demultiplexer) {
            EXPECT_HRESULT(S_OK, demux::createDemultiplexer(&demultiplexer));
        }
        return pin()->Connect(findPin(*demultiplexer.Get(), PINDIR_INPUT).Get(), nullptr);
    }
    void disconnect() const
    {
        if (!demultiplexer)
            return;
        pin()->Disconnect();
        findPin(*demultiplexer.Get(), PINDIR_INPUT)->Disconnect();
    }
    void release()
    {
        if (filter)
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

void nothing(Parts&) {}

void withFilter(Parts& parts)
{
    ASSERT_HRESULT(S_OK, parts.createFilter());
}

void withFile(Parts& parts)
{
    withFilter(parts);
    ASSERT_HRESULT(S_OK, parts.load());
}

void withConnection(Parts& parts)
{
    withFile(parts);
    ASSERT_HRESULT(S_OK, parts.connect());
}

void stop(Parts& parts)
{
    EXPECT_HRESULT(S_OK, parts.filter->Stop());
}

/// Everything that is handed out as memory or as an object.
HRESULT askForAll(Parts& parts)
{
    const auto tarnwell = parts.of<ITarnwell>();
    const ComPtr<IPin> pin = parts.pin();
    HRESULT first = S_OK;
    const auto note = [&](HRESULT result) { first = first == S_OK ? result : first; };

    LPOLESTR text = nullptr;
    note(parts.of<IFileSourceFilter>()->GetCurFile(&text, nullptr));
    CoTaskMemFree(text);
    note(pin->QueryId(&text));
    CoTaskMemFree(text);
    WORD pmtPid = 0;
    WORD number = 0;
    BSTR name = nullptr;
    note(tarnwell->GetProgramInfo(0, &pmtPid, &number, &name));
    SysFreeString(name);
    note(tarnwell->GetStreamInfo(0, pmtPid, number, &pmtPid, &name));
    SysFreeString(name);
    TarnwellVideoInfo video = {};
    note(tarnwell->GetVideoInfo(&video));
    CAUUID pages = {};
    note(parts.of<ISpecifyPropertyPages>()->GetPages(&pages));
    CoTaskMemFree(pages.pElems);
    ComPtr<IEnumPins> pins;
    note(parts.filter->EnumPins(&pins));
    ComPtr<IEnumPins> morePins;
    note(pins ? pins->Clone(&morePins) : E_OUTOFMEMORY);
    ComPtr<IEnumMediaTypes> types;
    note(pin->EnumMediaTypes(&types));
    AM_MEDIA_TYPE* type = nullptr;
    note(types ? types->Next(1, &type, nullptr) : E_OUTOFMEMORY);
    DeleteMediaType(type);
    return first;
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
    std::function<void(Parts&)> prepare;
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
    bool runFailing(ModuleRequests& requests, long number, long count)
    {
        const Operation& operation = GetParam();
        const std::size_t before = requests.blocksInUse();
        bool failed = false;
        {
            Parts parts(module);
            operation.prepare(parts);
            requests.fail(number, count);
            const HRESULT result = operation.run(parts);
            failed = requests.succeedAgain();
            EXPECT_TRUE(result == S_OK ? !failed || operation.failures.count(S_OK) != 0
                                       : result == E_OUTOFMEMORY || operation.failures.count(result) != 0)
                << hex(result);
            operation.undo(parts);
            EXPECT_HRESULT(S_OK, operation.run(parts)) << "the next attempt";
            operation.undo(parts);
            parts.release();
        }
        EXPECT_HRESULT(S_OK, module.canUnload());
        leaked_ += static_cast<long>(requests.blocksInUse()) - static_cast<long>(before);
        return failed;
    }

    Module module;
    long leaked_ = 0;
};

TEST_P(AllocationTest, EveryRequestMayFail)
{
    ModuleRequests requests(module.handle());
    // All from there on, with the run-time system as it is when nothing was ever thrown; one; the one behind it as
    // well, which an exception asks for.
    for (const long count : {LONG_MAX, 1L, 2L}) {
        SCOPED_TRACE(count);
        long number = 1;
        // The first round is allowed what the run-time system keeps for each thread.
        for (const bool first : {true, false}) {
            number = 1;
            leaked_ = 0;
            for (bool more = true; more && !HasFailure(); ++number) {
                SCOPED_TRACE(number);
                more = runFailing(requests, number, count);
                EXPECT_TRUE(first || leaked_ == 0) << leaked_ << " blocks are left";
            }
        }
        if (HasFailure())
            return;
        EXPECT_EQ(GetParam().needsNothing, number == 2) << number - 2 << " requests";
        RecordProperty("requests", static_cast<int>(number - 2));
    }
}

/// There is what the run-time system keeps for each thread, made when it throws for the first time.
TEST(FirstException, OfAThreadNeedsNoMemory)
{
    const Module module;
    ModuleRequests requests(module.handle());
    for (const bool loads : {false, true}) {
        Parts parts(module);
        if (loads)
            withFilter(parts);
        HRESULT result = S_OK;
        std::thread([&] {
            requests.fail(1, LONG_MAX);
            result = loads ? parts.load() : parts.createFilter();
            EXPECT_TRUE(requests.succeedAgain());
        }).join();
        EXPECT_HRESULT(E_OUTOFMEMORY, result) << (loads ? "loading" : "creating");
        parts.release();
    }
    EXPECT_HRESULT(S_OK, module.canUnload());
}

const Operation kOperations[] = {
    {"CreateFilter", nothing, std::mem_fn(&Parts::createFilter), std::mem_fn(&Parts::release), {}},
    {"ReleaseFilter",
     withFilter,
     [](Parts& parts) {
         parts.filter.Reset();
         return S_OK;
     },
     withFilter,
     {},
     true},
    {"CreatePage", nothing, std::mem_fn(&Parts::createPage), std::mem_fn(&Parts::release), {}},
    {"ShowPage", withFile, showPage, [](Parts& parts) { parts.page.Reset(); }, {S_OK}},  // which then shows less
    {"Load", withFilter, std::mem_fn(&Parts::load), nothing, {S_OK}},
    {"SetBufferSize",
     withFile,
     [](Parts& parts) {
         const HRESULT set = parts.of<ITarnwell>()->SetBufferSize(40'000);
         return FAILED(set) ? set : parts.load();
     },
     nothing,
     {S_OK}},
    {"Connect",
     withFile,
     std::mem_fn(&Parts::connect),
     std::mem_fn(&Parts::disconnect),
     {VFW_E_NO_ACCEPTABLE_TYPES, E_FAIL, S_OK}},  // a demultiplexer's pin that cannot be described is left out
    {"AskForAll", withFile, askForAll, nothing, {S_FALSE}},
    {"JoinGraph", withFilter, joinGraph, nothing, {}},
    {"SelectProgramWhileConnected",
     withConnection,
     [](Parts& parts) { return parts.of<ITarnwell>()->SelectProgram(1); },
     nothing,
     {S_OK}},
    {"PauseAnew", withFilter, [](Parts& parts) { return parts.filter->Pause(); }, stop, {}, true},
    {"PauseConnected", withConnection, [](Parts& parts) { return parts.filter->Pause(); }, stop, {E_FAIL, S_OK}},
};

INSTANTIATE_TEST_SUITE_P(Module, AllocationTest, ::testing::ValuesIn(kOperations),
                         [](const auto& tested) { return std::string(tested.param.name); });

}  // namespace zarnow::test
