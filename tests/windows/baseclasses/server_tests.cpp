// The module as a COM server: class factory, locks, registration.

#include "test_source.h"

#include <new>
#include <utility>

STDAPI DllGetClassObject(REFCLSID clsid, REFIID riid, LPVOID* ppv);
STDAPI DllCanUnloadNow();

namespace {

// {D2E1B0B1-6E4C-4B5A-9B7F-0C1E7E6A9A03} and 04
constexpr CLSID CLSID_Failing = {0xd2e1b0b1, 0x6e4c, 0x4b5a, {0x9b, 0x7f, 0x0c, 0x1e, 0x7e, 0x6a, 0x9a, 0x03}};
constexpr CLSID CLSID_Throwing = {0xd2e1b0b1, 0x6e4c, 0x4b5a, {0x9b, 0x7f, 0x0c, 0x1e, 0x7e, 0x6a, 0x9a, 0x04}};

CUnknown* CALLBACK createFailing(LPUNKNOWN outer, HRESULT* phr)
{
    *phr = E_ACCESSDENIED;
    return new TestSource({}, 1, outer);
}

CUnknown* CALLBACK createThrowing(LPUNKNOWN, HRESULT*)
{
    throw std::bad_alloc();
}

const AMOVIESETUP_MEDIATYPE kType = {&MEDIATYPE_Stream, &MEDIASUBTYPE_MPEG2_TRANSPORT};
wchar_t pinName[] = L"Output";
const AMOVIESETUP_PIN kPin = {pinName, FALSE, TRUE, FALSE, FALSE, &CLSID_NULL, nullptr, 1, &kType};
const AMOVIESETUP_FILTER kFilter = {&CLSID_TestSource, L"Framework Test Source", 0x00200000, 1, &kPin};

std::vector<std::pair<BOOL, CLSID>> initialisations;

void CALLBACK noteInit(BOOL loading, const CLSID* clsid)
{
    initialisations.emplace_back(loading, *clsid);
}

}  // namespace

CFactoryTemplate g_Templates[] = {
    {L"Framework Test Source", &CLSID_TestSource, TestSource::CreateInstance, noteInit, &kFilter},
    {L"Failing", &CLSID_Failing, createFailing, nullptr, nullptr},
    {L"Throwing", &CLSID_Throwing, createThrowing, nullptr, nullptr},
};
int g_cTemplates = 3;

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

TEST_F(Server, OnlyItsClassesHaveFactories)
{
    void* out = &out;
    EXPECT_HRESULT(CLASS_E_CLASSNOTAVAILABLE, DllGetClassObject(CLSID_FilterGraph, IID_IClassFactory, &out));
    EXPECT_EQ(nullptr, out);
    EXPECT_HRESULT(E_NOINTERFACE, DllGetClassObject(CLSID_TestSource, IID_IBaseFilter, &out));
    EXPECT_HRESULT(E_POINTER, DllGetClassObject(CLSID_TestSource, IID_IClassFactory, nullptr));
    ComPtr<IUnknown> unknown;
    EXPECT_HRESULT(S_OK, DllGetClassObject(CLSID_TestSource, IID_IUnknown, unknown.putVoid()));
    EXPECT_EQ(1u, references(unknown.get()));
    EXPECT_TRUE(unknown.query<IClassFactory>(IID_IClassFactory));
}

TEST_F(Server, FactoriesMakeObjectsWithOneReference)
{
    const auto maker = factory();
    IBaseFilter* filter = nullptr;
    ASSERT_HRESULT(S_OK, maker->CreateInstance(nullptr, IID_IBaseFilter, reinterpret_cast<void**>(&filter)));
    EXPECT_EQ(0u, filter->Release());
    void* out = &out;
    EXPECT_HRESULT(E_NOINTERFACE, maker->CreateInstance(nullptr, IID_IDispatch, &out));
    EXPECT_EQ(nullptr, out);
    EXPECT_HRESULT(E_POINTER, maker->CreateInstance(nullptr, IID_IBaseFilter, nullptr));
}

TEST_F(Server, AggregatesAreAskedForByIUnknown)
{
    struct Outer : CUnknown
    {
        Outer() : CUnknown(nullptr, nullptr) { NonDelegatingAddRef(); }
    } outer;
    const auto maker = factory();
    void* out = &out;
    EXPECT_HRESULT(E_NOINTERFACE, maker->CreateInstance(outer.GetOwner(), IID_IBaseFilter, &out));
    EXPECT_EQ(nullptr, out);
    ComPtr<IUnknown> inner;
    ASSERT_HRESULT(S_OK, maker->CreateInstance(outer.GetOwner(), IID_IUnknown, inner.putVoid()));
    EXPECT_NE(outer.GetOwner(), inner.get());
    EXPECT_EQ(1u, references(inner.get())) << "its own count, not the outer one's";
    const auto filter = inner.query<IBaseFilter>(IID_IBaseFilter);
    EXPECT_EQ(2u, references(outer.GetOwner())) << "whereas its interfaces count on the outer object";
}

TEST_F(Server, FailuresOfTheCreationReachTheCallerAndLeaveNothing)
{
    void* out = nullptr;
    EXPECT_HRESULT(E_ACCESSDENIED, factory(CLSID_Failing)->CreateInstance(nullptr, IID_IBaseFilter, &out));
    EXPECT_HRESULT(E_OUTOFMEMORY, factory(CLSID_Throwing)->CreateInstance(nullptr, IID_IBaseFilter, &out));
}

TEST_F(Server, StaysLoadedForObjectsFactoriesAndLocks)
{
    EXPECT_HRESULT(S_OK, DllCanUnloadNow());
    auto maker = factory();
    EXPECT_HRESULT(S_FALSE, DllCanUnloadNow());
    ComPtr<IBaseFilter> filter;
    maker->CreateInstance(nullptr, IID_IBaseFilter, filter.putVoid());
    maker->LockServer(TRUE);
    maker->LockServer(TRUE);
    maker.reset();
    EXPECT_HRESULT(S_FALSE, DllCanUnloadNow());
    filter.reset();
    EXPECT_HRESULT(S_FALSE, DllCanUnloadNow()) << "two locks";
    factory()->LockServer(FALSE);
    EXPECT_HRESULT(S_FALSE, DllCanUnloadNow()) << "one lock";
    factory()->LockServer(FALSE);
    EXPECT_HRESULT(S_OK, DllCanUnloadNow());
    factory()->LockServer(FALSE);
    EXPECT_HRESULT(S_OK, DllCanUnloadNow()) << "an unlock too many keeps the module for good";
    factory()->LockServer(TRUE);
    EXPECT_HRESULT(S_FALSE, DllCanUnloadNow()) << "an unlock too many takes the next lock";
    factory()->LockServer(FALSE);
}

TEST_F(Server, LoadingAndUnloadingRunTheInitRoutines)
{
    const HINSTANCE before = g_hInst;
    auto* const module = reinterpret_cast<HINSTANCE>(0x1000);
    EXPECT_TRUE(DllEntryPoint(module, DLL_PROCESS_ATTACH, nullptr));
    EXPECT_EQ(module, g_hInst);
    EXPECT_TRUE(DllEntryPoint(module, DLL_THREAD_ATTACH, nullptr));
    EXPECT_TRUE(DllEntryPoint(module, DLL_PROCESS_DETACH, nullptr));
    g_hInst = before;
    ASSERT_EQ(2u, initialisations.size());
    EXPECT_TRUE(initialisations[0].first);
    EXPECT_FALSE(initialisations[1].first);
    EXPECT_EQ(CLSID_TestSource, initialisations[1].second);
}

std::wstring registered(const wchar_t* subkey, const wchar_t* value)
{
    wchar_t text[512] = L"";
    DWORD size = sizeof text;
    const std::wstring key = std::wstring(L"CLSID\\{D2E1B0B1-6E4C-4B5A-9B7F-0C1E7E6A9A01}") + subkey;
    RegGetValueW(HKEY_CLASSES_ROOT, key.c_str(), value, RRF_RT_REG_SZ, nullptr, text, &size);
    return text;
}

/// How often the filter mapper lists the test source among filters with such an output.
int listedByMapper()
{
    ComPtr<IFilterMapper2> mapper;
    EXPECT_HRESULT(S_OK, CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_IFilterMapper2,
                                          mapper.putVoid()));
    const GUID type[] = {MEDIATYPE_Stream, MEDIASUBTYPE_MPEG2_TRANSPORT};
    ComPtr<IEnumMoniker> filters;
    mapper->EnumMatchingFilters(filters.put(), 0, TRUE, 0x00200000, FALSE, 0, nullptr, nullptr, nullptr, FALSE, TRUE, 1,
                                type, nullptr, nullptr);
    int found = 0;
    ComPtr<IMoniker> moniker;
    while (filters && filters->Next(1, moniker.put(), nullptr) == S_OK) {
        ComPtr<IPropertyBag> bag;
        moniker->BindToStorage(nullptr, nullptr, IID_IPropertyBag, bag.putVoid());
        VARIANT name;
        VariantInit(&name);
        if (bag && SUCCEEDED(bag->Read(L"FriendlyName", &name, nullptr)))
            found += std::wstring(L"Framework Test Source") == name.bstrVal;
        VariantClear(&name);
    }
    return found;
}

TEST_F(Server, RegistrationIsRepeatableAndLeavesNothingBehind)
{
    EXPECT_HRESULT(S_OK, AMovieDllRegisterServer2(FALSE)) << "what is not there is no error";
    for (int i = 0; i < 2; ++i) {
        ASSERT_HRESULT(S_OK, AMovieDllRegisterServer2(TRUE));
        EXPECT_EQ(L"Framework Test Source", registered(L"", nullptr));
        wchar_t program[512];
        GetModuleFileNameW(nullptr, program, 512);
        EXPECT_EQ(program, registered(L"\\InprocServer32", nullptr));
        EXPECT_EQ(L"Both", registered(L"\\InprocServer32", L"ThreadingModel"));
        EXPECT_EQ(1, listedByMapper());
    }
    for (int i = 0; i < 2; ++i) {
        EXPECT_HRESULT(S_OK, AMovieDllRegisterServer2(FALSE));
        EXPECT_EQ(L"", registered(L"", nullptr));
        EXPECT_EQ(0, listedByMapper());
    }
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
