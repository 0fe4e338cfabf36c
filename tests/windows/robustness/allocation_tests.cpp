// Requests for memory and kernel objects that fail, at every point and in every operation.

#include <functional>
#include <set>
#include <thread>

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

    HRESULT create(REFCLSID clsid, IUnknown** object) const
    {
        ComPtr<IClassFactory> factory;
        const HRESULT result =
            module.classObject(clsid, IID_IClassFactory, reinterpret_cast<void**>(factory.GetAddressOf()));
        return FAILED(result) ? result
                              : factory->CreateInstance(nullptr, IID_IUnknown, reinterpret_cast<void**>(object));
    }
    HRESULT createFilter() { return create(CLSID_ZarnowTSSource, filter.ReleaseAndGetAddressOf()); }
    HRESULT createPage() { return create(CLSID_ZarnowTSProperties, page.ReleaseAndGetAddressOf()); }

    template <class Interface>
    ComPtr<Interface> of(REFIID iid) const
    {
        return query<Interface>(filter.Get(), iid);
    }
    ComPtr<IPin> pin() const
    {
        ComPtr<IPin> found;
        EXPECT_HRESULT(S_OK, of<IBaseFilter>(IID_IBaseFilter)->FindPin(L"1", &found));
        return found;
    }
    HRESULT load() const { return of<IFileSourceFilter>(IID_IFileSourceFilter)->Load(kTwoProgramsSample, nullptr); }
    DWORD programs() const
    {
        DWORD count = 0;
        EXPECT_HRESULT(S_OK, of<ITarnwell>(IID_ITarnwell)->GetProgramCount(&count));
        return count;
    }
    HRESULT connect()
    {
        if (!demultiplexer) {
            EXPECT_HRESULT(S_OK, demux::createDemultiplexer(&demultiplexer));
        }
        return pin()->Connect(findPin(*demultiplexer.Get(), PINDIR_INPUT).Get(), nullptr);
    }
    void release()
    {
        if (filter)
            disconnect();
        EXPECT_EQ(0U, page ? page.Reset() : 0);
        EXPECT_EQ(0U, filter ? filter.Reset() : 0);
        EXPECT_EQ(0U, demultiplexer ? demultiplexer.Reset() : 0);
    }
    void disconnect() const
    {
        if (!demultiplexer)
            return;
        pin()->Disconnect();
        findPin(*demultiplexer.Get(), PINDIR_INPUT)->Disconnect();
    }

    const Module& module;
    ComPtr<IUnknown> filter;
    ComPtr<IUnknown> page;
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

/// Everything that is handed out as memory or as an object.
HRESULT askForAll(Parts& parts)
{
    const auto filter = parts.of<IBaseFilter>(IID_IBaseFilter);
    const auto tarnwell = parts.of<ITarnwell>(IID_ITarnwell);
    const ComPtr<IPin> pin = parts.pin();
    HRESULT first = S_OK;
    const auto note = [&](HRESULT result) { first = first == S_OK ? result : first; };

    LPOLESTR text = nullptr;
    note(parts.of<IFileSourceFilter>(IID_IFileSourceFilter)->GetCurFile(&text, nullptr));
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
    note(parts.of<ISpecifyPropertyPages>(IID_ISpecifyPropertyPages)->GetPages(&pages));
    CoTaskMemFree(pages.pElems);
    ComPtr<IEnumPins> pins;
    note(filter->EnumPins(&pins));
    ComPtr<IEnumPins> morePins;
    note(pins ? pins->Clone(&morePins) : E_OUTOFMEMORY);
    ComPtr<IEnumMediaTypes> types;
    note(pin->EnumMediaTypes(&types));
    AM_MEDIA_TYPE* type = nullptr;
    note(types ? types->Next(1, &type, nullptr) : E_OUTOFMEMORY);
    if (type != nullptr)
        DeleteMediaType(type);
    note(filter->JoinFilterGraph(nullptr, L"a name"));
    return first;
}

HRESULT showPage(Parts& parts)
{
    static const HostWindow host;
    FakeSite site;
    HRESULT result = parts.createPage();
    if (FAILED(result))
        return result;
    const auto page = query<IPropertyPage>(parts.page.Get(), IID_IPropertyPage);
    IUnknown* object = parts.filter.Get();
    const RECT place = {0, 0, 450, 300};
    page->SetPageSite(&site);
    EXPECT_HRESULT(S_OK, page->SetObjects(1, &object));
    PROPPAGEINFO information = {};
    result = page->GetPageInfo(&information);
    CoTaskMemFree(information.pszTitle);
    const HRESULT shown = page->Activate(host.handle(), &place, FALSE);
    if (SUCCEEDED(shown)) {
        SendMessageA(GetWindow(host.handle(), GW_CHILD), WM_COMMAND, MAKEWPARAM(IDC_PROGRAMS, CBN_SELCHANGE), 0);
        EXPECT_HRESULT(S_OK, page->Apply());
        EXPECT_HRESULT(S_OK, page->Deactivate());
    }
    EXPECT_HRESULT(S_OK, page->SetObjects(0, nullptr));
    EXPECT_HRESULT(S_OK, page->SetPageSite(nullptr));
    return FAILED(result) ? result : shown;
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
    // All from there on, with the run-time system as it is when nothing was ever thrown; one; the one behind it as well,
    // which an exception asks for.
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
    {"CreateFilter",
     nothing,
     [](Parts& parts) { return parts.createFilter(); },
     [](Parts& parts) { EXPECT_EQ(0U, parts.filter ? parts.filter.Reset() : 0); },
     {}},
    {"ReleaseFilter",
     withFilter,
     [](Parts& parts) {
         parts.filter.Reset();
         return S_OK;
     },
     withFilter,
     {},
     true},
    {"CreatePage",
     nothing,
     [](Parts& parts) { return parts.createPage(); },
     [](Parts& parts) { EXPECT_EQ(0U, parts.page ? parts.page.Reset() : 0); },
     {}},
    {"ShowPage", withFile, showPage, [](Parts& parts) { parts.page.Reset(); }, {S_OK}},  // which then shows less
    {"Load", withFilter, [](Parts& parts) { return parts.load(); }, nothing, {S_OK}},
    {"SetBufferSize",
     withFile,
     [](Parts& parts) {
         const ComPtr<ITarnwell> tarnwell = parts.of<ITarnwell>(IID_ITarnwell);
         const HRESULT set = tarnwell->SetBufferSize(40'000);
         return FAILED(set) ? set : parts.load();
     },
     nothing,
     {S_OK}},
    {"Connect",
     withFile,
     [](Parts& parts) { return parts.connect(); },
     [](Parts& parts) { parts.disconnect(); },
     {VFW_E_NO_ACCEPTABLE_TYPES, E_FAIL, S_OK}},  // a demultiplexer's pin that cannot be described is left out
    {"AskForAll", withFile, askForAll, nothing, {S_FALSE}},
    {"SelectProgramWhileConnected",
     withConnection,
     [](Parts& parts) { return parts.of<ITarnwell>(IID_ITarnwell)->SelectProgram(1); },
     nothing,
     {S_OK}},
    {"PauseAnew",
     withFilter,
     [](Parts& parts) { return parts.of<IBaseFilter>(IID_IBaseFilter)->Pause(); },
     [](Parts& parts) { EXPECT_HRESULT(S_OK, parts.of<IBaseFilter>(IID_IBaseFilter)->Stop()); },
     {},
     true},
    {"PauseConnected",
     withConnection,
     [](Parts& parts) { return parts.of<IBaseFilter>(IID_IBaseFilter)->Pause(); },
     [](Parts& parts) { EXPECT_HRESULT(S_OK, parts.of<IBaseFilter>(IID_IBaseFilter)->Stop()); },
     {E_FAIL, S_OK}},
};

INSTANTIATE_TEST_SUITE_P(Module, AllocationTest, ::testing::ValuesIn(kOperations),
                         [](const auto& tested) { return std::string(tested.param.name); });

}  // namespace zarnow::test
