/// @file
/// A small source filter, whose streams do what a test wants, and a sink, connected on demand, in a graph.
#pragma once

#include <atomic>
#include <cstring>
#include <functional>
#include <tuple>
#include <vector>

#include "com_ptr.h"
#include "tests/windows/support/framework_test.h"
#include "tests/windows/support/hresult.h"
#include "tests/windows/support/sink_filter.h"

namespace zarnow::test {

/// What a stream does.
struct StreamPlan
{
    std::vector<CMediaType> types = {transportStreamType()};
    int samples = 20;       ///< delivered before the end; negative: for ever
    HRESULT end = S_FALSE;  ///< FillBuffer's last result
    HRESULT threadCreation = S_OK;
    HRESULT typeSetting = S_OK;
    std::function<void()> onFill = [] {};
};

inline const StreamPlan kEndless{.samples = -1};
constexpr LONG kBuffers = 4;

class TestStream : public CSourceStream
{
public:
    TestStream(CSource* filter, HRESULT* result, const StreamPlan& streamPlan)
        : CSourceStream(nullptr, result, filter, L"Out"), plan(streamPlan)
    {
    }

    /// Not freed, but made unfit for use: a worker that uses it all the same is seen to.
    static void operator delete(void* stream, std::size_t size) { std::memset(stream, 0xDD, size); }

    HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
    HRESULT GetMediaType(int position, CMediaType* type) override
    {
        const auto index = static_cast<std::size_t>(position);
        return index < plan.types.size() ? type->Set(plan.types[index]) : VFW_S_NO_MORE_ITEMS;
    }
    HRESULT SetMediaType(const CMediaType* type) override
    {
        return FAILED(plan.typeSetting) ? plan.typeSetting : CSourceStream::SetMediaType(type);
    }
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override
    {
        *request = {kBuffers, 188, request->cbAlign, 0};
        return allocator->SetProperties(request, request);
    }

    IMemAllocator* allocator() const { return m_pAllocator; }
    const CMediaType& type() const { return m_mt; }
    bool threadExists() const { return ThreadExists(); }
    std::tuple<REFERENCE_TIME, REFERENCE_TIME, double> segment() const { return {m_tStart, m_tStop, m_dRate}; }

    StreamPlan plan;
    std::atomic<int> threadsDestroyed = 0;

protected:
    HRESULT FillBuffer(IMediaSample*) override
    {
        plan.onFill();
        return plan.samples-- == 0 ? plan.end : S_OK;
    }
    HRESULT OnThreadCreate() override { return plan.threadCreation; }
    HRESULT OnThreadDestroy() override
    {
        ++threadsDestroyed;
        return S_OK;
    }
};

inline CSource* createSource(const StreamPlan& plan = {}, int pins = 1, LPUNKNOWN outer = nullptr)
{
    auto* const source = new CSource(nullptr, outer, CLSID_NULL, nullptr);
    HRESULT result = S_OK;
    for (int i = 0; i < pins; ++i)
        new TestStream(source, &result, plan);  // which adds itself to its filter
    return source;
}

class Pair
{
public:
    explicit Pair(const StreamPlan& plan = {}, int pins = 1) : filter(createSource(plan, pins)), source(filter)
    {
        CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IFilterGraph, graph.putVoid());
        graph.query<IMediaEvent>(IID_IMediaEvent)->CancelDefaultHandling(EC_COMPLETE);
        source->JoinFilterGraph(graph.get(), L"source");
        sink.JoinFilterGraph(graph.get(), L"sink");
    }
    ~Pair()
    {
        if (!source)
            return;
        stop();
        disconnect();
        EXPECT_EQ(1u, ::zarnow::test::references(source.get()));
        EXPECT_EQ(2, sink.references() + other.references());
    }

    HRESULT connect(const AM_MEDIA_TYPE* type = nullptr) { return stream().Connect(&input(), type); }
    void disconnect()
    {
        for (int i = 0; i < filter->GetPinCount(); ++i)
            stream(i).Disconnect();
        input().Disconnect();
        other.input.Disconnect();
    }
    /// Connects first.
    ComPtr<IMediaSample> takeSample()
    {
        ComPtr<IMediaSample> sample;
        EXPECT_HRESULT(S_OK, connect());
        stream().allocator()->Commit();
        EXPECT_HRESULT(S_OK, stream().allocator()->GetBuffer(sample.put(), nullptr, nullptr, 0));
        return sample;
    }
    /// As a graph does: from the renderer upwards.
    HRESULT pause() { return FAILED(sink.Pause()) ? E_FAIL : source->Pause(); }
    HRESULT run() { return FAILED(sink.Run(0)) ? E_FAIL : source->Run(0); }
    /// Connects first.
    void play()
    {
        EXPECT_HRESULT(S_OK, connect());
        EXPECT_HRESULT(S_OK, run());
    }
    HRESULT stop() { return FAILED(sink.Stop()) ? E_FAIL : source->Stop(); }
    FILTER_STATE state() const
    {
        FILTER_STATE state{};
        EXPECT_HRESULT(S_OK, source->GetState(INFINITE, &state));
        return state;
    }

    using Events = std::vector<std::vector<LONG_PTR>>;  ///< code and parameters of each
    /// What the graph was told since the last time.
    Events events() const
    {
        Events events;
        const auto queue = graph.query<IMediaEvent>(IID_IMediaEvent);
        LONG code = 0;
        LONG_PTR parameters[2] = {};
        while (queue->GetEvent(&code, &parameters[0], &parameters[1], 0) == S_OK)
            events.push_back({code, parameters[0], parameters[1]});
        return events;
    }

    TestStream& stream(int n = 0) { return static_cast<TestStream&>(*filter->GetPin(n)); }
    SinkInputPin& input() { return sink.input; }

    ComPtr<IFilterGraph> graph;
    CSource* filter;
    ComPtr<IBaseFilter> source;  ///< the same filter; a test may let it go
    SinkFilter sink;
    SinkFilter other;  ///< connected by nobody but the test
};

}  // namespace zarnow::test
