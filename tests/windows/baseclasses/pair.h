/// @file
/// A test source and a test sink, connected on demand, in a fake graph.

#ifndef ZARNOW_TESTS_BASECLASSES_PAIR_H
#define ZARNOW_TESTS_BASECLASSES_PAIR_H

#include "test_sink.h"
#include "test_source.h"

class Pair
{
public:
    explicit Pair(StreamPlan plan = {}, int pins = 1)
        : source(TestSource::create(&m_source, std::move(plan), pins)), sink(TestSink::create(&m_sink))
    {
        source->JoinFilterGraph(&graph, L"source");
        sink->JoinFilterGraph(&graph, L"sink");
    }
    ~Pair()
    {
        stop();
        stream().Disconnect();
        input().Disconnect();
        if (source)
            source->JoinFilterGraph(nullptr, nullptr);
        sink->JoinFilterGraph(nullptr, nullptr);
    }

    HRESULT connect(const AM_MEDIA_TYPE* type = nullptr) { return stream().Connect(&input(), type); }
    /// As a graph does: from the renderer upwards.
    HRESULT pause()
    {
        const HRESULT hr = sink->Pause();
        return FAILED(hr) ? hr : source->Pause();
    }
    HRESULT run()
    {
        const HRESULT hr = sink->Run(0);
        return FAILED(hr) ? hr : source->Run(0);
    }
    HRESULT stop()
    {
        const HRESULT hr = sink->Stop();
        const HRESULT other = source->Stop();
        return FAILED(hr) ? hr : other;
    }
    bool waitForEnd() { return input().m_ended.Wait(5000); }

    TestStream& stream() { return *m_source->stream(); }
    TestInputPin& input() { return m_sink->m_pin; }

    TestSource* m_source = nullptr;
    TestSink* m_sink = nullptr;
    FakeGraph graph;
    ComPtr<IBaseFilter> source;
    ComPtr<IBaseFilter> sink;
};

#endif
