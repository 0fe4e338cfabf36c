// The filter as a COM object: identity, pins, pages, registration.

#include "tests/windows/support/filter_fixture.h"

namespace zarnow::test {

TEST_F(FilterTest, TheFiltersInterfacesArePassedOnToThePin)
{
    for (const IID& iid : {IID_ITarnwell, IID_IFileSourceFilter, IID_IMediaPosition})
        EXPECT_EQ(query<IUnknown>(filter.Get(), iid).Get(), query<IUnknown>(pin.Get(), iid).Get());
    const ComPtr<IUnknown> identity = query<IUnknown>(filter.Get());
    for (const IID& iid : {IID_IPersistStream, IID_ISpecifyPropertyPages, IID_IMediaFilter, IID_IAMovieSetup})
        EXPECT_EQ(identity.Get(), query<IUnknown>(query<IUnknown>(filter.Get(), iid).Get(), IID_IUnknown).Get());
    ComPtr<IUnknown> none;
    EXPECT_HRESULT(E_NOINTERFACE, filter->QueryInterface(IID_IMediaSeeking, &none));
}

TEST_F(FilterTest, HasOneOutputPinAndOnePropertyPage)
{
    PIN_INFO info = {};
    ASSERT_HRESULT(S_OK, pin->QueryPinInfo(&info));
    EXPECT_STREQ(L"TS Out", info.achName);
    EXPECT_EQ(PINDIR_OUTPUT, info.dir);
    EXPECT_EQ(filter.Get(), info.pFilter);
    info.pFilter->Release();

    ComPtr<IEnumPins> pins;
    ASSERT_HRESULT(S_OK, filter->EnumPins(&pins));
    EXPECT_HRESULT(S_OK, pins->Skip(1));
    EXPECT_HRESULT(S_FALSE, pins->Skip(1));

    CLSID clsid = {};
    EXPECT_HRESULT(S_OK, filter->GetClassID(&clsid));
    EXPECT_EQ(CLSID_ZarnowTSSource, clsid);

    CAUUID pages = {};
    ASSERT_HRESULT(S_OK, query<ISpecifyPropertyPages>(filter.Get())->GetPages(&pages));
    ASSERT_EQ(1U, pages.cElems);
    EXPECT_EQ(CLSID_ZarnowTSProperties, pages.pElems[0]);
    CoTaskMemFree(pages.pElems);
}

namespace {

const std::wstring kClass = L"CLSID\\{4A7E2C19-B3D5-4F08-9C61-2E5D8A3F7B14}";
const std::wstring kPageClass = L"CLSID\\{6F2D9E41-0A7C-4B3E-A5D2-71C8E94B0F36}";
const std::wstring kInstance =
    L"CLSID\\{083863F1-70DE-11d0-BD40-00A0C911CE86}\\Instance\\{4A7E2C19-B3D5-4F08-9C61-2E5D8A3F7B14}";
constexpr DWORD kMerit = 0x00200000;

std::wstring registered(const std::wstring& key, const wchar_t* value = nullptr)
{
    wchar_t text[MAX_PATH] = L"";
    DWORD size = sizeof(text);
    RegGetValueW(HKEY_CLASSES_ROOT, key.c_str(), value, RRF_RT_REG_SZ, nullptr, text, &size);
    return text;
}

/// How often the filter mapper lists the filter among those with such an output.
int listed(DWORD merit)
{
    ComPtr<IFilterMapper2> mapper;
    EXPECT_HRESULT(S_OK, CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&mapper)));
    const GUID types[] = {MEDIATYPE_Stream, MEDIASUBTYPE_MPEG2_TRANSPORT};
    ComPtr<IEnumMoniker> monikers;
    mapper->EnumMatchingFilters(&monikers, 0, TRUE, merit, FALSE, 0, nullptr, nullptr, nullptr, FALSE, TRUE, 1, types,
                                nullptr, nullptr);
    int found = 0;
    for (ComPtr<IMoniker> moniker; monikers && monikers->Next(1, moniker.ReleaseAndGetAddressOf(), nullptr) == S_OK;) {
        ComPtr<IPropertyBag> bag;
        VARIANT name = {};
        if (SUCCEEDED(moniker->BindToStorage(nullptr, nullptr, IID_PPV_ARGS(&bag))) &&
            SUCCEEDED(bag->Read(L"FriendlyName", &name, nullptr)))
            found += std::wstring(name.bstrVal) == L"Zarnow Transport Stream Source" ? 1 : 0;
        VariantClear(&name);
    }
    return found;
}

}  // namespace

TEST(ModuleTest, RegistrationComesAndGoesWhole)
{
    const Module module;
    wchar_t path[MAX_PATH] = L"";
    GetModuleFileNameW(module.handle(), path, MAX_PATH);
    module.call("DllUnregisterServer");
    for (int round = 0; round < 2; ++round) {  // repeatable
        ASSERT_HRESULT(S_OK, module.call("DllRegisterServer"));
        EXPECT_EQ(L"Zarnow Transport Stream Source", registered(kClass));
        EXPECT_EQ(L"TS Properties", registered(kPageClass));
        for (const std::wstring& key : {kClass, kPageClass}) {
            EXPECT_EQ(path, registered(key + L"\\InprocServer32"));
            EXPECT_EQ(L"Both", registered(key + L"\\InprocServer32", L"ThreadingModel"));
        }
        EXPECT_EQ(1, listed(kMerit));
        EXPECT_EQ(0, listed(kMerit + 1));
    }
    for (int round = 0; round < 2; ++round) {  // what is not there is no error
        EXPECT_HRESULT(S_OK, module.call("DllUnregisterServer"));
        EXPECT_EQ(0, listed(kMerit));
        HKEY left = nullptr;
        for (const std::wstring& key : {kClass, kPageClass, kInstance})
            EXPECT_EQ(ERROR_FILE_NOT_FOUND, RegOpenKeyW(HKEY_CLASSES_ROOT, key.c_str(), &left));
    }
}

}  // namespace zarnow::test
