// Allocators: negotiation between pins, properties, commit state, waiting, races. And the samples that they make.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <future>
#include <span>
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
    for (const bool refused : {false, true}) {
        {
            Pair pair;
            pair.sink.offeredAllocator = allocator.get();
            pair.sink.onAllocator = [&](IMemAllocator& a) { return refused && &a == allocator.get() ? E_FAIL : S_OK; };
            pair.sink.requirements.cbAlign = 64;
            ASSERT_HRESULT(S_OK, pair.connect());
            EXPECT_EQ(refused, pair.stream().allocator() != allocator.get());
            EXPECT_EQ(pair.stream().allocator(), pair.input().allocator());
            EXPECT_EQ(64, pair.sink.agreed.cbAlign);
        }
        EXPECT_EQ(1u, references(allocator.get())) << "the connection gave it back";
    }
}

TEST_F(Allocator, PropertiesAreCheckedAndRounded)
{
    const struct
    {
        const char* fault;
        ALLOCATOR_PROPERTIES request;
        HRESULT expected;
        LONG actualSize;
    } cases[] = {
        {"sizes are rounded up to the alignment", {4, 188, 16, 0}, S_OK, 192},
        {"together with the prefix", {4, 188, 16, 12}, S_OK, 196},
        {"no alignment", {4, 188, 0, 0}, VFW_E_BADALIGN, 0},
        {"an alignment that is no power of two", {4, 188, 12, 0}, VFW_E_BADALIGN, 0},
        {"an alignment beyond what a block has", {4, 188, 0x20000, 0}, VFW_E_BADALIGN, 0},
        {"a negative size", {4, -188, 16, 0}, E_INVALIDARG, 0},
        {"a negative prefix", {4, 188, 16, -1}, E_INVALIDARG, 0},
        {"a negative count", {-4, 188, 16, 0}, E_INVALIDARG, 0},
        {"a size that overflows when rounded", {1, 0x7FFFFFFF, 16, 16}, E_OUTOFMEMORY, 0},
    };
    for (const auto& c : cases) {
        allocator = make();
        actual = {};
        EXPECT_HRESULT(c.expected, set(c.request)) << c.fault;
        EXPECT_EQ(c.actualSize, actual.cbBuffer) << c.fault;
    }
}

TEST_F(Allocator, BuffersAreAlignedApartAndWholeWithTheirPrefix)
{
    commit({5, 100, 64, 24});
    std::vector<ComPtr<IMediaSample>> samples(5);
    std::vector<std::span<BYTE>> buffers;
    for (auto& sample : samples) {
        ASSERT_HRESULT(S_OK, get(sample));
        BYTE* data = nullptr;
        sample->GetPointer(&data);
        EXPECT_EQ(0u, reinterpret_cast<std::uintptr_t>(data) % 64);
        buffers.emplace_back(data - 24, data + sample->GetSize());
        std::ranges::fill(buffers.back(), static_cast<BYTE>(buffers.size()));
    }
    for (std::size_t i = 0; i < buffers.size(); ++i)
        EXPECT_EQ(buffers[i].size(), std::ranges::count(buffers[i], i + 1)) << "nobody wrote into another's";
}

TEST_F(Allocator, CommitAndDecommit)
{
    EXPECT_HRESULT(VFW_E_SIZENOTSET, allocator->Commit());
    EXPECT_HRESULT(VFW_E_NOT_COMMITTED, get(first));
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
    commit({3, 200, 16, 0});
    EXPECT_HRESULT(S_OK, get(first));
}

TEST_F(Allocator, EveryWaitingThreadGetsASampleOrTheDecommit)
{
    for (const bool returned : {false, true}) {
        commit({1, 100, 16, 0});
        ASSERT_HRESULT(S_OK, get(first));
        const auto wait = [this] {
            ComPtr<IMediaSample> sample;  // goes on to the next one
            return get(sample, 0);
        };
        std::future<HRESULT> waiters[] = {std::async(std::launch::async, wait), std::async(std::launch::async, wait)};
        Sleep(50);
        if (returned)
            first.reset();
        else
            allocator->Decommit();
        for (auto& waiter : waiters)
            EXPECT_HRESULT(returned ? S_OK : VFW_E_NOT_COMMITTED, waiter.get());
        first.reset();
        allocator->Decommit();
    }
}

TEST_F(Allocator, MemoryStaysUntilTheLastSampleIsBackAlsoWithoutTheAllocator)
{
    commit({2, 100, 16, 0});
    const LONG committed = CBaseObject::ObjectsActive();
    ASSERT_HRESULT(S_OK, get(first));
    allocator->Decommit();
    EXPECT_HRESULT(S_OK, allocator->Commit()) << "takes the samples over";
    EXPECT_EQ(committed, CBaseObject::ObjectsActive());
    first.reset();
    ASSERT_HRESULT(S_OK, get(first));
    ASSERT_HRESULT(S_OK, get(second)) << "nothing was freed under the new commit";
    allocator->Decommit();
    second.reset();
    allocator = make();
    BYTE* data = nullptr;
    first->GetPointer(&data);
    data[99] = 1;
    EXPECT_EQ(committed + 1, CBaseObject::ObjectsActive());
    first.reset();
    EXPECT_EQ(committed - 2, CBaseObject::ObjectsActive()) << "both samples are freed now, and their allocator";
    commit({2, 100, 16, 0});
    ASSERT_HRESULT(S_OK, get(first));
    ASSERT_HRESULT(S_OK, get(second));
    second.reset();
    allocator = make();
    first.reset();
    EXPECT_EQ(committed - 2, CBaseObject::ObjectsActive()) << "the same without a decommit";
}

// A sample comes back in the very moment in which somebody else asks for it, or the allocator is decommitted or
// released: nobody waits for a sample that is there, and none is lost. A wait that does not end is the watchdog's.
TEST_F(Allocator, ASampleComesBackWhileAnotherThreadUsesTheAllocator)
{
    constexpr int kMostRounds = 20000;
    constexpr std::chrono::seconds kLongest(3);  // on a busy machine every meeting takes a turn of the scheduler
    const std::function<void()> others[] = {
        [&] {
            EXPECT_HRESULT(S_OK, get(second, 0));
            second.reset();
        },
        [&] { EXPECT_HRESULT(S_OK, allocator->Decommit()); },
        [&] { allocator.reset(); },
    };
    const LONG objects = CBaseObject::ObjectsActive();
    for (const auto& other : others) {
        std::atomic<int> arrivals = 0;
        const auto meet = [&] {  // both threads, again and again
            const int both = (arrivals++ / 2 + 1) * 2;
            for (int turns = 0; arrivals < both; ++turns) {
                YieldProcessor();
                if (turns > 1000)
                    SwitchToThread();
            }
        };
        bool done = false;
        std::thread thread([&] {
            for (meet(); !done; meet()) {
                other();
                meet();
            }
        });
        const auto deadline = std::chrono::steady_clock::now() + kLongest;
        for (int round = 0; round < kMostRounds && std::chrono::steady_clock::now() < deadline; ++round) {
            EXPECT_HRESULT(S_OK, set({1, 188, 1, 0}));  // refused while a sample is missing
            allocator->Commit();
            EXPECT_HRESULT(S_OK, get(first, 0));
            meet();
            for (int i = 0; i < round % 64; ++i)
                YieldProcessor();
            first.reset();
            meet();
            if (!allocator)
                allocator = make();
            EXPECT_HRESULT(S_OK, allocator->Decommit());
            EXPECT_EQ(objects, CBaseObject::ObjectsActive());
        }
        done = true;
        meet();
        thread.join();
    }
}

class Sample : public Allocator
{
protected:
    Sample()
    {
        commit({1, 100, 1, 0});
        get(first);
        sample2 = first.query<IMediaSample2>(IID_IMediaSample2);
    }
    AM_SAMPLE2_PROPERTIES properties()
    {
        AM_SAMPLE2_PROPERTIES props{};
        EXPECT_HRESULT(S_OK, sample2->GetProperties(sizeof props, reinterpret_cast<BYTE*>(&props)));
        return props;
    }
    HRESULT set(const AM_SAMPLE2_PROPERTIES& props, std::size_t size = sizeof(AM_SAMPLE2_PROPERTIES))
    {
        return sample2->SetProperties(static_cast<DWORD>(size), reinterpret_cast<const BYTE*>(&props));
    }

    ComPtr<IMediaSample2> sample2;
};

TEST_F(Sample, TimesAreSetWholeHalfOrNotAtAll)
{
    using Times = std::tuple<std::string, REFERENCE_TIME, REFERENCE_TIME>;
    using GetTimes = HRESULT (IMediaSample::*)(REFERENCE_TIME*, REFERENCE_TIME*);
    const auto times = [&](GetTimes getter) {
        REFERENCE_TIME start = 0;
        REFERENCE_TIME stop = 0;
        const HRESULT result = ((*first.get()).*getter)(&start, &stop);
        return Times(hex(result), start, stop);
    };
    REFERENCE_TIME start = 1LL << 40;
    REFERENCE_TIME stop = start + (1LL << 35);
    first->SetTime(&start, &stop);
    first->SetMediaTime(&start, &stop);
    EXPECT_EQ(Times(hex(S_OK), start, stop), times(&IMediaSample::GetTime));
    EXPECT_EQ(Times(hex(S_OK), start, stop), times(&IMediaSample::GetMediaTime));
    first->SetTime(&start, nullptr);
    EXPECT_EQ(Times(hex(VFW_S_NO_STOP_TIME), start, start + 1), times(&IMediaSample::GetTime));
    EXPECT_EQ(static_cast<DWORD>(AM_SAMPLE_TIMEVALID), properties().dwSampleFlags) << "our own flag is not shown";
    first->SetTime(nullptr, nullptr);
    first->SetMediaTime(nullptr, nullptr);
    EXPECT_EQ(Times(hex(VFW_E_SAMPLE_TIME_NOT_SET), 0, 0), times(&IMediaSample::GetTime));
    EXPECT_EQ(Times(hex(VFW_E_MEDIA_TIME_NOT_SET), 0, 0), times(&IMediaSample::GetMediaTime));
}

TEST_F(Sample, PropertiesAndSingleCallsShowTheSameUntilItComesBack)
{
    CMediaType type(&MEDIATYPE_Video);
    first->SetPreroll(TRUE);
    AM_SAMPLE2_PROPERTIES props = properties();
    EXPECT_EQ(static_cast<DWORD>(AM_SAMPLE_PREROLL), props.dwSampleFlags);
    EXPECT_EQ(100, props.lActual);
    props.dwSampleFlags = AM_SAMPLE_SPLICEPOINT | AM_SAMPLE_TIMEVALID | AM_SAMPLE_TYPECHANGED | 0x8000;
    props.tStart = 77;
    props.lActual = 12;
    props.pMediaType = &type;
    props.dwStreamId = AM_STREAM_CONTROL;
    ASSERT_HRESULT(S_OK, set(props));
    EXPECT_HRESULT(S_FALSE, first->IsPreroll());
    const Received received(*first.get());
    EXPECT_TRUE(received.syncPoint && received.newSampleSize && !received.discontinuity);
    EXPECT_EQ(77, received.start);
    EXPECT_EQ(12u, received.bytes.size());
    const AM_SAMPLE2_PROPERTIES again = properties();
    EXPECT_EQ(static_cast<DWORD>(AM_STREAM_CONTROL), again.dwStreamId);
    EXPECT_EQ(props.dwSampleFlags & ~0x8000u, again.dwSampleFlags) << "unknown flags are dropped";
    EXPECT_NE(&type, again.pMediaType);
    ASSERT_HRESULT(S_OK, set(again)) << "with the sample's own type";
    EXPECT_EQ(MEDIATYPE_Video, properties().pMediaType->majortype);

    const IMediaSample* const before = first.get();
    first->SetDiscontinuity(TRUE);
    sample2.reset();
    ASSERT_HRESULT(S_OK, (first.reset(), get(first)));
    EXPECT_EQ(before, first.get());
    EXPECT_EQ(1u, references(first.get()));
    sample2 = first.query<IMediaSample2>(IID_IMediaSample2);
    EXPECT_EQ(0u, properties().dwSampleFlags);
    EXPECT_EQ(100, properties().lActual);
    EXPECT_EQ(nullptr, properties().pMediaType);
    ASSERT_HRESULT(S_OK, set(props));
    props.dwSampleFlags = 0;
    ASSERT_HRESULT(S_OK, set(props));
    EXPECT_EQ(nullptr, properties().pMediaType) << "no longer a change of type";
}

TEST_F(Sample, ARefusedSetChangesNothingAndACutOneOnlyWhatIsThere)
{
    using Properties = AM_SAMPLE2_PROPERTIES;
    const struct
    {
        HRESULT expected;
        void (*change)(Properties&);
        std::size_t size = sizeof(Properties);
    } cases[] = {
        {E_INVALIDARG, [](Properties& props) { ++props.pbBuffer; }},
        {E_INVALIDARG, [](Properties& props) { ++props.cbBuffer; }},
        {E_INVALIDARG, [](Properties& props) { props.dwSampleFlags |= AM_SAMPLE_TYPECHANGED; }},  // to none
        {VFW_E_BUFFER_OVERFLOW, [](Properties& props) { props.lActual = 101; }},
        {VFW_E_BUFFER_OVERFLOW, [](Properties& props) { props.lActual = -1; }},
        {S_OK, [](Properties& props) { props.lActual = 101; }, offsetof(Properties, lActual) + 3},
    };
    for (const auto& c : cases) {
        Properties props = properties();
        props.dwSampleFlags = AM_SAMPLE_PREROLL;
        c.change(props);
        EXPECT_HRESULT(c.expected, set(props, c.size)) << props.cbBuffer << " " << props.lActual;
        EXPECT_HRESULT(FAILED(c.expected) ? S_FALSE : S_OK, first->IsPreroll());
    }
    for (const LONG wrong : {-1, 101})
        EXPECT_HRESULT(VFW_E_BUFFER_OVERFLOW, first->SetActualDataLength(wrong));
    EXPECT_EQ(100, first->GetActualDataLength());
    BYTE guarded[16] = {};
    guarded[10] = 0xEE;
    ASSERT_HRESULT(S_OK, sample2->GetProperties(10, guarded));
    EXPECT_EQ(10u, guarded[0]);
    EXPECT_EQ(0xEE, guarded[10]) << "nothing past the size given";
}

}  // namespace

}  // namespace zarnow::test
