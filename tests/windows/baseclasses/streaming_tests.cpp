// The worker's loop: the ways a stream ends, stopping, refused samples. What the filter's own tests play is left to
// them.

#include <future>

#include "pair.h"

namespace zarnow::test {

namespace {

using Streaming = FrameworkTest;

TEST_F(Streaming, AnErrorEndsTheStreamAndIsReportedToTheGraph)
{
    for (const HRESULT end : {S_FALSE, VFW_E_FILE_TOO_SHORT}) {
        Pair pair({.end = end});
        pair.play();
        ASSERT_TRUE(pair.sink.waitForEnd());
        EXPECT_HRESULT(S_OK, pair.stop());
        EXPECT_EQ(std::string(20, 'S') + "E", pair.sink.calls);
        EXPECT_EQ(FAILED(end) ? Pair::Events({{EC_ERRORABORT, end, 0}}) : Pair::Events(), pair.events());
    }
}

TEST_F(Streaming, StopEndsAWorkerThatWaitsForASample)
{
    Pair pair(kEndless);
    std::vector<ComPtr<IMediaSample>> kept;
    pair.sink.onReceive = [&](IMediaSample* sample) {
        kept.emplace_back(sample);
        return S_OK;
    };
    pair.play();
    EXPECT_TRUE(pair.sink.waitForSamples(kBuffers)) << "all buffers are kept";
    Sleep(30);
    EXPECT_HRESULT(S_OK, pair.source->Stop());
    EXPECT_FALSE(pair.stream().threadExists());
}

TEST_F(Streaming, ReceiveSaysWhyItTakesNothing)
{
    Pair pair;
    ComPtr<IMediaSample> sample;
    ASSERT_HRESULT(S_OK, pair.connect());
    pair.stream().allocator()->Commit();
    ASSERT_HRESULT(S_OK, pair.stream().allocator()->GetBuffer(sample.put(), nullptr, nullptr, 0));
    CMediaType type = transportStreamType();
    const struct
    {
        std::function<void()> before;
        HRESULT expected;
        long processed;  // of two samples
    } steps[] = {
        {[] {}, VFW_E_WRONG_STATE, 0},
        {[&] { pair.sink.Pause(); }, S_OK, 2},
        {[&] { pair.sink.onReceive = [](IMediaSample*) { return S_FALSE; }; }, S_FALSE, 0},
        {[&] { pair.sink.onReceive = nullptr; }, S_OK, 2},
        {[&] { sample->SetMediaType(&type); }, S_OK, 2},  // a change to an acceptable type
        {[&] { pair.sink.typeResult = E_FAIL; }, VFW_E_INVALIDMEDIATYPE, 0},
        {[] {}, VFW_E_RUNTIME_ERROR, 0},
        {[&] { pair.input().BeginFlush(); }, S_FALSE, 0},
        {[&] { pair.input().EndFlush(); }, VFW_E_INVALIDMEDIATYPE, 0},  // a flush forgets the error
        {[&] { FAILED(pair.sink.Stop()) || pair.sink.Pause(); }, VFW_E_INVALIDMEDIATYPE, 0},  // and so does a stop
        {[&] { FAILED(pair.sink.Stop()) || (pair.disconnect(), true); }, VFW_E_NOT_CONNECTED, 0},
    };
    for (const auto& step : steps) {
        step.before();
        IMediaSample* samples[] = {sample.get(), sample.get()};
        long processed = -1;
        EXPECT_HRESULT(step.expected, pair.input().ReceiveMultiple(samples, 2, &processed)) << &step - steps;
        EXPECT_EQ(step.processed, processed) << &step - steps;
    }
    EXPECT_EQ(3, pair.sink.endsOfStream);
    EXPECT_EQ(Pair::Events(3, {EC_ERRORABORT, VFW_E_TYPE_NOT_ACCEPTED, 0}), pair.events());
}

TEST_F(Streaming, TheSegmentHasNoEndUntilThereIsAnother)
{
    Pair pair;
    EXPECT_EQ(std::tuple(0, MAX_TIME, 1.0), pair.stream().segment());
    EXPECT_HRESULT(S_OK, pair.stream().NewSegment(5, 77, 2.0));
    EXPECT_EQ(std::tuple(5, 77, 2.0), pair.stream().segment());
}

TEST_F(Streaming, APeerMayStopTheFilterOnTheWorkersThread)
{
    for (const bool withItsAllocator : {false, true}) {  // or when it gets a sample
        SCOPED_TRACE(withItsAllocator);
        std::promise<void> stopped;
        std::atomic<int> calls = 0;
        TestAllocator allocator;
        Pair pair(kEndless);
        const auto stop = [&](auto...) {
            if (++calls == 2) {
                pair.source->Stop();
                stopped.set_value();
            }
            return S_OK;
        };
        pair.sink.offeredAllocator = &allocator;
        if (withItsAllocator)
            allocator.onBuffer = stop;
        else
            pair.sink.onReceive = stop;
        pair.play();
        ASSERT_EQ(std::future_status::ready, stopped.get_future().wait_for(kLong));
        Sleep(30);
        EXPECT_EQ(2, calls) << "the abandoned worker has not left";
        EXPECT_FALSE(pair.stream().threadExists());
        ASSERT_HRESULT(S_OK, pair.source->Pause());
        EXPECT_TRUE(pair.sink.waitForSamples(10)) << "and a new one can be started";
    }
}

TEST_F(Streaming, AReceiverMayDropTheLastReferenceOnTheFilter)
{
    for (const bool withTheEnd : {false, true}) {  // or with a sample
        SCOPED_TRACE(withTheEnd);
        Pair graphOnly;
        SinkFilter sink;
        const LONG sinkAlone = CBaseObject::ObjectsActive();
        std::promise<void> letGo;
        std::promise<void> done;
        auto* const source = new TestSource(withTheEnd ? StreamPlan{.samples = 0, .end = E_FAIL} : kEndless);
        ComPtr<IBaseFilter> filter(source);
        filter->JoinFilterGraph(graphOnly.graph.get(), L"gone");
        ASSERT_HRESULT(S_OK, source->stream().Connect(&sink.input, nullptr));
        sink.onEndOfStream = [&] {
            letGo.get_future().wait();
            sink.Stop();
            EXPECT_HRESULT(S_OK, sink.input.Disconnect());
            done.set_value();
        };
        sink.onReceive = [&](IMediaSample*) {
            sink.onEndOfStream();
            return S_OK;
        };
        ASSERT_HRESULT(S_OK, sink.Pause());
        ASSERT_HRESULT(S_OK, filter->Pause());
        filter.reset();
        letGo.set_value();
        ASSERT_EQ(std::future_status::ready, done.get_future().wait_for(kLong));
        // The worker has still to give its sample back, and with it the allocator.
        for (int attempt = 0; CBaseObject::ObjectsActive() != sinkAlone && attempt < 500; ++attempt)
            Sleep(10);
        EXPECT_EQ(sinkAlone, CBaseObject::ObjectsActive());
        Sleep(20);
        EXPECT_EQ(Pair::Events(), graphOnly.events()) << "a filter that is gone has reported something";
    }
}

}  // namespace

}  // namespace zarnow::test
