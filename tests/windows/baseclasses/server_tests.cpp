// The module as a COM server: class factories, aggregates, locks. Its registration is tested with the filter's.

#include <new>
#include <utility>

#include "test_source.h"
#include "tests/windows/support/hresult.h"

STDAPI DllGetClassObject(REFCLSID clsid, REFIID riid, LPVOID* ppv);
STDAPI DllCanUnloadNow();

namespace zarnow::test {

namespace {

// {D2E1B0B1-6E4C-4B5A-9B7F-0C1E7E6A9A03} and 04
constexpr CLSID CLSID_Failing = {0xd2e1b0b1, 0x6e4c, 0x4b5a, {0x9b, 0x7f, 0x0c, 0x1e, 0x7e, 0x6a, 0x9a, 0x03}};
constexpr CLSID CLSID_Throwing = {0xd2e1b0b1, 0x6e4c, 0x4b5a, {0x9b, 0x7f, 0x0c, 0x1e, 0x7e, 0x6a, 0x9a, 0x04}};

bool destroyed = false;  // the last source made here
std::vector<std::pair<BOOL, CLSID>> initialisations;

CUnknown* CALLBACK createSource(LPUNKNOWN outer, HRESULT*)
{
    destroyed = false;
    auto* const source = new TestSource({}, 1, outer);
    source->destroyed = &destroyed;
    return source;
}

CUnknown* CALLBACK createFailing(LPUNKNOWN outer, HRESULT* result)
{
    *result = E_ACCESSDENIED;
    return new TestSource({}, 1, outer);
}

CUnknown* CALLBACK createThrowing(LPUNKNOWN, HRESULT*)
{
    throw std::bad_alloc();
}

void CALLBACK noteInit(BOOL loading, const CLSID* clsid)
{
    initialisations.emplace_back(loading, *clsid);
}

}  // namespace

}  // namespace zarnow::test

CFactoryTemplate g_Templates[] = {
    {L"Source", &zarnow::test::CLSID_TestSource, zarnow::test::createSource, zarnow::test::noteInit, nullptr},
    {L"Failing", &zarnow::test::CLSID_Failing, zarnow::test::createFailing, nullptr, nullptr},
    {L"Throwing", &zarnow::test::CLSID_Throwing, zarnow::test::createThrowing, nullptr, nullptr},
};
int g_cTemplates = 3;

namespace zarnow::test {

namespace {

class Server : public FrameworkTest
{
protected:
    static ComPtr<IClassFactory> factory(REFCLSID clsid = CLSID_TestSource)
    {
        ComPtr<IClassFactory> result;
        EXPECT_HRESULT(S_OK, DllGetClassObject(clsid, IID_IClassFactory, result.putVoid()));
        return result;
    }
};

TEST_F(Server, FactoriesMakeObjectsWithOneReferenceOrLeaveNothing)
{
    void* out = &out;
    EXPECT_HRESULT(CLASS_E_CLASSNOTAVAILABLE, DllGetClassObject(CLSID_FilterGraph, IID_IClassFactory, &out));
    EXPECT_EQ(nullptr, out);
    EXPECT_HRESULT(E_NOINTERFACE, DllGetClassObject(CLSID_TestSource, IID_IBaseFilter, &out));
    EXPECT_HRESULT(E_POINTER, DllGetClassObject(CLSID_TestSource, IID_IClassFactory, nullptr));
    ComPtr<IUnknown> unknown;
    EXPECT_HRESULT(S_OK, DllGetClassObject(CLSID_TestSource, IID_IUnknown, unknown.putVoid()));
    EXPECT_EQ(1u, references(unknown.get()));
    const auto maker = unknown.query<IClassFactory>(IID_IClassFactory);
    IBaseFilter* filter = nullptr;
    ASSERT_HRESULT(S_OK, maker->CreateInstance(nullptr, IID_IBaseFilter, reinterpret_cast<void**>(&filter)));
    EXPECT_EQ(0u, filter->Release());
    out = &out;
    EXPECT_HRESULT(E_NOINTERFACE, maker->CreateInstance(nullptr, IID_IDispatch, &out));
    EXPECT_EQ(nullptr, out);
    EXPECT_HRESULT(E_POINTER, maker->CreateInstance(nullptr, IID_IBaseFilter, nullptr));
    EXPECT_HRESULT(E_ACCESSDENIED, factory(CLSID_Failing)->CreateInstance(nullptr, IID_IBaseFilter, &out));
    EXPECT_HRESULT(E_OUTOFMEMORY, factory(CLSID_Throwing)->CreateInstance(nullptr, IID_IBaseFilter, &out));
}

/// An outer object that holds an inner one and shows its interfaces.
class Outer : public CUnknown
{
public:
    Outer() : CUnknown(nullptr, nullptr) { NonDelegatingAddRef(); }
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override
    {
        return riid == IID_IUnknown ? CUnknown::NonDelegatingQueryInterface(riid, ppv)
                                    : inner->QueryInterface(riid, ppv);
    }
    ComPtr<IUnknown> inner;
};

TEST_F(Server, AggregatesAreAskedForByIUnknownAndHaveTheOuterIdentity)
{
    Outer outer;
    IUnknown* const controlling = outer.GetOwner();
    void* out = &out;
    EXPECT_HRESULT(E_NOINTERFACE, factory()->CreateInstance(controlling, IID_IBaseFilter, &out));
    EXPECT_EQ(nullptr, out);
    ASSERT_HRESULT(S_OK, factory()->CreateInstance(controlling, IID_IUnknown, outer.inner.putVoid()));
    EXPECT_NE(controlling, outer.inner.get()) << "the inner object's own IUnknown does not delegate";
    EXPECT_EQ(1u, references(outer.inner.get()));
    {
        const auto filter = ComPtr<IUnknown>(controlling).query<IBaseFilter>(IID_IBaseFilter);
        ASSERT_TRUE(filter);
        EXPECT_EQ(controlling, filter.query<IUnknown>(IID_IUnknown).get());
        EXPECT_EQ(2u, references(controlling)) << "a reference on the inner filter counts on the outer object";
        ComPtr<IPin> pin;
        EXPECT_HRESULT(S_OK, filter->FindPin(L"1", pin.put()));
        EXPECT_EQ(3u, references(controlling)) << "and so does one on its pin";
        PIN_INFO info{};
        EXPECT_HRESULT(S_OK, pin->QueryPinInfo(&info));
        EXPECT_EQ(filter.get(), info.pFilter);
        info.pFilter->Release();
    }
    EXPECT_EQ(1u, references(controlling));
    EXPECT_FALSE(destroyed);
    outer.inner.reset();
    EXPECT_TRUE(destroyed);
}

TEST_F(Server, StaysLoadedForObjectsFactoriesAndLocks)
{
    EXPECT_HRESULT(S_OK, DllCanUnloadNow());
    auto maker = factory();
    EXPECT_HRESULT(S_FALSE, DllCanUnloadNow());
    ComPtr<IBaseFilter> filter;
    maker->CreateInstance(nullptr, IID_IBaseFilter, filter.putVoid());
    maker.reset();
    EXPECT_HRESULT(S_FALSE, DllCanUnloadNow());
    filter.reset();
    EXPECT_HRESULT(S_OK, DllCanUnloadNow());
    struct
    {
        const char* what;
        BOOL lock;
        HRESULT expected;
    } const steps[] = {
        {"a lock", TRUE, S_FALSE},
        {"a second lock", TRUE, S_FALSE},
        {"one is left", FALSE, S_FALSE},
        {"none is left", FALSE, S_OK},
        {"an unlock too many does not keep the module for good", FALSE, S_OK},
        {"nor does it take the next lock", TRUE, S_FALSE},
        {"the end", FALSE, S_OK},
    };
    for (const auto& step : steps) {
        factory()->LockServer(step.lock);
        EXPECT_HRESULT(step.expected, DllCanUnloadNow()) << step.what;
    }
}

TEST_F(Server, LoadingAndUnloadingRunTheInitRoutines)
{
    initialisations.clear();
    const HINSTANCE before = g_hInst;
    auto* const module = reinterpret_cast<HINSTANCE>(0x1000);
    EXPECT_TRUE(DllEntryPoint(module, DLL_PROCESS_ATTACH, nullptr));
    EXPECT_EQ(module, g_hInst);
    EXPECT_TRUE(DllEntryPoint(module, DLL_THREAD_ATTACH, nullptr));
    EXPECT_TRUE(DllEntryPoint(module, DLL_PROCESS_DETACH, nullptr));
    g_hInst = before;
    EXPECT_EQ((std::vector<std::pair<BOOL, CLSID>>{{TRUE, CLSID_TestSource}, {FALSE, CLSID_TestSource}}),
              initialisations);
}

TEST_F(Server, AFilterWithoutSetupDataRegistersNothing)
{
    TestSource* source = nullptr;
    const auto filter = TestSource::create(&source);
    const auto setup = filter.query<IAMovieSetup>(IID_IAMovieSetup);
    EXPECT_HRESULT(S_FALSE, setup->Register());
    EXPECT_HRESULT(S_FALSE, setup->Unregister());
}

}  // namespace

}  // namespace zarnow::test
