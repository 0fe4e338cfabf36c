// The filter as a COM object: identity, pins, pages, persistence.

#include "tests/windows/support/filter_fixture.h"

namespace zarnow::test {

TEST_F(FilterTest, TheFiltersInterfacesArePassedOnToThePin)
{
    const IID interfaces[] = {IID_ITarnwell, IID_IFileSourceFilter, IID_IMediaPosition};
    for (const IID& iid : interfaces)
        EXPECT_EQ(query<IUnknown>(filter.Get(), iid).Get(), query<IUnknown>(pin.Get(), iid).Get());
    const IID own[] = {IID_IPersistStream, IID_ISpecifyPropertyPages, IID_IMediaFilter, IID_IPersist, IID_IAMovieSetup};
    const ComPtr<IUnknown> identity = query<IUnknown>(filter.Get());
    for (const IID& iid : own)
        EXPECT_EQ(identity.Get(), query<IUnknown>(query<IUnknown>(filter.Get(), iid).Get(), IID_IUnknown).Get());
    ComPtr<IUnknown> none;
    EXPECT_HRESULT(E_NOINTERFACE,
                   filter->QueryInterface(IID_IMediaSeeking, reinterpret_cast<void**>(none.GetAddressOf())));
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
    IPin* found[2] = {};
    ULONG count = 0;
    EXPECT_HRESULT(S_FALSE, pins->Next(2, found, &count));
    ASSERT_EQ(1U, count);
    EXPECT_EQ(pin.Get(), found[0]);
    found[0]->Release();

    LPWSTR id = nullptr;
    ASSERT_HRESULT(S_OK, pin->QueryId(&id));
    EXPECT_STREQ(L"1", id);
    CoTaskMemFree(id);
    CLSID clsid = {};
    EXPECT_HRESULT(S_OK, filter->GetClassID(&clsid));
    EXPECT_EQ(CLSID_ZarnowTSSource, clsid);

    CAUUID pages = {};
    ASSERT_HRESULT(S_OK, query<ISpecifyPropertyPages>(filter.Get())->GetPages(&pages));
    ASSERT_EQ(1U, pages.cElems);
    EXPECT_EQ(CLSID_ZarnowTSProperties, pages.pElems[0]);
    CoTaskMemFree(pages.pElems);
}

TEST_F(FilterTest, PersistsTheSelectedProgramBehindTheVersion)
{
    const ComPtr<IPersistStream> persist = query<IPersistStream>(filter.Get());
    ULARGE_INTEGER size = {};
    EXPECT_HRESULT(S_OK, persist->GetSizeMax(&size));
    EXPECT_EQ(32U, size.QuadPart);
    ASSERT_HRESULT(S_OK, load(kTwoProgramsSample));
    EXPECT_HRESULT(S_FALSE, persist->IsDirty());
    ASSERT_HRESULT(S_OK, tarnwell->SelectProgram(1));
    EXPECT_HRESULT(S_OK, persist->IsDirty());

    ComPtr<IStream> stream;
    ASSERT_HRESULT(S_OK, CreateStreamOnHGlobal(nullptr, TRUE, &stream));
    ASSERT_HRESULT(S_OK, persist->Save(stream.Get(), TRUE));
    EXPECT_HRESULT(S_FALSE, persist->IsDirty());
    const auto rewind = [&] { stream->Seek({}, STREAM_SEEK_SET, nullptr); };
    rewind();
    BYTE saved[64] = {};
    ULONG count = 0;
    stream->Read(saved, sizeof(saved), &count);
    ASSERT_EQ(28U, count);
    EXPECT_EQ(0, memcmp(L"00000000000 ", saved, 24));
    const BYTE expected[] = {0x01, 0x10, 0x02, 0x00};  // PMT PID 0x1001, program 2
    EXPECT_EQ(0, memcmp(expected, saved + 24, 4));

    // A graph may be restored before its file is there: nothing is selected then, and nobody complains.
    ASSERT_HRESULT(S_OK, tarnwell->SelectProgram(0));
    for (const DWORD restored : {1U, 0U}) {
        rewind();
        EXPECT_HRESULT(S_OK, persist->Load(stream.Get()));
        EXPECT_EQ(restored, currentProgram());
        ASSERT_HRESULT(S_OK, load(kMpeg2Sample));
    }
}

namespace {

const std::wstring kClass = L"CLSID\\{4A7E2C19-B3D5-4F08-9C61-2E5D8A3F7B14}";
const std::wstring kPageClass = L"CLSID\\{6F2D9E41-0A7C-4B3E-A5D2-71C8E94B0F36}";
const std::wstring kInstance =
    L"CLSID\\{083863F1-70DE-11d0-BD40-00A0C911CE86}\\Instance\\{4A7E2C19-B3D5-4F08-9C61-2E5D8A3F7B14}";
constexpr DWORD kMerit = 0x00200000;

/// Empty when there is none.
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
        ComPtr<IBaseFilter> created;
        EXPECT_HRESULT(S_OK,
                       CoCreateInstance(CLSID_ZarnowTSSource, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&created)));
    }
    CoFreeUnusedLibraries();
    for (int round = 0; round < 2; ++round) {  // what is not there is no error
        EXPECT_HRESULT(S_OK, module.call("DllUnregisterServer"));
        EXPECT_EQ(0, listed(kMerit));
        HKEY left = nullptr;
        for (const std::wstring& key : {kClass, kPageClass, kInstance})
            EXPECT_EQ(ERROR_FILE_NOT_FOUND, RegOpenKeyW(HKEY_CLASSES_ROOT, key.c_str(), &left));
    }
}

}  // namespace zarnow::test
