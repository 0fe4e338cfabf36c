/// @file
/// A test source and a sink, connected on demand, in a fake graph.
#pragma once

#include <mutex>

#include "test_source.h"
#include "tests/windows/support/hresult.h"
#include "tests/windows/support/sink_filter.h"

namespace zarnow::test {

/// A graph that records events and knows no filters.
class FakeGraph : public CUnknown, public IFilterGraph, public IMediaEventSink
{
public:
    DECLARE_IUNKNOWN
    FakeGraph() : CUnknown(nullptr, nullptr) { NonDelegatingAddRef(); }

    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override
    {
        return riid == IID_IFilterGraph      ? GetInterface(static_cast<IFilterGraph*>(this), ppv)
               : riid == IID_IMediaEventSink ? GetInterface(static_cast<IMediaEventSink*>(this), ppv)
                                             : CUnknown::NonDelegatingQueryInterface(riid, ppv);
    }

    STDMETHODIMP Notify(LONG code, LONG_PTR param1, LONG_PTR param2) override
    {
        const std::lock_guard lock(mutex_);
        events_.push_back({code, param1, param2});
        return S_OK;
    }
    STDMETHODIMP AddFilter(IBaseFilter*, LPCWSTR) override { return E_NOTIMPL; }
    STDMETHODIMP RemoveFilter(IBaseFilter*) override { return E_NOTIMPL; }
    STDMETHODIMP EnumFilters(IEnumFilters**) override { return E_NOTIMPL; }
    STDMETHODIMP FindFilterByName(LPCWSTR, IBaseFilter**) override { return E_NOTIMPL; }
    STDMETHODIMP ConnectDirect(IPin*, IPin*, const AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
    STDMETHODIMP Reconnect(IPin* pin) override
    {
        reconnected = pin;
        return S_OK;
    }
    STDMETHODIMP Disconnect(IPin*) override { return E_NOTIMPL; }
    STDMETHODIMP SetDefaultSyncSource() override { return E_NOTIMPL; }

    using Events = std::vector<std::vector<LONG_PTR>>;  ///< code and parameters of each
    Events events()
    {
        const std::lock_guard lock(mutex_);
        return events_;
    }

    IPin* reconnected = nullptr;

private:
    std::mutex mutex_;
    Events events_;
};

class Pair
{
public:
    explicit Pair(const StreamPlan& plan = {}, int pins = 1) : source(TestSource::create(&filter, plan, pins))
    {
        source->JoinFilterGraph(&graph, L"source");
        sink.JoinFilterGraph(&graph, L"sink");
    }
    ~Pair()
    {
        stop();
        disconnect();
        source->JoinFilterGraph(nullptr, nullptr);
        sink.JoinFilterGraph(nullptr, nullptr);
    }

    HRESULT connect(const AM_MEDIA_TYPE* type = nullptr) { return stream().Connect(&input(), type); }
    void disconnect()
    {
        stream().Disconnect();
        input().Disconnect();
    }
    /// As a graph does: from the renderer upwards.
    HRESULT pause()
    {
        return both([](IBaseFilter& each) { return each.Pause(); });
    }
    HRESULT run()
    {
        return both([](IBaseFilter& each) { return each.Run(0); });
    }
    HRESULT stop()
    {
        return both([](IBaseFilter& each) { return each.Stop(); });
    }
    FILTER_STATE state() const
    {
        FILTER_STATE state{};
        EXPECT_HRESULT(S_OK, source->GetState(INFINITE, &state));
        return state;
    }

    TestStream& stream(int n = 0) { return filter->stream(n); }
    SinkInputPin& input() { return sink.input; }

    TestSource* filter = nullptr;
    FakeGraph graph;
    ComPtr<IBaseFilter> source;
    SinkFilter sink;

private:
    template <class Call>
    HRESULT both(Call call)
    {
        const HRESULT downstream = call(sink);
        const HRESULT upstream = call(*source.get());
        return FAILED(downstream) ? downstream : upstream;
    }
};

}  // namespace zarnow::test
