// IUnknown's rules on filters, pins and their aggregates.

#include "pair.h"

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

TEST_F(Identity, EveryInterfaceLeadsToEveryOther)
{
    Pair pair;
    for (const Interfaces& object : kInterfaces) {
        const ComPtr<IUnknown> start = object.get(pair);
        const ULONG before = references(start.get());
        const auto unknown = start.query<IUnknown>(IID_IUnknown);
        for (const IID& from : object.iids) {
            const auto first = start.query<IUnknown>(from);
            ASSERT_TRUE(first) << object.object;
            EXPECT_EQ(unknown.get(), first.query<IUnknown>(IID_IUnknown).get()) << object.object;
            for (const IID& to : object.iids)
                EXPECT_EQ(start.query<IUnknown>(to).get(), first.query<IUnknown>(to).get()) << object.object;
        }
        EXPECT_EQ(before + 1, references(start.get())) << object.object;
    }
}

TEST_F(Identity, AnUnknownInterfaceClearsTheOutput)
{
    Pair pair;
    for (const Interfaces& object : kInterfaces) {
        const ComPtr<IUnknown> start = object.get(pair);
        void* out = &pair;
        EXPECT_HRESULT(E_NOINTERFACE, start->QueryInterface(IID_IDispatch, &out)) << object.object;
        EXPECT_EQ(nullptr, out) << object.object;
        EXPECT_HRESULT(E_POINTER, start->QueryInterface(IID_IUnknown, nullptr)) << object.object;
    }
}

TEST_F(Identity, PinsCountOnTheirFilter)
{
    TestSource* source = nullptr;
    ComPtr<IBaseFilter> filter = TestSource::create(&source);
    IPin* const pin = source->stream();
    EXPECT_EQ(2u, pin->AddRef());
    EXPECT_EQ(1u, filter.detach()->Release());
    bool destroyed = false;
    source->m_destroyed = &destroyed;
    EXPECT_EQ(0u, pin->Release());
    EXPECT_TRUE(destroyed);
}

/// An outer object that holds an inner one and shows only what it says.
class Outer : public CUnknown
{
public:
    Outer() : CUnknown(nullptr, nullptr) {}
    ~Outer() override
    {
        if (m_inner)
            m_inner->NonDelegatingRelease();
    }
    void adopt(CUnknown* inner)
    {
        m_inner = inner;
        m_inner->NonDelegatingAddRef();
    }
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override
    {
        return riid == IID_IUnknown ? CUnknown::NonDelegatingQueryInterface(riid, ppv)
                                    : m_inner->NonDelegatingQueryInterface(riid, ppv);
    }

private:
    CUnknown* m_inner = nullptr;
};

TEST_F(Identity, AggregatedFilterHasTheOuterIdentity)
{
    auto* const outer = new Outer;
    outer->NonDelegatingAddRef();
    auto* const controlling = reinterpret_cast<IUnknown*>(static_cast<INonDelegatingUnknown*>(outer));
    auto* const inner = new TestSource({}, 1, controlling);
    outer->adopt(inner);
    bool destroyed = false;
    inner->m_destroyed = &destroyed;
    {
        const ComPtr<IUnknown> held(controlling);
        const auto filter = held.query<IBaseFilter>(IID_IBaseFilter);
        ASSERT_TRUE(filter);
        EXPECT_EQ(controlling, filter.query<IUnknown>(IID_IUnknown).get());
        EXPECT_EQ(3u, references(filter.get())) << "a reference on the inner filter counts on the outer object";
        ComPtr<IPin> pin;
        EXPECT_HRESULT(S_OK, filter->FindPin(L"1", pin.put()));
        EXPECT_EQ(4u, references(filter.get())) << "and so does one on its pin";
        PIN_INFO info{};
        EXPECT_HRESULT(S_OK, pin->QueryPinInfo(&info));
        EXPECT_EQ(filter.get(), info.pFilter);
        info.pFilter->Release();
        IUnknown* own = nullptr;
        inner->NonDelegatingQueryInterface(IID_IUnknown, reinterpret_cast<void**>(&own));
        EXPECT_NE(controlling, own) << "the inner object's own IUnknown does not delegate";
        own->Release();
    }
    EXPECT_FALSE(destroyed);
    EXPECT_EQ(0u, controlling->Release());
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
