// What every COM object keeps to: identity, reference counts, null pointers.

#include "pair.h"

namespace zarnow::test {

namespace {

using Identity = FrameworkTest;

TEST_F(Identity, EveryInterfaceLeadsToEveryOtherAndToNoForeignOne)
{
    Pair pair;
    ASSERT_HRESULT(S_OK, pair.connect());
    ComPtr<IMemAllocator> allocator;
    ComPtr<IMediaSample> sample;
    ComPtr<IEnumPins> pins;
    ComPtr<IEnumMediaTypes> types;
    pair.stream().allocator()->Commit();
    EXPECT_HRESULT(S_OK, pair.stream().allocator()->GetBuffer(sample.put(), nullptr, nullptr, 0));
    EXPECT_HRESULT(S_OK, CreateMemoryAllocator(allocator.put()));
    EXPECT_HRESULT(S_OK, pair.source->EnumPins(pins.put()));
    EXPECT_HRESULT(S_OK, pair.stream().EnumMediaTypes(types.put()));
    const std::pair<IUnknown*, std::vector<IID>> objects[] = {
        {pair.source.get(), {IID_IBaseFilter, IID_IMediaFilter, IID_IPersist, IID_IAMovieSetup, IID_IUnknown}},
        {static_cast<IPin*>(&pair.stream()), {IID_IPin, IID_IQualityControl, IID_IUnknown}},
        {static_cast<IPin*>(&pair.input()), {IID_IPin, IID_IQualityControl, IID_IMemInputPin, IID_IUnknown}},
        {allocator.get(), {IID_IMemAllocator, IID_IUnknown}},
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

TEST_F(Identity, NullPointersAreRefused)
{
    Pair pair;
    ASSERT_HRESULT(S_OK, pair.connect());
    IBaseFilter& filter = *pair.source.get();
    IPin& output = pair.stream();
    SinkInputPin& input = pair.input();
    IMemAllocator& allocator = *pair.stream().allocator();
    allocator.Commit();
    ComPtr<IMediaSample> held;
    ASSERT_HRESULT(S_OK, allocator.GetBuffer(held.put(), nullptr, nullptr, 0));
    IMediaSample& sample = *held.get();
    const auto sample2 = held.query<IMediaSample2>(IID_IMediaSample2);
    ComPtr<IPin> pin;
    ALLOCATOR_PROPERTIES properties{};
    REFERENCE_TIME time = 0;
    const CMediaType type = transportStreamType();
    const struct
    {
        const char* call;
        HRESULT result;
    } calls[] = {
        {"GetClassID", filter.GetClassID(nullptr)},
        {"GetState", filter.GetState(0, nullptr)},
        {"GetSyncSource", filter.GetSyncSource(nullptr)},
        {"EnumPins", filter.EnumPins(nullptr)},
        {"FindPin without an id", filter.FindPin(nullptr, pin.put())},
        {"FindPin", filter.FindPin(L"1", nullptr)},
        {"FindPin by name without an id", pair.sink.FindPin(nullptr, pin.put())},
        {"FindPin by name", pair.sink.FindPin(L"In", nullptr)},
        {"QueryFilterInfo", filter.QueryFilterInfo(nullptr)},
        {"Connect", output.Connect(nullptr, nullptr)},
        {"ReceiveConnection without a pin", input.ReceiveConnection(nullptr, &type)},
        {"ReceiveConnection without a type", input.ReceiveConnection(&output, nullptr)},
        {"ConnectedTo", output.ConnectedTo(nullptr)},
        {"ConnectionMediaType", output.ConnectionMediaType(nullptr)},
        {"QueryPinInfo", output.QueryPinInfo(nullptr)},
        {"QueryDirection", output.QueryDirection(nullptr)},
        {"QueryId", output.QueryId(nullptr)},
        {"QueryId of a named pin", input.QueryId(nullptr)},
        {"QueryAccept", output.QueryAccept(nullptr)},
        {"EnumMediaTypes", output.EnumMediaTypes(nullptr)},
        {"GetAllocator", input.CBaseInputPin::GetAllocator(nullptr)},
        {"NotifyAllocator", input.CBaseInputPin::NotifyAllocator(nullptr, FALSE)},
        {"Receive", input.Receive(nullptr)},
        {"ReceiveMultiple", input.ReceiveMultiple(nullptr, 1, nullptr)},
        {"SetProperties without wishes", allocator.SetProperties(nullptr, &properties)},
        {"SetProperties", allocator.SetProperties(&properties, nullptr)},
        {"GetProperties", allocator.GetProperties(nullptr)},
        {"GetBuffer", allocator.GetBuffer(nullptr, nullptr, nullptr, 0)},
        {"ReleaseBuffer", allocator.ReleaseBuffer(nullptr)},
        {"CreateMemoryAllocator", CreateMemoryAllocator(nullptr)},
        {"GetPointer", sample.GetPointer(nullptr)},
        {"GetTime", sample.GetTime(nullptr, &time)},
        {"GetMediaType", sample.GetMediaType(nullptr)},
        {"GetMediaTime", sample.GetMediaTime(&time, nullptr)},
        {"SetMediaTime without an end", sample.SetMediaTime(&time, nullptr)},
        {"GetProperties of a sample", sample2->GetProperties(8, nullptr)},
        {"SetProperties of a sample", sample2->SetProperties(8, nullptr)},
    };
    for (const auto& each : calls)
        EXPECT_HRESULT(E_POINTER, each.result) << each.call;
}

/// Takes and drops references while it is destroyed.
struct Recounting : CUnknown
{
    explicit Recounting(int* count) : CUnknown(nullptr, nullptr), destructions(count) {}
    ~Recounting() override
    {
        ++*destructions;
        NonDelegatingAddRef();
        NonDelegatingRelease();
    }
    int* destructions;
};

TEST_F(Identity, ReferencesTakenByTheDestructorDoNotDestroyAgain)
{
    int destructions = 0;
    ComPtr<IUnknown>((new Recounting(&destructions))->GetOwner()).reset();
    EXPECT_EQ(1, destructions);
}

}  // namespace

}  // namespace zarnow::test
