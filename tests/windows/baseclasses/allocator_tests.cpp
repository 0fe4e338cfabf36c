// Allocators: negotiation between pins, properties, commit state, waiting.

#include "pair.h"

#include <thread>

namespace {

class Allocator : public FrameworkTest
{
protected:
    static ComPtr<IMemAllocator> make(LONG count = 2, LONG size = 100, LONG align = 16, LONG prefix = 0)
    {
        ComPtr<IMemAllocator> allocator;
        EXPECT_HRESULT(S_OK, CreateMemoryAllocator(allocator.put()));
        ALLOCATOR_PROPERTIES request{count, size, align, prefix};
        ALLOCATOR_PROPERTIES actual{};
        EXPECT_HRESULT(S_OK, allocator->SetProperties(&request, &actual));
        return allocator;
    }
    static ComPtr<IMediaSample> get(IMemAllocator* allocator)
    {
        ComPtr<IMediaSample> sample;
        EXPECT_HRESULT(S_OK, allocator->GetBuffer(sample.put(), nullptr, nullptr, 0));
        return sample;
    }
};

TEST_F(Allocator, PeersOwnIsPreferredAndItsWishesAreSeen)
{
    Pair pair;
    pair.input().m_wishes = {8, 1000, 64, 12};
    ASSERT_HRESULT(S_OK, pair.connect());
    EXPECT_EQ(12, pair.stream().m_request.cbPrefix);
    EXPECT_EQ(64, pair.stream().m_request.cbAlign);
    ALLOCATOR_PROPERTIES actual{};
    pair.stream().allocator()->GetProperties(&actual);
    EXPECT_EQ(64, actual.cbAlign);
    EXPECT_EQ(4, actual.cBuffers);
}

TEST_F(Allocator, WithoutWishesTheAlignmentIsOne)
{
    Pair pair;
    ASSERT_HRESULT(S_OK, pair.connect());
    EXPECT_EQ(1, pair.stream().m_request.cbAlign);
}

TEST_F(Allocator, APeerMayInsistOnItsOwn)
{
    const auto own = make();
    {
        Pair pair;
        pair.input().NotifyAllocator(own.get(), FALSE);
        pair.input().m_insistsOn = own.get();
        ASSERT_HRESULT(S_OK, pair.connect());
        EXPECT_EQ(own.get(), pair.stream().allocator());
        ASSERT_HRESULT(S_OK, pair.run());
        EXPECT_TRUE(pair.waitForEnd());
        EXPECT_EQ(20, pair.input().m_received);
    }
    EXPECT_EQ(1u, references(own.get())) << "the connection gave it back";
}

TEST_F(Allocator, AnotherOneIsOfferedWhenThePeersIsRefused)
{
    Pair pair;
    pair.input().m_refusesOwn = true;
    ASSERT_HRESULT(S_OK, pair.connect());
    EXPECT_EQ(pair.stream().allocator(), pair.input().allocator());
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
        ComPtr<IMemAllocator> allocator;
        CreateMemoryAllocator(allocator.put());
        ALLOCATOR_PROPERTIES request = test.request;
        ALLOCATOR_PROPERTIES actual{};
        EXPECT_HRESULT(test.expected, allocator->SetProperties(&request, &actual)) << test.fault;
        EXPECT_EQ(test.actualSize, actual.cbBuffer) << test.fault;
    }
    const auto allocator = make();
    ALLOCATOR_PROPERTIES any{};
    EXPECT_HRESULT(E_POINTER, allocator->SetProperties(nullptr, &any));
    EXPECT_HRESULT(E_POINTER, allocator->SetProperties(&any, nullptr));
}

TEST_F(Allocator, BuffersAreAlignedApartAndWholeWithTheirPrefix)
{
    const auto allocator = make(5, 100, 64, 24);
    ASSERT_HRESULT(S_OK, allocator->Commit());
    std::vector<ComPtr<IMediaSample>> samples;
    std::vector<BYTE*> data;
    for (int i = 0; i < 5; ++i) {
        samples.push_back(get(allocator.get()));
        BYTE* bytes = nullptr;
        samples.back()->GetPointer(&bytes);
        EXPECT_EQ(0u, reinterpret_cast<std::uintptr_t>(bytes) % 64);
        std::fill(bytes - 24, bytes + samples.back()->GetSize(), static_cast<BYTE>(i));
        data.push_back(bytes);
    }
    for (std::size_t i = 0; i < data.size(); ++i) {
        EXPECT_EQ(i, data[i][-24]) << "nobody wrote over the prefix";
        EXPECT_EQ(i, data[i][samples[i]->GetSize() - 1]) << "or the end";
    }
    samples.clear();
    allocator->Decommit();
}

TEST_F(Allocator, PropertiesAreFixedWhileCommittedOrWhileBuffersAreOut)
{
    const auto allocator = make();
    ALLOCATOR_PROPERTIES request{3, 200, 16, 0};
    ALLOCATOR_PROPERTIES actual{};
    ASSERT_HRESULT(S_OK, allocator->Commit());
    EXPECT_HRESULT(VFW_E_ALREADY_COMMITTED, allocator->SetProperties(&request, &actual));
    auto sample = get(allocator.get());
    ASSERT_HRESULT(S_OK, allocator->Decommit());
    EXPECT_HRESULT(VFW_E_BUFFERS_OUTSTANDING, allocator->SetProperties(&request, &actual));
    sample.reset();
    EXPECT_HRESULT(S_OK, allocator->SetProperties(&request, &actual));
}

TEST_F(Allocator, WithoutSizesItCannotBeCommitted)
{
    ComPtr<IMemAllocator> allocator;
    CreateMemoryAllocator(allocator.put());
    EXPECT_HRESULT(VFW_E_SIZENOTSET, allocator->Commit());
    IMediaSample* sample = nullptr;
    EXPECT_HRESULT(VFW_E_NOT_COMMITTED, allocator->GetBuffer(&sample, nullptr, nullptr, 0));
    EXPECT_HRESULT(E_POINTER, allocator->GetBuffer(nullptr, nullptr, nullptr, 0));
    EXPECT_HRESULT(S_OK, allocator->Decommit());
}

TEST_F(Allocator, CommitAndDecommitAreIdempotent)
{
    const auto allocator = make();
    EXPECT_HRESULT(S_OK, allocator->Commit());
    EXPECT_HRESULT(S_OK, allocator->Commit());
    EXPECT_HRESULT(S_OK, allocator->Decommit());
    EXPECT_HRESULT(S_OK, allocator->Decommit());
    EXPECT_HRESULT(S_OK, allocator->Commit());
    get(allocator.get());
    EXPECT_HRESULT(S_OK, allocator->Decommit());
}

TEST_F(Allocator, ASampleComesBackAsTheSameObjectStrippedOfItsProperties)
{
    const auto allocator = make(1);
    allocator->Commit();
    auto sample = get(allocator.get());
    IMediaSample* const first = sample.get();
    CMediaType type = byteStreamType();
    REFERENCE_TIME time = 5;
    sample->SetSyncPoint(TRUE);
    sample->SetDiscontinuity(TRUE);
    sample->SetTime(&time, &time);
    sample->SetMediaType(&type);
    sample->SetActualDataLength(3);
    sample.reset();
    const LONG objects = CBaseObject::ObjectsActive();
    sample = get(allocator.get());
    EXPECT_EQ(objects, CBaseObject::ObjectsActive()) << "no new object";
    EXPECT_EQ(first, sample.get());
    EXPECT_HRESULT(S_FALSE, sample->IsSyncPoint());
    EXPECT_HRESULT(S_FALSE, sample->IsDiscontinuity());
    EXPECT_HRESULT(VFW_E_SAMPLE_TIME_NOT_SET, sample->GetTime(&time, &time));
    AM_MEDIA_TYPE* changed = nullptr;
    EXPECT_HRESULT(S_FALSE, sample->GetMediaType(&changed));
    EXPECT_EQ(sample->GetSize(), sample->GetActualDataLength());
    EXPECT_EQ(1u, references(sample.get()));
    sample.reset();
    allocator->Decommit();
}

TEST_F(Allocator, WithoutWaitingAnEmptyListIsATimeout)
{
    const auto allocator = make(1);
    allocator->Commit();
    const auto sample = get(allocator.get());
    IMediaSample* other = sample.get();
    EXPECT_HRESULT(VFW_E_TIMEOUT, allocator->GetBuffer(&other, nullptr, nullptr, AM_GBF_NOWAIT));
    EXPECT_EQ(nullptr, other);
    allocator->Decommit();
}

/// A thread that is in GetBuffer, without a sample to be had.
class Waiter
{
public:
    explicit Waiter(IMemAllocator* allocator)
        : m_thread([this, allocator] {
              m_result = allocator->GetBuffer(m_sample.put(), nullptr, nullptr, 0);
              m_done.Set();
          })
    {
        Sleep(50);
        EXPECT_FALSE(m_done.Check()) << "it waits";
    }
    HRESULT result()
    {
        m_thread.join();
        return m_result;
    }

    ComPtr<IMediaSample> m_sample;

private:
    CAMEvent m_done{TRUE};
    HRESULT m_result = E_PENDING;
    std::thread m_thread;
};

TEST_F(Allocator, DecommitWakesEveryWaitingThread)
{
    const auto allocator = make(1);
    allocator->Commit();
    const auto sample = get(allocator.get());
    Waiter first(allocator.get());
    Waiter second(allocator.get());
    EXPECT_HRESULT(S_OK, allocator->Decommit());
    EXPECT_HRESULT(VFW_E_NOT_COMMITTED, first.result());
    EXPECT_HRESULT(VFW_E_NOT_COMMITTED, second.result());
}

TEST_F(Allocator, AReturnedSampleGoesToOneWaitingThread)
{
    const auto allocator = make(1);
    allocator->Commit();
    auto sample = get(allocator.get());
    Waiter first(allocator.get());
    Waiter second(allocator.get());
    sample.reset();
    Sleep(50);
    EXPECT_HRESULT(S_OK, allocator->Decommit());
    const HRESULT results[] = {first.result(), second.result()};
    EXPECT_EQ(1, std::count(std::begin(results), std::end(results), S_OK));
    EXPECT_EQ(1, std::count(std::begin(results), std::end(results), VFW_E_NOT_COMMITTED));
}

TEST_F(Allocator, MemoryStaysUntilTheLastSampleIsBack)
{
    const auto allocator = make(2);
    allocator->Commit();
    const LONG committed = CBaseObject::ObjectsActive();
    auto sample = get(allocator.get());
    allocator->Decommit();
    EXPECT_EQ(committed, CBaseObject::ObjectsActive());
    BYTE* data = nullptr;
    sample->GetPointer(&data);
    data[0] = 1;
    sample.reset();
    EXPECT_EQ(committed - 2, CBaseObject::ObjectsActive()) << "both samples are freed now";
}

TEST_F(Allocator, CommitDuringAnUnfinishedDecommitTakesTheSamplesOver)
{
    const auto allocator = make(2);
    allocator->Commit();
    auto sample = get(allocator.get());
    const LONG objects = CBaseObject::ObjectsActive();
    allocator->Decommit();
    EXPECT_HRESULT(S_OK, allocator->Commit());
    EXPECT_EQ(objects, CBaseObject::ObjectsActive());
    sample.reset();
    const auto first = get(allocator.get());
    const auto second = get(allocator.get());
    EXPECT_TRUE(first && second) << "nothing was freed under the new commit";
    allocator->Decommit();
}

TEST_F(Allocator, ASampleKeepsItsAllocatorAlive)
{
    auto allocator = make(1);
    allocator->Commit();
    auto sample = get(allocator.get());
    allocator.reset();
    BYTE* data = nullptr;
    EXPECT_HRESULT(S_OK, sample->GetPointer(&data));
    data[99] = 1;
    EXPECT_EQ(0u, sample.detach()->Release());
}

}  // namespace
