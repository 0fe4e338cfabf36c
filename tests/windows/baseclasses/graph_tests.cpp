// The framework's filters in the platform's filter graph.

#include "test_sink.h"
#include "test_source.h"

namespace {

/// A sink that tells the graph about its end of stream, as renderers do.
class RenderingSink : public TestSink, public IAMFilterMiscFlags
{
public:
    DECLARE_IUNKNOWN
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override
    {
        if (riid == IID_IAMFilterMiscFlags)
            return GetInterface(static_cast<IAMFilterMiscFlags*>(this), ppv);
        return TestSink::NonDelegatingQueryInterface(riid, ppv);
    }
    STDMETHODIMP_(ULONG) GetMiscFlags() override { return AM_FILTER_MISC_FLAGS_IS_RENDERER; }
};

class Graph : public FrameworkTest
{
protected:
    /// A graph of a source and a renderer, connected by the graph.
    void build(StreamPlan plan = {})
    {
        source = TestSource::create(&m_source, std::move(plan));
        m_sink = new RenderingSink;
        sink = take<IBaseFilter>(m_sink, IID_IBaseFilter);
        ASSERT_HRESULT(S_OK, CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder,
                                              graph.putVoid()));
        ASSERT_HRESULT(S_OK, graph->AddFilter(source.get(), L"Source"));
        ASSERT_HRESULT(S_OK, graph->AddFilter(sink.get(), L"Sink"));
        ASSERT_HRESULT(S_OK, graph->ConnectDirect(m_source->stream(), &m_sink->m_pin, nullptr));
        control = graph.query<IMediaControl>(IID_IMediaControl);
        events = graph.query<IMediaEvent>(IID_IMediaEvent);
    }

    void sendCompletionAtEnd()
    {
        // The sink's pin counts ends of streams; the completion follows from here, off the streaming thread.
        ASSERT_TRUE(m_sink->m_pin.m_ended.Wait(5000));
        EXPECT_HRESULT(S_OK, m_sink->NotifyEvent(EC_COMPLETE, S_OK, 0));
    }

    TestSource* m_source = nullptr;
    TestSink* m_sink = nullptr;
    ComPtr<IBaseFilter> source;
    ComPtr<IBaseFilter> sink;
    ComPtr<IMediaControl> control;
    ComPtr<IMediaEvent> events;
    ComPtr<IGraphBuilder> graph;
};

TEST_F(Graph, PlaysToItsCompletion)
{
    build();
    ASSERT_TRUE(control && events);
    EXPECT_TRUE(SUCCEEDED(control->Run()));
    sendCompletionAtEnd();
    long code = 0;
    EXPECT_HRESULT(S_OK, events->WaitForCompletion(5000, &code));
    EXPECT_EQ(EC_COMPLETE, code);
    EXPECT_EQ(20, m_sink->m_pin.m_received);
    EXPECT_EQ(1, m_sink->m_pin.m_endOfStreams);
    EXPECT_HRESULT(S_OK, control->Stop());
}

TEST_F(Graph, AnErrorOfTheSourceAbortsIt)
{
    StreamPlan plan;
    plan.end = VFW_E_CORRUPT_GRAPH_FILE;
    build(plan);
    EXPECT_TRUE(SUCCEEDED(control->Run()));
    // WaitForCompletion ends for it on Windows only.
    long code = 0;
    LONG_PTR param1 = 0;
    LONG_PTR param2 = 0;
    while (code != EC_ERRORABORT) {
        ASSERT_HRESULT(S_OK, events->GetEvent(&code, &param1, &param2, 5000));
        events->FreeEventParams(code, param1, param2);
    }
    EXPECT_HRESULT(VFW_E_CORRUPT_GRAPH_FILE, param1);
    EXPECT_HRESULT(S_OK, control->Stop());
}

TEST_F(Graph, EveryOrderOfItsStatesWorks)
{
    StreamPlan plan;
    plan.samples = -1;
    build(plan);
    for (int round = 0; round < 3; ++round) {
        EXPECT_TRUE(SUCCEEDED(control->Pause()));
        EXPECT_TRUE(SUCCEEDED(control->Run()));
        EXPECT_TRUE(SUCCEEDED(control->Pause()));
        EXPECT_TRUE(SUCCEEDED(control->Stop()));
        EXPECT_FALSE(m_source->stream()->threadExists());
    }
    EXPECT_EQ(3, m_source->stream()->m_plays);
}

TEST_F(Graph, KeepsNoReferenceAfterItsEnd)
{
    build();
    m_source->IncrementPinVersion();
    ComPtr<IBaseFilter> found;
    EXPECT_HRESULT(S_OK, graph->FindFilterByName(L"Source", found.put()));
    EXPECT_EQ(source.get(), found.get());
    found.reset();
    control->Run();
    ASSERT_TRUE(m_sink->m_pin.m_ended.Wait(5000));
    control->Stop();
    control.reset();
    events.reset();
    graph.reset();
    EXPECT_FALSE(m_source->stream()->IsConnected());
    EXPECT_EQ(nullptr, m_source->clock());
    EXPECT_EQ(1u, references(source.get()));
    EXPECT_EQ(1u, references(sink.get()));
}

TEST_F(Graph, TheNullRendererTakesItsAllocatorAndSamples)
{
    source = TestSource::create(&m_source);
    ComPtr<IBaseFilter> renderer;
    const CLSID nullRenderer = {0xc1f400a4, 0x3f08, 0x11d3, {0x9f, 0x0b, 0x00, 0x60, 0x08, 0x03, 0x9e, 0x37}};
    const HRESULT made =
        CoCreateInstance(nullRenderer, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter, renderer.putVoid());
    if (FAILED(made))
        GTEST_SKIP() << "no Null Renderer on this system";
    ASSERT_HRESULT(
        S_OK, CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder, graph.putVoid()));
    graph->AddFilter(source.get(), L"Source");
    graph->AddFilter(renderer.get(), L"Renderer");
    ComPtr<IEnumPins> pins;
    renderer->EnumPins(pins.put());
    ComPtr<IPin> input;
    ASSERT_HRESULT(S_OK, pins->Next(1, input.put(), nullptr));
    ASSERT_HRESULT(S_OK, graph->Connect(m_source->stream(), input.get()));
    control = graph.query<IMediaControl>(IID_IMediaControl);
    events = graph.query<IMediaEvent>(IID_IMediaEvent);
    EXPECT_TRUE(SUCCEEDED(control->Run()));
    long code = 0;
    EXPECT_HRESULT(S_OK, events->WaitForCompletion(10000, &code));
    EXPECT_EQ(EC_COMPLETE, code);
    EXPECT_EQ(20, m_source->stream()->m_filled);
    EXPECT_HRESULT(S_OK, control->Stop());
}

}  // namespace
