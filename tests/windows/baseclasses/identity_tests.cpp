// IUnknown's rules on filters, pins and allocators.

#include "pair.h"

namespace zarnow::test {

namespace {

class Identity : public FrameworkTest
{
};

struct Interfaces
{
    const char* object;
    std::function<ComPtr<IUnknown>(Pair&)> get;
    std::vector<IID> iids;
};

const Interfaces kInterfaces[] = {
    {"filter",
     [](Pair& pair) { return ComPtr<IUnknown>(pair.source.get()); },
     {IID_IUnknown, IID_IBaseFilter, IID_IMediaFilter, IID_IPersist, IID_IAMovieSetup}},
    {"output pin",
     [](Pair& pair) { return ComPtr<IUnknown>(static_cast<IPin*>(&pair.stream())); },
     {IID_IUnknown, IID_IPin, IID_IQualityControl}},
    {"input pin",
     [](Pair& pair) { return ComPtr<IUnknown>(static_cast<IPin*>(&pair.input())); },
     {IID_IUnknown, IID_IPin, IID_IQualityControl, IID_IMemInputPin}},
    {"allocator",
     [](Pair&) {
         ComPtr<IMemAllocator> allocator;
         CreateMemoryAllocator(allocator.put());
         return allocator.query<IUnknown>(IID_IUnknown);
     },
     {IID_IUnknown, IID_IMemAllocator}},
};

TEST_F(Identity, EveryInterfaceLeadsToEveryOtherAndToNoForeignOne)
{
    Pair pair;
    for (const Interfaces& object : kInterfaces) {
        SCOPED_TRACE(object.object);
        const ComPtr<IUnknown> start = object.get(pair);
        const ULONG before = references(start.get());
        for (const IID& from : object.iids) {
            const auto first = start.query<IUnknown>(from);
            ASSERT_TRUE(first);
            for (const IID& to : object.iids)
                EXPECT_EQ(start.query<IUnknown>(to).get(), first.query<IUnknown>(to).get());
            void* out = &pair;
            EXPECT_HRESULT(E_NOINTERFACE, first->QueryInterface(IID_IDispatch, &out));
            EXPECT_EQ(nullptr, out);
            EXPECT_HRESULT(E_POINTER, first->QueryInterface(IID_IUnknown, nullptr));
        }
        EXPECT_EQ(before, references(start.get()));
    }
}

TEST_F(Identity, PinsCountOnTheirFilter)
{
    TestSource* source = nullptr;
    ComPtr<IBaseFilter> filter = TestSource::create(&source);
    IPin* const pin = &source->stream();
    EXPECT_EQ(2u, pin->AddRef());
    EXPECT_EQ(1u, filter.detach()->Release());
    bool destroyed = false;
    source->destroyed = &destroyed;
    EXPECT_EQ(0u, pin->Release());
    EXPECT_TRUE(destroyed);
}

/// Takes and drops references while it is destroyed.
class Recounting : public CUnknown
{
public:
    explicit Recounting(int* destructions) : CUnknown(nullptr, nullptr), m_destructions(destructions) {}
    ~Recounting() override
    {
        ++*m_destructions;
        NonDelegatingAddRef();
        NonDelegatingRelease();
    }

private:
    int* m_destructions;
};

TEST_F(Identity, ReferencesTakenByTheDestructorDoNotDestroyAgain)
{
    int destructions = 0;
    auto* const object = new Recounting(&destructions);
    object->NonDelegatingAddRef();
    EXPECT_EQ(0u, object->NonDelegatingRelease());
    EXPECT_EQ(1, destructions);
}

}  // namespace

}  // namespace zarnow::test
