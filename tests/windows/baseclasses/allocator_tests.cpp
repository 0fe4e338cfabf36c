// Allocators: negotiation between pins, properties, commit state, waiting.

#include <algorithm>
#include <thread>

#include "pair.h"

namespace zarnow::test {

namespace {

class Allocator : public FrameworkTest
{
protected:
    ~Allocator() override { allocator->Decommit(); }

    static ComPtr<IMemAllocator> make()
    {
        ComPtr<IMemAllocator> made;
        EXPECT_HRESULT(S_OK, CreateMemoryAllocator(made.put()));
        return made;
    }
    HRESULT set(ALLOCATOR_PROPERTIES request) { return allocator->SetProperties(&request, &actual); }
    void commit(ALLOCATOR_PROPERTIES request)
    {
        ASSERT_HRESULT(S_OK, set(request));
        ASSERT_HRESULT(S_OK, allocator->Commit());
    }
    HRESULT get(ComPtr<IMediaSample>& sample, DWORD flags = AM_GBF_NOWAIT)
    {
        return allocator->GetBuffer(sample.put(), nullptr, nullptr, flags);
    }

    ComPtr<IMemAllocator> allocator = make();
    ALLOCATOR_PROPERTIES actual{};
    ComPtr<IMediaSample> first;
    ComPtr<IMediaSample> second;
};

TEST_F(Allocator, IsNegotiated)
{
    struct Case
    {
        const char* what;
        bool offered;
        bool refused;
        ALLOCATOR_PROPERTIES requirements;
        LONG align;
    };
    const Case cases[] = {
        {"the peer has none", false, false, {}, 1},
        {"the peer's own is preferred", true, false, {}, 1},
        {"another one is offered when the peer refuses its own", true, true, {}, 1},
        {"the peer's wishes are seen", true, false, {8, 1000, 64, 12}, 64},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        {
            Pair pair;
            pair.sink.offeredAllocator = c.offered ? allocator.get() : nullptr;
            pair.sink.refusedAllocator = c.refused ? allocator.get() : nullptr;
            pair.sink.requirements = c.requirements;
            ASSERT_HRESULT(S_OK, pair.connect());
            EXPECT_EQ(c.offered && !c.refused, pair.stream().allocator() == allocator.get());
            EXPECT_EQ(pair.stream().allocator(), pair.input().allocator());
            EXPECT_EQ(c.align, pair.stream().requested.cbAlign);
            EXPECT_EQ(c.requirements.cbPrefix, pair.stream().requested.cbPrefix);
            EXPECT_EQ(kBuffers, pair.sink.agreed.cBuffers);
        }
        EXPECT_EQ(1u, references(allocator.get())) << "the connection gave it back";
    }
}

struct PropertiesCase
{
    const char* fault;
    ALLOCATOR_PROPERTIES request;
    HRESULT expected;
    LONG actualSize;
};

const PropertiesCase kProperties[] = {
    {"a fitting size stays", {4, 4096, 16, 0}, S_OK, 4096},
    {"sizes are rounded up to the alignment", {4, 188, 16, 0}, S_OK, 192},
    {"together with the prefix", {4, 188, 16, 12}, S_OK, 196},
    {"no alignment", {4, 188, 0, 0}, VFW_E_BADALIGN, 0},
    {"a negative alignment", {4, 188, -16, 0}, VFW_E_BADALIGN, 0},
    {"an alignment that is no power of two", {4, 188, 12, 0}, VFW_E_BADALIGN, 0},
    {"an alignment beyond what a block has", {4, 188, 0x20000, 0}, VFW_E_BADALIGN, 0},
    {"a negative size", {4, -188, 16, 0}, E_INVALIDARG, 0},
    {"a negative prefix", {4, 188, 16, -1}, E_INVALIDARG, 0},
    {"a negative count", {-4, 188, 16, 0}, E_INVALIDARG, 0},
    {"a size that overflows when rounded", {1, 0x7FFFFFFF, 16, 16}, E_OUTOFMEMORY, 0},
};

TEST_F(Allocator, PropertiesAreCheckedAndRounded)
{
    for (const PropertiesCase& test : kProperties) {
        allocator = make();
        actual = {};
        EXPECT_HRESULT(test.expected, set(test.request)) << test.fault;
        EXPECT_EQ(test.actualSize, actual.cbBuffer) << test.fault;
    }
    EXPECT_HRESULT(E_POINTER, allocator->SetProperties(nullptr, &actual));
    EXPECT_HRESULT(E_POINTER, allocator->SetProperties(&actual, nullptr));
}

TEST_F(Allocator, BuffersAreAlignedApartAndWholeWithTheirPrefix)
{
    commit({5, 100, 64, 24});
    std::vector<ComPtr<IMediaSample>> samples(5);
    std::vector<BYTE*> data(5);
    for (std::size_t i = 0; i < data.size(); ++i) {
        ASSERT_HRESULT(S_OK, get(samples[i]));
        samples[i]->GetPointer(&data[i]);
        EXPECT_EQ(0u, reinterpret_cast<std::uintptr_t>(data[i]) % 64);
        std::fill(data[i] - 24, data[i] + samples[i]->GetSize(), static_cast<BYTE>(i));
    }
    for (std::size_t i = 0; i < data.size(); ++i) {
        EXPECT_EQ(i, data[i][-24]) << "nobody wrote over the prefix";
        EXPECT_EQ(i, data[i][samples[i]->GetSize() - 1]) << "or the end";
    }
}

TEST_F(Allocator, CommitAndDecommit)
{
    EXPECT_HRESULT(VFW_E_SIZENOTSET, allocator->Commit());
    EXPECT_HRESULT(VFW_E_NOT_COMMITTED, get(first));
    EXPECT_HRESULT(E_POINTER, allocator->GetBuffer(nullptr, nullptr, nullptr, 0));
    EXPECT_HRESULT(S_OK, allocator->Decommit());
    commit({1, 100, 16, 0});
    EXPECT_HRESULT(S_OK, allocator->Commit()) << "twice is once";
    EXPECT_HRESULT(VFW_E_ALREADY_COMMITTED, set({3, 200, 16, 0}));
    ASSERT_HRESULT(S_OK, get(first));
    IMediaSample* none = first.get();
    EXPECT_HRESULT(VFW_E_TIMEOUT, allocator->GetBuffer(&none, nullptr, nullptr, AM_GBF_NOWAIT));
    EXPECT_EQ(nullptr, none);
    EXPECT_HRESULT(S_OK, allocator->Decommit());
    EXPECT_HRESULT(S_OK, allocator->Decommit());
    EXPECT_HRESULT(VFW_E_BUFFERS_OUTSTANDING, set({3, 200, 16, 0}));
    first.reset();
    EXPECT_HRESULT(S_OK, set({3, 200, 16, 0}));
    EXPECT_HRESULT(S_OK, allocator->Commit());
    EXPECT_HRESULT(S_OK, get(first));
}

TEST_F(Allocator, ASampleComesBackAsTheSameObjectStrippedOfItsProperties)
{
    commit({1, 100, 16, 0});
    ASSERT_HRESULT(S_OK, get(first));
    const IMediaSample* const before = first.get();
    CMediaType type = transportStreamType();
    REFERENCE_TIME time = 5;
    first->SetSyncPoint(TRUE);
    first->SetDiscontinuity(TRUE);
    first->SetTime(&time, &time);
    first->SetMediaType(&type);
    first->SetActualDataLength(3);
    const LONG objects = CBaseObject::ObjectsActive();
    ASSERT_HRESULT(S_OK, (first.reset(), get(first)));
    EXPECT_EQ(objects, CBaseObject::ObjectsActive()) << "no new object";
    EXPECT_EQ(before, first.get());
    const Received received(*first.get());
    EXPECT_FALSE(received.syncPoint || received.discontinuity || received.start || received.newSampleSize);
    EXPECT_EQ(static_cast<std::size_t>(first->GetSize()), received.bytes.size());
    EXPECT_EQ(1u, references(first.get()));
}

/// A thread that is in GetBuffer, without a sample to be had.
class Waiter
{
public:
    explicit Waiter(IMemAllocator* allocator)
        : thread_([this, allocator] { result_ = allocator->GetBuffer(sample_.put(), nullptr, nullptr, 0); })
    {
        Sleep(50);
        EXPECT_EQ(E_PENDING, result_.load()) << "it waits";
    }
    HRESULT result()
    {
        thread_.join();
        return result_;
    }

private:
    ComPtr<IMediaSample> sample_;
    std::atomic<HRESULT> result_ = E_PENDING;
    std::thread thread_;
};

TEST_F(Allocator, WaitingThreadsGetAReturnedSampleOrTheDecommit)
{
    for (const bool returned : {false, true}) {
        commit({1, 100, 16, 0});
        ASSERT_HRESULT(S_OK, get(first));
        {
            Waiter one(allocator.get());
            Waiter other(allocator.get());
            if (returned)
                first.reset();
            Sleep(50);
            EXPECT_HRESULT(S_OK, allocator->Decommit());
            const HRESULT results[] = {one.result(), other.result()};
            EXPECT_EQ(returned ? 1 : 0, std::ranges::count(results, S_OK));
            EXPECT_EQ(returned ? 1 : 2, std::ranges::count(results, VFW_E_NOT_COMMITTED));
        }
        first.reset();
    }
}

TEST_F(Allocator, MemoryStaysUntilTheLastSampleIsBack)
{
    commit({2, 100, 16, 0});
    const LONG committed = CBaseObject::ObjectsActive();
    ASSERT_HRESULT(S_OK, get(first));
    allocator->Decommit();
    EXPECT_EQ(committed, CBaseObject::ObjectsActive());
    EXPECT_HRESULT(S_OK, allocator->Commit()) << "takes the samples over";
    EXPECT_EQ(committed, CBaseObject::ObjectsActive());
    first.reset();
    ASSERT_HRESULT(S_OK, get(first));
    ASSERT_HRESULT(S_OK, get(second)) << "nothing was freed under the new commit";
    allocator->Decommit();
    second.reset();
    BYTE* data = nullptr;
    first->GetPointer(&data);
    data[99] = 1;
    EXPECT_EQ(committed, CBaseObject::ObjectsActive());
    first.reset();
    EXPECT_EQ(committed - 2, CBaseObject::ObjectsActive()) << "both samples are freed now";
}

TEST_F(Allocator, ASampleKeepsItsAllocatorAlive)
{
    commit({1, 100, 16, 0});
    ASSERT_HRESULT(S_OK, get(first));
    allocator = make();
    BYTE* data = nullptr;
    EXPECT_HRESULT(S_OK, first->GetPointer(&data));
    data[99] = 1;
    EXPECT_EQ(0u, first.detach()->Release());
}

}  // namespace

}  // namespace zarnow::test
