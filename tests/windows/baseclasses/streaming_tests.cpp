// The worker's loop: the ways a stream ends, stopping, flushing. What the filter's own tests play is left to them.

#include "pair.h"

namespace zarnow::test {

namespace {

class Streaming : public FrameworkTest
{
};

TEST_F(Streaming, AnErrorEndsTheStreamAndIsReportedToTheGraph)
{
    for (const HRESULT end : {S_FALSE, VFW_E_FILE_TOO_SHORT}) {
        Pair pair({.end = end});
        ASSERT_HRESULT(S_OK, pair.connect());
        ASSERT_HRESULT(S_OK, pair.run());
        ASSERT_TRUE(pair.sink.waitForEnd());
        EXPECT_HRESULT(S_OK, pair.stop());
        EXPECT_EQ(std::string(20, 'S') + "E", pair.sink.calls);
        EXPECT_EQ(FAILED(end) ? FakeGraph::Events({{EC_ERRORABORT, end, 0}}) : FakeGraph::Events(),
                  pair.graph.events());
        EXPECT_EQ(1, pair.stream().plays);
        EXPECT_EQ(1, pair.stream().threadsDestroyed);
    }
}

TEST_F(Streaming, AFailingThreadLeavesTheFilterStopped)
{
    Pair pair({.threadCreation = E_OUTOFMEMORY});
    ASSERT_HRESULT(S_OK, pair.connect());
    EXPECT_HRESULT(E_OUTOFMEMORY, pair.source->Pause());
    EXPECT_EQ(State_Stopped, pair.state());
    EXPECT_FALSE(pair.stream().threadExists());
    EXPECT_EQ(1, pair.stream().threadsDestroyed);
    pair.stream().plan.threadCreation = S_OK;
    EXPECT_HRESULT(S_OK, pair.run()) << "and it can be tried again";
    EXPECT_TRUE(pair.sink.waitForEnd());
}

TEST_F(Streaming, StopEndsAWorkerThatWaitsForASample)
{
    Pair pair(kEndless);
    std::vector<ComPtr<IMediaSample>> kept;
    pair.sink.onReceive = [&](IMediaSample* sample) {
        kept.emplace_back(sample);
        return S_OK;
    };
    ASSERT_HRESULT(S_OK, pair.connect());
    ASSERT_HRESULT(S_OK, pair.run());
    EXPECT_TRUE(pair.sink.waitForSamples(kBuffers)) << "all buffers are kept";
    Sleep(30);
    EXPECT_HRESULT(S_OK, pair.source->Stop());
    EXPECT_FALSE(pair.stream().threadExists());
}

TEST_F(Streaming, AFlushRefusesSamplesUntilItsEnd)
{
    Pair pair(kEndless);
    ASSERT_HRESULT(S_OK, pair.connect());
    ASSERT_HRESULT(S_OK, pair.run());
    EXPECT_TRUE(pair.sink.waitForSamples(1));
    EXPECT_HRESULT(S_OK, pair.stream().DeliverBeginFlush());
    EXPECT_TRUE(pair.input().IsFlushing());
    EXPECT_HRESULT(S_FALSE, pair.input().CheckStreaming());
    Sleep(20);
    const std::size_t received = pair.sink.count;
    Sleep(20);
    EXPECT_EQ(received, pair.sink.count);
    EXPECT_EQ(0, pair.sink.endsOfStream);
    EXPECT_HRESULT(S_OK, pair.stream().DeliverEndFlush());
    EXPECT_HRESULT(S_OK, pair.input().CheckStreaming());
    // The loop ended with the sample that was refused; the filter starts it again.
    EXPECT_HRESULT(S_OK, pair.stream().CSourceStream::Run());
    EXPECT_TRUE(pair.sink.waitForSamples(received + 1));
}

TEST_F(Streaming, ReceiveSaysWhyItTakesNothing)
{
    Pair pair;
    ComPtr<IMediaSample> sample;
    const auto receive = [&] { return pair.input().Receive(sample.get()); };
    EXPECT_HRESULT(E_POINTER, receive());
    ASSERT_HRESULT(S_OK, pair.connect());
    pair.stream().allocator()->Commit();
    ASSERT_HRESULT(S_OK, pair.stream().allocator()->GetBuffer(sample.put(), nullptr, nullptr, 0));
    EXPECT_HRESULT(VFW_E_WRONG_STATE, receive());
    pair.sink.Pause();
    EXPECT_HRESULT(S_OK, receive());
    IMediaSample* samples[] = {sample.get(), sample.get()};
    long processed = 0;
    EXPECT_HRESULT(S_OK, pair.input().ReceiveMultiple(samples, 2, &processed));
    EXPECT_EQ(2, processed);
    pair.sink.onReceive = [](IMediaSample*) { return S_FALSE; };
    EXPECT_HRESULT(S_FALSE, pair.input().ReceiveMultiple(samples, 2, &processed));
    EXPECT_EQ(0, processed);
    EXPECT_HRESULT(S_OK, pair.input().ReceiveCanBlock());
    pair.sink.onReceive = nullptr;

    CMediaType type = transportStreamType();
    sample->SetMediaType(&type);
    EXPECT_HRESULT(S_OK, receive()) << "a change to an acceptable type";
    pair.sink.typeResult = E_FAIL;
    EXPECT_HRESULT(VFW_E_INVALIDMEDIATYPE, receive());
    EXPECT_EQ(1, pair.sink.endsOfStream);
    EXPECT_EQ(FakeGraph::Events({{EC_ERRORABORT, VFW_E_TYPE_NOT_ACCEPTED, 0}}), pair.graph.events());
    EXPECT_HRESULT(VFW_E_RUNTIME_ERROR, receive());
    pair.sink.Stop();
    pair.sink.Pause();
    EXPECT_HRESULT(S_OK, pair.input().CheckStreaming()) << "stopping forgets the error";
    pair.sink.Stop();
    pair.disconnect();
    EXPECT_HRESULT(VFW_E_NOT_CONNECTED, receive());
}

TEST_F(Streaming, CallsThatGoDownstream)
{
    Pair pair;
    EXPECT_HRESULT(E_UNEXPECTED, pair.stream().EndOfStream());
    EXPECT_HRESULT(E_UNEXPECTED, pair.stream().BeginFlush());
    EXPECT_HRESULT(E_UNEXPECTED, pair.stream().EndFlush());
    EXPECT_HRESULT(VFW_E_NOT_CONNECTED, pair.stream().DeliverEndOfStream());
    EXPECT_HRESULT(VFW_E_NOT_CONNECTED, pair.stream().DeliverNewSegment(0, 1, 1.0));
    EXPECT_EQ(0, pair.input().CurrentStartTime());
    EXPECT_EQ(MAX_TIME, pair.input().CurrentStopTime()) << "the segment before any has no end";
    EXPECT_EQ(1.0, pair.input().CurrentRate());
    ASSERT_HRESULT(S_OK, pair.connect());
    EXPECT_HRESULT(S_OK, pair.stream().DeliverNewSegment(5, 77, 2.0));
    EXPECT_EQ(5, pair.input().CurrentStartTime());
    EXPECT_EQ(77, pair.input().CurrentStopTime());
    EXPECT_EQ(2.0, pair.input().CurrentRate());
}

TEST_F(Streaming, AReceiverMayStopTheFilterOnItsOwnThread)
{
    Pair pair(kEndless);
    CAMEvent stopped(TRUE);
    pair.sink.onReceive = [&](IMediaSample*) {
        if (pair.sink.count == 2) {
            pair.source->Stop();
            stopped.Set();
        }
        return S_OK;
    };
    ASSERT_HRESULT(S_OK, pair.connect());
    ASSERT_HRESULT(S_OK, pair.run());
    ASSERT_TRUE(stopped.Wait(5000));
    Sleep(30);
    EXPECT_EQ(2u, pair.sink.count) << "the abandoned worker has left";
    EXPECT_FALSE(pair.stream().threadExists());
    ASSERT_HRESULT(S_OK, pair.source->Pause());
    EXPECT_TRUE(pair.sink.waitForSamples(10)) << "and a new one can be started";
}

TEST_F(Streaming, AReceiverMayDropTheLastReferenceOnTheFilter)
{
    SinkFilter sink;
    TestSource* source = nullptr;
    auto filter = TestSource::create(&source, kEndless);
    bool destroyed = false;
    source->destroyed = &destroyed;
    CAMEvent letGo(TRUE);
    CAMEvent done(TRUE);
    const LONG sinkAlone = CBaseObject::ObjectsActive() - 2;  // without the source and its pin
    ASSERT_HRESULT(S_OK, source->stream().Connect(&sink.input, nullptr));
    sink.onReceive = [&](IMediaSample*) {
        letGo.Wait();
        sink.Stop();
        EXPECT_HRESULT(S_OK, sink.input.Disconnect());
        EXPECT_TRUE(destroyed);
        done.Set();
        return S_OK;
    };
    ASSERT_HRESULT(S_OK, sink.Pause());
    ASSERT_HRESULT(S_OK, filter->Pause());
    filter.reset();
    letGo.Set();
    ASSERT_TRUE(done.Wait(5000));
    // The worker has still to give its sample back, and with it the allocator.
    for (int attempt = 0; CBaseObject::ObjectsActive() != sinkAlone && attempt < 500; ++attempt)
        Sleep(10);
    EXPECT_EQ(sinkAlone, CBaseObject::ObjectsActive());
}

}  // namespace

}  // namespace zarnow::test
