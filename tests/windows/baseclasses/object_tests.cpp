// What every COM object keeps to: identity, reference counts, null pointers. Class factories and persistence, in what
// the filter's own module does not show: creators that fail, aggregates, locks, streams that fail.

#include <cwchar>
#include <new>

#include "pair.h"

// The library wants a table, for entry points that are not called here.
CFactoryTemplate g_Templates[] = {{}};
int g_cTemplates = 0;

namespace zarnow::test {

namespace {

class Object : public FrameworkTest
{
protected:
    Pair pair;
    ComPtr<IMediaSample> sample = pair.takeSample();
    IMemAllocator* const allocator = pair.stream().allocator();
};

TEST_F(Object, EveryInterfaceLeadsToEveryOtherAndToNoForeignOne)
{
    ComPtr<IEnumPins> pins;
    ComPtr<IEnumMediaTypes> types;
    EXPECT_HRESULT(S_OK, pair.source->EnumPins(pins.put()));
    EXPECT_HRESULT(S_OK, pair.stream().EnumMediaTypes(types.put()));
    const std::pair<IUnknown*, std::vector<IID>> objects[] = {
        {pair.source.get(), {IID_IBaseFilter, IID_IMediaFilter, IID_IPersist, IID_IAMovieSetup, IID_IUnknown}},
        {static_cast<IPin*>(&pair.stream()), {IID_IPin, IID_IQualityControl, IID_IUnknown}},
        {static_cast<IPin*>(&pair.input()), {IID_IPin, IID_IQualityControl, IID_IMemInputPin, IID_IUnknown}},
        {allocator, {IID_IMemAllocator, IID_IUnknown}},
        {sample.get(), {IID_IMediaSample, IID_IMediaSample2, IID_IUnknown}},
        {pins.get(), {IID_IEnumPins, IID_IUnknown}},
        {types.get(), {IID_IEnumMediaTypes, IID_IUnknown}},
    };
    for (const auto& [object, iids] : objects) {
        const ULONG before = references(object);
        for (const IID& from : iids) {
            SCOPED_TRACE(from.Data1);
            const auto first = ComPtr<IUnknown>(object).query<IUnknown>(from);
            ASSERT_TRUE(first);
            for (const IID& to : iids)
                EXPECT_EQ(ComPtr<IUnknown>(object).query<IUnknown>(to).get(), first.query<IUnknown>(to).get());
            void* out = &pair;
            EXPECT_HRESULT(E_NOINTERFACE, first->QueryInterface(IID_IDispatch, &out));
            EXPECT_EQ(nullptr, out);
            EXPECT_HRESULT(E_POINTER, first->QueryInterface(IID_IUnknown, nullptr));
        }
        EXPECT_EQ(before, references(object));
    }
}

TEST_F(Object, NullPointersAreRefused)
{
    IBaseFilter& filter = *pair.source.get();
    IPin& output = pair.stream();
    SinkInputPin& input = pair.input();
    const auto sample2 = sample.query<IMediaSample2>(IID_IMediaSample2);
    ComPtr<IPin> pin;
    ALLOCATOR_PROPERTIES properties{};
    REFERENCE_TIME time = 0;
    const CMediaType type = transportStreamType();
    const std::vector<HRESULT> objects[] = {
        {filter.GetClassID(nullptr), filter.GetState(0, nullptr), filter.GetSyncSource(nullptr),
         filter.EnumPins(nullptr), filter.QueryFilterInfo(nullptr), filter.FindPin(nullptr, pin.put()),
         filter.FindPin(L"1", nullptr), pair.sink.FindPin(nullptr, pin.put()), pair.sink.FindPin(L"In", nullptr)},
        {output.Connect(nullptr, nullptr), output.ConnectedTo(nullptr), output.ConnectionMediaType(nullptr),
         output.QueryPinInfo(nullptr), output.QueryDirection(nullptr), output.QueryId(nullptr),
         output.QueryAccept(nullptr), output.EnumMediaTypes(nullptr)},
        {input.ReceiveConnection(nullptr, &type), input.ReceiveConnection(&output, nullptr), input.QueryId(nullptr),
         input.CBaseInputPin::GetAllocator(nullptr), input.CBaseInputPin::NotifyAllocator(nullptr, FALSE),
         input.Receive(nullptr), input.ReceiveMultiple(nullptr, 1, nullptr)},
        {CreateMemoryAllocator(nullptr), allocator->SetProperties(nullptr, &properties),
         allocator->SetProperties(&properties, nullptr), allocator->GetProperties(nullptr),
         allocator->GetBuffer(nullptr, nullptr, nullptr, 0), allocator->ReleaseBuffer(nullptr)},
        {sample->GetPointer(nullptr), sample->GetTime(nullptr, &time), sample->GetMediaType(nullptr),
         sample->GetMediaTime(&time, nullptr), sample->SetMediaTime(&time, nullptr), sample2->GetProperties(8, nullptr),
         sample2->SetProperties(8, nullptr)},
    };
    for (const auto& results : objects)
        for (const HRESULT& result : results)
            EXPECT_HRESULT(E_POINTER, result) << &results - objects << ", " << &result - results.data();
}

class Factory : public FrameworkTest
{
protected:
    static CUnknown* CALLBACK create(LPUNKNOWN outer, HRESULT*) { return createSource({}, 1, outer); }

    CFactoryTemplate creator{L"", &CLSID_NULL, create, nullptr, nullptr};
    const ComPtr<IClassFactory> factory{new CClassFactory(&creator)};
    void* out = &out;
};

TEST_F(Factory, FailuresLeaveNothing)
{
    EXPECT_HRESULT(E_NOINTERFACE, factory->CreateInstance(nullptr, IID_IDispatch, &out));
    EXPECT_EQ(nullptr, out);
    EXPECT_HRESULT(E_POINTER, factory->CreateInstance(nullptr, IID_IBaseFilter, nullptr));
    creator.m_lpfnNew = [](LPUNKNOWN outer, HRESULT* result) {
        *result = E_ACCESSDENIED;
        return create(outer, result);
    };
    EXPECT_HRESULT(E_ACCESSDENIED, factory->CreateInstance(nullptr, IID_IBaseFilter, &out));
    creator.m_lpfnNew = [](LPUNKNOWN, HRESULT*) -> CUnknown* { throw std::bad_alloc(); };
    EXPECT_HRESULT(E_OUTOFMEMORY, factory->CreateInstance(nullptr, IID_IBaseFilter, &out));
}

TEST_F(Factory, AggregatesAreAskedForByIUnknownAndHaveTheOuterIdentity)
{
    SinkFilter outer;  // or any other object
    IUnknown* const controlling = outer.GetOwner();
    EXPECT_HRESULT(E_NOINTERFACE, factory->CreateInstance(controlling, IID_IBaseFilter, &out));
    EXPECT_EQ(nullptr, out);
    ComPtr<IUnknown> inner;
    ASSERT_HRESULT(S_OK, factory->CreateInstance(controlling, IID_IUnknown, inner.putVoid()));
    EXPECT_NE(controlling, inner.get()) << "the inner object's own IUnknown does not delegate";
    EXPECT_EQ(1u, references(inner.get()));
    {
        const auto filter = inner.query<IBaseFilter>(IID_IBaseFilter);
        ASSERT_TRUE(filter);
        EXPECT_EQ(controlling, filter.query<IUnknown>(IID_IUnknown).get());
        EXPECT_EQ(2u, references(controlling)) << "a reference on the inner filter counts on the outer object";
        ComPtr<IPin> pin;
        EXPECT_HRESULT(S_OK, filter->FindPin(L"1", pin.put()));
        EXPECT_EQ(3u, references(controlling)) << "and so does one on its pin";
    }
    EXPECT_EQ(1u, references(controlling));
    EXPECT_EQ(0u, inner.detach()->Release());
}

TEST_F(Factory, AnUnlockTooManyIsForgotten)
{
    factory->LockServer(FALSE);
    EXPECT_FALSE(CClassFactory::IsLocked()) << "it does not keep the module for good";
    factory->LockServer(TRUE);
    EXPECT_TRUE(CClassFactory::IsLocked()) << "nor does it take the next lock";
    factory->LockServer(FALSE);
}

/// An object that has nothing but a version. It takes and drops references while it is destroyed.
struct Versioned : CUnknown, CPersistStream
{
    DECLARE_IUNKNOWN
    Versioned() : CUnknown(nullptr, nullptr), CPersistStream(nullptr, nullptr) {}
    ~Versioned() override
    {
        NonDelegatingAddRef();
        NonDelegatingRelease();
    }

    STDMETHODIMP GetClassID(CLSID*) override { return E_NOTIMPL; }
    HRESULT WriteToStream(IStream*) override { return result; }
    HRESULT ReadFromStream(IStream*) override { return result; }
    DWORD GetSoftwareVersion() override { return 0xFFFFFFFF; }
    DWORD fileVersion() const { return mPS_dwFileVersion; }

    HRESULT result = S_OK;
};

TEST_F(FrameworkTest, OnlyWhatWasSavedOrLoadedWholeIsNoLongerDirty)
{
    auto& object = *new Versioned;
    const ComPtr<IPersistStream> owner(&object);
    ComPtr<IStream> stream;
    CreateStreamOnHGlobal(nullptr, TRUE, stream.put());
    const auto rewound = [&] { return SUCCEEDED(stream->Seek({}, STREAM_SEEK_SET, nullptr)) ? stream.get() : nullptr; };
    object.SetDirty(TRUE);
    EXPECT_HRESULT(S_OK, object.Save(stream.get(), FALSE)) << "a copy";
    EXPECT_HRESULT(S_OK, object.IsDirty());
    object.result = STG_E_MEDIUMFULL;
    EXPECT_HRESULT(STG_E_MEDIUMFULL, object.Save(stream.get(), TRUE));
    EXPECT_HRESULT(S_OK, object.IsDirty()) << "nothing was saved";
    EXPECT_HRESULT(STG_E_MEDIUMFULL, object.Load(rewound()));
    EXPECT_HRESULT(S_OK, object.IsDirty()) << "nothing was loaded";
    object.result = S_OK;
    EXPECT_HRESULT(S_OK, object.Load(rewound()));
    EXPECT_HRESULT(S_FALSE, object.IsDirty());
    EXPECT_EQ(0xFFFFFFFF, object.fileVersion());
    EXPECT_HRESULT(E_POINTER, object.Save(nullptr, TRUE));
    for (const wchar_t* wrong : {L"", L"0000000", L"no number   ", L"            ", L"000000 00000"}) {
        stream->SetSize({});
        rewound()->Write(wrong, static_cast<ULONG>(std::wcslen(wrong) * sizeof(wchar_t)), nullptr);
        EXPECT_HRESULT(E_FAIL, object.Load(rewound())) << wrong;
    }
}

}  // namespace

}  // namespace zarnow::test
