// The filter as a COM object: identity, pins, pages, persistence.

#include "tests/windows/support/filter_fixture.h"

namespace zarnow::test {

TEST_F(FilterTest, TheFiltersInterfacesArePassedOnToThePin)
{
    const IID interfaces[] = {IID_ITarnwell, IID_IFileSourceFilter, IID_IMediaPosition};
    for (const IID& iid : interfaces)
        EXPECT_EQ(query<IUnknown>(filter.Get(), iid).Get(), query<IUnknown>(pin.Get(), iid).Get());
    const IID own[] = {IID_IPersistStream, IID_ISpecifyPropertyPages, IID_IMediaFilter, IID_IPersist, IID_IAMovieSetup};
    const ComPtr<IUnknown> identity = query<IUnknown>(filter.Get(), IID_IUnknown);
    for (const IID& iid : own)
        EXPECT_EQ(identity.Get(), query<IUnknown>(query<IUnknown>(filter.Get(), iid).Get(), IID_IUnknown).Get());
    ComPtr<IUnknown> none;
    EXPECT_HRESULT(E_NOINTERFACE,
                   filter->QueryInterface(IID_IMediaSeeking, reinterpret_cast<void**>(none.GetAddressOf())));
    EXPECT_HRESULT(E_POINTER, filter->QueryInterface(IID_IUnknown, nullptr));
}

TEST_F(FilterTest, HasOneOutputPin)
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
}

TEST_F(FilterTest, NamesItsPropertyPage)
{
    CAUUID pages = {};
    ASSERT_HRESULT(S_OK, query<ISpecifyPropertyPages>(filter.Get(), IID_ISpecifyPropertyPages)->GetPages(&pages));
    ASSERT_EQ(1U, pages.cElems);
    EXPECT_EQ(CLSID_ZarnowTSProperties, pages.pElems[0]);
    CoTaskMemFree(pages.pElems);
}

TEST_F(FilterTest, PersistsTheSelectedProgramBehindTheVersion)
{
    const ComPtr<IPersistStream> persist = query<IPersistStream>(filter.Get(), IID_IPersistStream);
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
    const LARGE_INTEGER begin = {};
    stream->Seek(begin, STREAM_SEEK_SET, nullptr);
    BYTE saved[64] = {};
    ULONG count = 0;
    stream->Read(saved, sizeof(saved), &count);
    ASSERT_EQ(28U, count);
    EXPECT_EQ(0, memcmp(L"00000000000 ", saved, 24));
    const BYTE expected[] = {0x01, 0x10, 0x02, 0x00};  // PMT PID 0x1001, program 2
    EXPECT_EQ(0, memcmp(expected, saved + 24, 4));

    ASSERT_HRESULT(S_OK, tarnwell->SelectProgram(0));
    stream->Seek(begin, STREAM_SEEK_SET, nullptr);
    EXPECT_HRESULT(S_OK, persist->Load(stream.Get()));
    DWORD index = 9;
    WORD number = 0;
    WORD pmtPid = 0;
    EXPECT_HRESULT(S_OK, tarnwell->GetCurrentProgram(&index, &number, &pmtPid));
    EXPECT_EQ(1U, index);

    // A graph may be restored before its file is there: nothing is selected then, and nobody complains.
    ASSERT_HRESULT(S_OK, load(kMpeg2Sample));
    stream->Seek(begin, STREAM_SEEK_SET, nullptr);
    EXPECT_HRESULT(S_OK, persist->Load(stream.Get()));
    EXPECT_HRESULT(S_OK, tarnwell->GetCurrentProgram(&index, &number, &pmtPid));
    EXPECT_EQ(0U, index);
}

TEST(ModuleTest, ClassFactoriesAndLocks)
{
    const Module module;
    EXPECT_HRESULT(S_OK, module.canUnload());
    for (const CLSID& clsid : {CLSID_ZarnowTSSource, CLSID_ZarnowTSProperties}) {
        ComPtr<IClassFactory> factory;
        ASSERT_HRESULT(S_OK,
                       module.classObject(clsid, IID_IClassFactory, reinterpret_cast<void**>(factory.GetAddressOf())));
        EXPECT_HRESULT(S_FALSE, module.canUnload());
        EXPECT_HRESULT(S_OK, factory->LockServer(TRUE));
        ComPtr<IUnknown> object;
        EXPECT_HRESULT(E_NOINTERFACE, factory->CreateInstance(factory.Get(), IID_IPersist,
                                                              reinterpret_cast<void**>(object.GetAddressOf())));
        EXPECT_HRESULT(S_OK,
                       factory->CreateInstance(nullptr, IID_IUnknown, reinterpret_cast<void**>(object.GetAddressOf())));
        EXPECT_EQ(0U, object.Reset());
        EXPECT_EQ(0U, factory.Reset());
        EXPECT_HRESULT(S_FALSE, module.canUnload());
        ASSERT_HRESULT(S_OK,
                       module.classObject(clsid, IID_IClassFactory, reinterpret_cast<void**>(factory.GetAddressOf())));
        EXPECT_HRESULT(S_OK, factory->LockServer(FALSE));
    }
    EXPECT_HRESULT(S_OK, module.canUnload());
    ComPtr<IUnknown> none;
    EXPECT_HRESULT(CLASS_E_CLASSNOTAVAILABLE, module.classObject(CLSID_FilterGraph, IID_IClassFactory,
                                                                 reinterpret_cast<void**>(none.GetAddressOf())));
    EXPECT_HRESULT(E_NOINTERFACE, module.classObject(CLSID_ZarnowTSSource, IID_IPersist,
                                                     reinterpret_cast<void**>(none.GetAddressOf())));
}

TEST(ModuleTest, RegistrationComesAndGoesWhole)
{
    const Module module;
    const std::wstring key = L"CLSID\\{4A7E2C19-B3D5-4F08-9C61-2E5D8A3F7B14}";
    const std::wstring instance =
        L"CLSID\\{083863F1-70DE-11d0-BD40-00A0C911CE86}\\Instance\\{4A7E2C19-B3D5-4F08-9C61-2E5D8A3F7B14}";
    const auto exists = [](const std::wstring& path) {
        HKEY opened = nullptr;
        const bool there = RegOpenKeyW(HKEY_CLASSES_ROOT, path.c_str(), &opened) == ERROR_SUCCESS;
        RegCloseKey(opened);
        return there;
    };
    for (int round = 0; round < 2; ++round)  // repeatable
        ASSERT_HRESULT(S_OK, module.call("DllRegisterServer"));
    EXPECT_TRUE(exists(key));
    wchar_t model[16] = {};
    DWORD size = sizeof(model);
    RegGetValueW(HKEY_CLASSES_ROOT, (key + L"\\InprocServer32").c_str(), L"ThreadingModel", RRF_RT_REG_SZ, nullptr,
                 model, &size);
    EXPECT_STREQ(L"Both", model);
    {
        ComPtr<IBaseFilter> created;
        EXPECT_HRESULT(S_OK, CoCreateInstance(CLSID_ZarnowTSSource, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter,
                                              reinterpret_cast<void**>(created.GetAddressOf())));
        ComPtr<IFilterMapper2> mapper;
        ASSERT_HRESULT(S_OK, CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_IFilterMapper2,
                                              reinterpret_cast<void**>(mapper.GetAddressOf())));
        const auto listed = [&](DWORD merit) {
            const GUID types[] = {MEDIATYPE_Stream, MEDIASUBTYPE_MPEG2_TRANSPORT};
            ComPtr<IEnumMoniker> monikers;
            if (mapper->EnumMatchingFilters(&monikers, 0, TRUE, merit, FALSE, 0, nullptr, nullptr, nullptr, FALSE, TRUE,
                                            1, types, nullptr, nullptr) != S_OK)
                return false;
            for (ComPtr<IMoniker> moniker; monikers->Next(1, moniker.ReleaseAndGetAddressOf(), nullptr) == S_OK;) {
                ComPtr<IPropertyBag> bag;
                VARIANT name = {};
                if (SUCCEEDED(moniker->BindToStorage(nullptr, nullptr, IID_IPropertyBag,
                                                     reinterpret_cast<void**>(bag.GetAddressOf()))) &&
                    SUCCEEDED(bag->Read(L"FriendlyName", &name, nullptr))) {
                    const bool ours = std::wstring(name.bstrVal) == L"Zarnow Transport Stream Source";
                    VariantClear(&name);
                    if (ours)
                        return true;
                }
            }
            return false;
        };
        EXPECT_TRUE(listed(0x00200000));
        EXPECT_FALSE(listed(0x00200001));
    }
    CoFreeUnusedLibraries();
    for (int round = 0; round < 2; ++round)
        EXPECT_HRESULT(S_OK, module.call("DllUnregisterServer"));
    EXPECT_FALSE(exists(key));
    EXPECT_FALSE(exists(instance));
    EXPECT_FALSE(exists(L"CLSID\\{6F2D9E41-0A7C-4B3E-A5D2-71C8E94B0F36}"));
}

}  // namespace zarnow::test
