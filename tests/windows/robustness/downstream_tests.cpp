// Filters downstream that refuse, fail, block or go away.

#include <functional>
#include <thread>

#include "tests/windows/support/filter_fixture.h"

namespace zarnow::test {

namespace {

constexpr ULONGLONG kAtOnce = 2000;  // ms

/// Lives on the test's stack and fails as it is told.
class UnkindAllocator final : public CMemAllocator
{
public:
    UnkindAllocator() : CMemAllocator(nullptr, nullptr, &created) { AddRef(); }
    STDMETHODIMP SetProperties(ALLOCATOR_PROPERTIES* request, ALLOCATOR_PROPERTIES* actual) override
    {
        return FAILED(propertiesResult) ? propertiesResult : CMemAllocator::SetProperties(request, actual);
    }
    STDMETHODIMP Commit() override { return FAILED(commitResult) ? commitResult : CMemAllocator::Commit(); }
    STDMETHODIMP GetBuffer(IMediaSample** sample, REFERENCE_TIME* begin, REFERENCE_TIME* end, DWORD flags) override
    {
        return FAILED(bufferResult) ? bufferResult : CMemAllocator::GetBuffer(sample, begin, end, flags);
    }
    LONG references() const { return m_cRef; }

    HRESULT created = S_OK;
    HRESULT propertiesResult = S_OK;
    HRESULT commitResult = S_OK;
    HRESULT bufferResult = S_OK;
};

}  // namespace

class DownstreamTest : public FilterTest
{
protected:
    void SetUp() override
    {
        FilterTest::SetUp();
        ASSERT_HRESULT(S_OK, load(kMpeg2Sample));
    }
    bool isConnected()
    {
        ComPtr<IPin> peer;
        return SUCCEEDED(pin->ConnectedTo(&peer));
    }
    /// The filter is none the worse for what has happened.
    void playWhole()
    {
        SinkFilter sink;
        ASSERT_HRESULT(S_OK, connect(sink));
        play(sink);
        EXPECT_EQ(contentOf(kMpeg2Sample), sink.allBytes());
        disconnect(sink);
    }
};

struct Refusal
{
    const char* what;
    std::function<void(SinkFilter&)> sink;
    std::function<void(UnkindAllocator&)> allocator;
    HRESULT connected;
    HRESULT paused;
};

TEST_F(DownstreamTest, RefusalsAreReportedAndLeaveNothing)
{
    const auto kind = [](auto&) {};
    const Refusal refusals[] = {
        {"the type", [](SinkFilter& sink) { sink.typeResult = S_FALSE; }, kind, VFW_E_NO_ACCEPTABLE_TYPES, S_OK},
        {"the connection", [](SinkFilter& sink) { sink.connectionResult = E_ACCESSDENIED; }, kind, E_ACCESSDENIED,
         S_OK},
        {"every allocator", [](SinkFilter& sink) { sink.allocatorResult = E_UNEXPECTED; }, kind, E_UNEXPECTED, S_OK},
        {"properties of its allocator, for which another one stands in", kind,
         [](UnkindAllocator& allocator) { allocator.propertiesResult = E_FAIL; }, S_OK, S_OK},
        {"to commit its allocator", kind, [](UnkindAllocator& allocator) { allocator.commitResult = E_OUTOFMEMORY; },
         S_OK, E_OUTOFMEMORY},
        {"any buffer", kind, [](UnkindAllocator& allocator) { allocator.bufferResult = E_OUTOFMEMORY; }, S_OK, S_OK},
    };
    for (const Refusal& refusal : refusals) {
        SCOPED_TRACE(refusal.what);
        UnkindAllocator allocator;
        SinkFilter sink;
        sink.offeredAllocator = &allocator;
        refusal.sink(sink);
        refusal.allocator(allocator);
        EXPECT_HRESULT(refusal.connected, connect(sink));
        EXPECT_EQ(SUCCEEDED(refusal.connected), isConnected());
        if (isConnected()) {
            sink.Pause();
            EXPECT_HRESULT(refusal.paused, filter->Pause());
            FILTER_STATE state = State_Running;
            EXPECT_HRESULT(S_OK, filter->GetState(0, &state));
            EXPECT_EQ(SUCCEEDED(refusal.paused) ? State_Paused : State_Stopped, state);
            Sleep(20);
            EXPECT_HRESULT(S_OK, filter->Stop());
            sink.Stop();
            disconnect(sink);
        }
        EXPECT_EQ(1, sink.references());
        EXPECT_EQ(1, allocator.references());
        playWhole();
    }
}

TEST_F(DownstreamTest, ASampleThatIsNotTakenIsTheLast)
{
    for (const HRESULT result : {S_FALSE, E_FAIL, VFW_E_WRONG_STATE, E_OUTOFMEMORY}) {
        for (const LONG taken : {0, 1, 5}) {
            SCOPED_TRACE(hex(result));
            SinkFilter sink;
            sink.refuseAfter = taken;
            sink.receiveResult = result;
            ASSERT_HRESULT(S_OK, connect(sink));
            sink.Run(0);
            filter->Run(0);
            Sleep(30);
            EXPECT_EQ(static_cast<std::size_t>(taken), sink.count);
            EXPECT_EQ(0, sink.endsOfStream);
            EXPECT_HRESULT(S_OK, filter->Stop());
            sink.Stop();
            disconnect(sink);
        }
    }
    playWhole();
}

/// Receive is blocked; what comes through all the same.
class BlockedTest : public DownstreamTest
{
protected:
    void SetUp() override
    {
        DownstreamTest::SetUp();
        sink.blockUntil = CreateEventW(nullptr, TRUE, FALSE, nullptr);
        ASSERT_HRESULT(S_OK, connect(sink));
        sink.Run(0);
        filter->Run(0);
        ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(sink.receiving, 10'000));
        begin = GetTickCount64();
    }
    void TearDown() override
    {
        EXPECT_GT(kAtOnce, GetTickCount64() - begin);
        EXPECT_EQ(0, sink.endsOfStream);
        FilterTest::TearDown();
        EXPECT_EQ(1, sink.references());
        CloseHandle(sink.blockUntil);
    }
    /// As a renderer does that is stopped meanwhile.
    std::thread unblockSoon()
    {
        return std::thread([this] {
            Sleep(100);
            SetEvent(sink.blockUntil);
        });
    }

    SinkFilter sink;
    ULONGLONG begin = 0;
};

TEST_F(BlockedTest, StopWaitsForTheSampleOnly)
{
    EXPECT_HRESULT(VFW_E_NOT_STOPPED, pin->Disconnect());
    EXPECT_HRESULT(S_OK, position->put_CurrentPosition(0.0));
    std::thread renderer = unblockSoon();
    EXPECT_HRESULT(S_OK, filter->Stop());
    renderer.join();
    EXPECT_GE(2U, sink.count);
    sink.Stop();
    disconnect(sink);
}

TEST_F(BlockedTest, TheFilterGoesWhileItsSampleIsStillDownstream)
{
    // Downstream has let go of the connection, so nobody but the owner holds the filter.
    sink.Stop();
    sink.input.Disconnect();
    position.Reset();
    tarnwell.Reset();
    source.Reset();
    pin.Reset();
    std::thread renderer = unblockSoon();
    EXPECT_EQ(0U, filter.Reset());
    renderer.join();
}

TEST_F(BlockedTest, APeerThatHasLeftEndsTheDeliveryNotTheFilter)
{
    sink.Stop();
    sink.input.Disconnect();
    SetEvent(sink.blockUntil);
    Sleep(20);
    EXPECT_HRESULT(VFW_E_NOT_STOPPED, pin->Disconnect());
    EXPECT_HRESULT(S_OK, filter->Stop());
    EXPECT_HRESULT(S_OK, pin->Disconnect());
    playWhole();
}

TEST_F(DownstreamTest, AFilterTakenOutOfARunningGraph)
{
    ComPtr<IGraphBuilder> graph;
    ASSERT_HRESULT(S_OK, CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder,
                                          reinterpret_cast<void**>(graph.GetAddressOf())));
    const auto control = query<IMediaControl>(graph.Get(), IID_IMediaControl);
    for (const bool takeSource : {false, true}) {
        SCOPED_TRACE(takeSource);
        SinkFilter sink;
        ASSERT_HRESULT(S_OK, graph->AddFilter(filter.Get(), L"Source"));
        ASSERT_HRESULT(S_OK, graph->AddFilter(&sink, L"Sink"));
        ASSERT_HRESULT(S_OK, graph->ConnectDirect(pin.Get(), &sink.input, nullptr));
        EXPECT_TRUE(SUCCEEDED(control->Run()));
        const ULONGLONG begin = GetTickCount64();
        IBaseFilter* const taken = takeSource ? filter.Get() : &sink;
        IBaseFilter* const left = takeSource ? &sink : filter.Get();
        // A graph that stops but the one filter cannot disconnect it from the other.
        const HRESULT removed = graph->RemoveFilter(taken);
        EXPECT_HRESULT(S_OK, taken->Stop());
        EXPECT_HRESULT(S_OK, control->Stop());
        if (FAILED(removed)) {
            EXPECT_HRESULT(S_OK, graph->RemoveFilter(taken));
        }
        EXPECT_HRESULT(S_OK, graph->RemoveFilter(left));
        EXPECT_GT(kAtOnce, GetTickCount64() - begin);
        pin->Disconnect();
        sink.input.Disconnect();
        EXPECT_EQ(1, sink.references());
    }
    playWhole();
}

struct BufferCase
{
    DWORD size;
    HRESULT connected;  // with a peer that proposes the type
    HRESULT paused;
    std::size_t samples;
};

TEST_F(DownstreamTest, BufferSizesOfEveryKind)
{
    const Data stream = join({patPacket({{1, 0x100}}), pmtPacket(0x100, 1, {{0x02, 0x200}}),
                              repeat(packet({.pid = 0x200, .unitStart = false}, filled(184, 0x11)), 40)});
    const TemporaryFile file(stream);
    const BufferCase cases[] = {
        {0, S_OK, VFW_E_SIZENOTSET, 0},
        {1, S_OK, S_OK, 494},  // of 16 bytes, to which an allocator rounds up
        {187, S_OK, S_OK, 42},
        {188, S_OK, S_OK, 42},
        {375, S_OK, S_OK, 21},
        {376, S_OK, S_OK, 21},
        {0xFFFFFFFF, VFW_E_NO_ACCEPTABLE_TYPES, S_OK, 0},
        {33'000, S_OK, S_OK, 42},
    };
    for (const BufferCase& c : cases) {
        SCOPED_TRACE(c.size);
        ASSERT_HRESULT(S_OK, tarnwell->SetBufferSize(c.size));
        ASSERT_HRESULT(S_OK, load(file.path().wstring()));
        SinkFilter sink;
        sink.proposesTransport = true;
        EXPECT_HRESULT(c.connected, connect(sink));
        if (isConnected()) {
            sink.Run(0);
            EXPECT_HRESULT(c.paused, filter->Run(0));
            EXPECT_TRUE(FAILED(c.paused) || sink.waitForEnd());
            EXPECT_EQ(c.samples, sink.count);
            filter->Stop();
            sink.Stop();
            disconnect(sink);
        }
        EXPECT_EQ(1, sink.references());
    }
    ASSERT_HRESULT(S_OK, load(kMpeg2Sample));
    playWhole();
}

}  // namespace zarnow::test
