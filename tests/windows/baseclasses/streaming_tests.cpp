// The worker's loop: delivery, the ways a stream ends, stopping, flushing.

#include "pair.h"

#include <thread>

namespace {

class Streaming : public FrameworkTest
{
};

StreamPlan endless()
{
    StreamPlan plan;
    plan.samples = -1;
    return plan;
}

bool eventually(const std::function<bool()>& condition)
{
    for (int i = 0; i < 500; ++i) {
        if (condition())
            return true;
        Sleep(10);
    }
    return false;
}

TEST_F(Streaming, DeliversEverySampleAndOneEndOfStream)
{
    Pair pair;
    std::vector<BYTE> seen;
    pair.input().m_onReceive = [&](IMediaSample* sample) {
        BYTE* data = nullptr;
        sample->GetPointer(&data);
        seen.push_back(*data);
        return S_OK;
    };
    ASSERT_HRESULT(S_OK, pair.connect());
    ASSERT_HRESULT(S_OK, pair.run());
    ASSERT_TRUE(pair.waitForEnd());
    EXPECT_HRESULT(S_OK, pair.stop());
    ASSERT_EQ(20u, seen.size());
    for (std::size_t i = 0; i < seen.size(); ++i)
        EXPECT_EQ(i, seen[i]);
    EXPECT_EQ(1, pair.input().m_endOfStreams);
    EXPECT_TRUE(pair.graph.events().empty());
    EXPECT_EQ(1, pair.stream().m_threadsCreated);
    EXPECT_EQ(1, pair.stream().m_threadsDestroyed);
}

TEST_F(Streaming, AnErrorEndsTheStreamAndIsReportedToTheGraph)
{
    StreamPlan plan;
    plan.end = VFW_E_FILE_TOO_SHORT;
    Pair pair(plan);
    ASSERT_HRESULT(S_OK, pair.connect());
    ASSERT_HRESULT(S_OK, pair.run());
    ASSERT_TRUE(pair.waitForEnd());
    EXPECT_HRESULT(S_OK, pair.stop());
    EXPECT_EQ(1, pair.input().m_endOfStreams);
    const std::vector<FakeGraph::Event> expected{{EC_ERRORABORT, VFW_E_FILE_TOO_SHORT, 0}};
    EXPECT_EQ(expected, pair.graph.events());
}

TEST_F(Streaming, AnyOtherAnswerOfTheReceiverEndsItSilently)
{
    for (const HRESULT answer : {S_FALSE, E_FAIL, VFW_E_WRONG_STATE}) {
        Pair pair(endless());
        pair.input().m_onReceive = [&](IMediaSample*) { return pair.input().m_received == 3 ? answer : S_OK; };
        ASSERT_HRESULT(S_OK, pair.connect());
        ASSERT_HRESULT(S_OK, pair.run());
        EXPECT_TRUE(eventually([&] { return pair.input().m_received == 3; }));
        Sleep(30);
        EXPECT_HRESULT(S_OK, pair.stop());
        EXPECT_EQ(3, pair.input().m_received) << zarnow::test::hex(answer);
        EXPECT_EQ(0, pair.input().m_endOfStreams) << zarnow::test::hex(answer);
        EXPECT_TRUE(pair.graph.events().empty()) << zarnow::test::hex(answer);
    }
}

TEST_F(Streaming, EverySampleIsBackWhenTheStreamHasEnded)
{
    Pair pair;
    ASSERT_HRESULT(S_OK, pair.connect());
    ASSERT_HRESULT(S_OK, pair.run());
    ASSERT_TRUE(pair.waitForEnd());
    ComPtr<IMemAllocatorCallbackTemp> none = ComPtr<IMemAllocator>(pair.stream().allocator())
                                                 .query<IMemAllocatorCallbackTemp>(IID_IMemAllocatorCallbackTemp);
    EXPECT_FALSE(none) << "the callbacks are for allocators that ask for them";
    std::vector<ComPtr<IMediaSample>> samples(4);
    for (ComPtr<IMediaSample>& sample : samples)
        EXPECT_HRESULT(S_OK, pair.stream().allocator()->GetBuffer(sample.put(), nullptr, nullptr, AM_GBF_NOWAIT));
}

TEST_F(Streaming, RunsAgainAfterStop)
{
    Pair pair;
    ASSERT_HRESULT(S_OK, pair.connect());
    for (int round = 1; round <= 3; ++round) {
        pair.input().m_ended.Reset();
        pair.stream().m_filled = 0;
        ASSERT_HRESULT(S_OK, pair.run());
        ASSERT_TRUE(pair.waitForEnd());
        ASSERT_HRESULT(S_OK, pair.stop());
        EXPECT_EQ(round, pair.input().m_endOfStreams);
        EXPECT_EQ(round * 20, pair.input().m_received);
        EXPECT_EQ(round, pair.stream().m_plays);
    }
}

TEST_F(Streaming, AFailingThreadLeavesTheFilterStopped)
{
    StreamPlan plan;
    plan.threadCreation = E_OUTOFMEMORY;
    Pair pair(plan);
    ASSERT_HRESULT(S_OK, pair.connect());
    EXPECT_HRESULT(E_OUTOFMEMORY, pair.source->Pause());
    FILTER_STATE state = State_Running;
    EXPECT_HRESULT(S_OK, pair.source->GetState(0, &state));
    EXPECT_EQ(State_Stopped, state);
    EXPECT_FALSE(pair.stream().threadExists());
    EXPECT_EQ(1, pair.stream().m_threadsDestroyed);
    pair.stream().m_plan.threadCreation = S_OK;
    EXPECT_HRESULT(S_OK, pair.run()) << "and it can be tried again";
    EXPECT_TRUE(pair.waitForEnd());
}

TEST_F(Streaming, StopEndsAWorkerThatWaitsForASample)
{
    Pair pair(endless());
    std::vector<ComPtr<IMediaSample>> kept;
    pair.input().m_onReceive = [&](IMediaSample* sample) {
        kept.emplace_back(sample);
        return S_OK;
    };
    ASSERT_HRESULT(S_OK, pair.connect());
    ASSERT_HRESULT(S_OK, pair.run());
    EXPECT_TRUE(eventually([&] { return pair.input().m_received == 4; })) << "all four buffers are kept";
    Sleep(30);
    EXPECT_HRESULT(S_OK, pair.source->Stop());
    EXPECT_FALSE(pair.stream().threadExists());
}

TEST_F(Streaming, StopEndsAWorkerThatIsBlockedDownstream)
{
    Pair pair(endless());
    CAMEvent release(TRUE);
    CAMEvent inside(TRUE);
    pair.input().m_onReceive = [&](IMediaSample*) {
        inside.Set();
        release.Wait();
        return VFW_E_WRONG_STATE;
    };
    ASSERT_HRESULT(S_OK, pair.connect());
    ASSERT_HRESULT(S_OK, pair.run());
    ASSERT_TRUE(inside.Wait(5000));
    // A renderer lets go of its sample when it is stopped, which the graph does at about the same time.
    std::thread renderer([&] {
        Sleep(50);
        pair.sink->Stop();
        release.Set();
    });
    EXPECT_HRESULT(S_OK, pair.source->Stop());
    renderer.join();
    EXPECT_FALSE(pair.stream().threadExists());
    EXPECT_EQ(0, pair.input().m_endOfStreams);
}

TEST_F(Streaming, AFlushRefusesSamplesUntilItsEnd)
{
    Pair pair(endless());
    ASSERT_HRESULT(S_OK, pair.connect());
    ASSERT_HRESULT(S_OK, pair.run());
    EXPECT_TRUE(eventually([&] { return pair.input().m_received > 0; }));
    EXPECT_HRESULT(S_OK, pair.stream().DeliverBeginFlush());
    EXPECT_TRUE(pair.input().IsFlushing());
    EXPECT_HRESULT(S_FALSE, pair.input().CheckStreaming());
    Sleep(20);
    const int received = pair.input().m_received;
    Sleep(20);
    EXPECT_EQ(received, pair.input().m_received);
    EXPECT_EQ(0, pair.input().m_endOfStreams);
    EXPECT_HRESULT(S_OK, pair.stream().DeliverEndFlush());
    EXPECT_HRESULT(S_OK, pair.input().CheckStreaming());
    // The loop ended with the sample that was refused; the filter starts it again.
    EXPECT_HRESULT(S_OK, pair.stream().CSourceStream::Run());
    EXPECT_TRUE(eventually([&] { return pair.input().m_received > received; }));
}

TEST_F(Streaming, ReceiveSaysWhyItTakesNothing)
{
    Pair pair;
    ComPtr<IMemAllocator> allocator;
    CreateMemoryAllocator(allocator.put());
    ALLOCATOR_PROPERTIES request{1, 188, 1, 0};
    allocator->SetProperties(&request, &request);
    allocator->Commit();
    ComPtr<IMediaSample> sample;
    allocator->GetBuffer(sample.put(), nullptr, nullptr, 0);
    EXPECT_HRESULT(E_POINTER, pair.input().Receive(nullptr));
    EXPECT_HRESULT(VFW_E_NOT_CONNECTED, pair.input().Receive(sample.get()));
    ASSERT_HRESULT(S_OK, pair.connect());
    EXPECT_HRESULT(VFW_E_WRONG_STATE, pair.input().Receive(sample.get()));
    pair.sink->Pause();
    EXPECT_HRESULT(S_OK, pair.input().Receive(sample.get()));
    IMediaSample* samples[] = {sample.get(), sample.get()};
    long processed = 0;
    EXPECT_HRESULT(S_OK, pair.input().ReceiveMultiple(samples, 2, &processed));
    EXPECT_EQ(2, processed);
    pair.input().m_onReceive = [](IMediaSample*) { return S_FALSE; };
    EXPECT_HRESULT(S_FALSE, pair.input().ReceiveMultiple(samples, 2, &processed));
    EXPECT_EQ(0, processed);
    EXPECT_HRESULT(S_OK, pair.input().ReceiveCanBlock());
    sample.reset();
    allocator->Decommit();
}

TEST_F(Streaming, ATypeChangeThatIsRefusedEndsTheStream)
{
    Pair pair;
    ASSERT_HRESULT(S_OK, pair.connect());
    ASSERT_HRESULT(S_OK, pair.sink->Pause());
    pair.stream().allocator()->Commit();
    ComPtr<IMediaSample> sample;
    ASSERT_HRESULT(S_OK, pair.stream().allocator()->GetBuffer(sample.put(), nullptr, nullptr, 0));
    CMediaType type = byteStreamType();
    sample->SetMediaType(&type);
    EXPECT_HRESULT(S_OK, pair.input().Receive(sample.get())) << "an acceptable one is taken";
    pair.input().m_typeAnswer = E_FAIL;
    EXPECT_HRESULT(VFW_E_INVALIDMEDIATYPE, pair.input().Receive(sample.get()));
    EXPECT_EQ(1, pair.input().m_endOfStreams);
    const std::vector<FakeGraph::Event> expected{{EC_ERRORABORT, VFW_E_TYPE_NOT_ACCEPTED, 0}};
    EXPECT_EQ(expected, pair.graph.events());
    EXPECT_HRESULT(VFW_E_RUNTIME_ERROR, pair.input().Receive(sample.get()));
    sample.reset();
    pair.sink->Stop();
    pair.sink->Pause();
    EXPECT_HRESULT(S_OK, pair.input().CheckStreaming()) << "stopping forgets the error";
}

TEST_F(Streaming, DownstreamCallsDoNotBelongOnAnOutputPin)
{
    Pair pair;
    EXPECT_HRESULT(E_UNEXPECTED, pair.stream().EndOfStream());
    EXPECT_HRESULT(E_UNEXPECTED, pair.stream().BeginFlush());
    EXPECT_HRESULT(E_UNEXPECTED, pair.stream().EndFlush());
    EXPECT_HRESULT(VFW_E_NOT_CONNECTED, pair.stream().DeliverEndOfStream());
    EXPECT_HRESULT(VFW_E_NOT_CONNECTED, pair.stream().DeliverNewSegment(0, 1, 1.0));
    ASSERT_HRESULT(S_OK, pair.connect());
    EXPECT_HRESULT(S_OK, pair.stream().DeliverNewSegment(0, 77, 2.0));
    EXPECT_EQ(77, pair.input().m_segmentStop);
    EXPECT_EQ(77, pair.input().CurrentStopTime());
}

TEST_F(Streaming, AFilterDestroyedWhileItsWorkerRunsEndsItFirst)
{
    TestSink* sink = nullptr;
    const auto sinkFilter = TestSink::create(&sink);
    TestSource* source = nullptr;
    auto filter = TestSource::create(&source, endless());
    bool destroyed = false;
    source->m_destroyed = &destroyed;
    ASSERT_HRESULT(S_OK, source->stream()->Connect(&sink->m_pin, nullptr));
    ASSERT_HRESULT(S_OK, sinkFilter->Pause());
    ASSERT_HRESULT(S_OK, filter->Pause());
    EXPECT_TRUE(eventually([&] { return sink->m_pin.m_received > 0; }));
    // The sink's connection holds the filter: let go of it by force, as a broken peer does.
    filter.detach()->Release();
    EXPECT_FALSE(destroyed);
    sinkFilter->Stop();
    EXPECT_HRESULT(S_OK, sink->m_pin.Disconnect());
    EXPECT_TRUE(destroyed);
}

TEST_F(Streaming, AReceiverMayStopTheFilterOnItsOwnThread)
{
    Pair pair(endless());
    CAMEvent stopped(TRUE);
    pair.input().m_onReceive = [&](IMediaSample*) {
        if (pair.input().m_received == 2) {
            pair.source->Stop();
            stopped.Set();
        }
        return S_OK;
    };
    ASSERT_HRESULT(S_OK, pair.connect());
    ASSERT_HRESULT(S_OK, pair.run());
    ASSERT_TRUE(stopped.Wait(5000));
    Sleep(30);
    EXPECT_EQ(2, pair.input().m_received) << "the abandoned worker has left";
    EXPECT_FALSE(pair.stream().threadExists());
    ASSERT_HRESULT(S_OK, pair.source->Pause());
    EXPECT_TRUE(eventually([&] { return pair.input().m_received > 10; })) << "and a new one can be started";
}

TEST_F(Streaming, AReceiverMayDropTheLastReferenceOnTheFilter)
{
    TestSink* sink = nullptr;
    const auto sinkFilter = TestSink::create(&sink);
    TestSource* source = nullptr;
    auto filter = TestSource::create(&source, endless());
    bool destroyed = false;
    CAMEvent done(TRUE);
    source->m_destroyed = &destroyed;
    ASSERT_HRESULT(S_OK, source->stream()->Connect(&sink->m_pin, nullptr));
    CAMEvent letGo(TRUE);
    sink->m_pin.m_onReceive = [&](IMediaSample*) {
        letGo.Wait();
        sinkFilter->Stop();
        EXPECT_HRESULT(S_OK, sink->m_pin.Disconnect());
        EXPECT_TRUE(destroyed);
        done.Set();
        return S_OK;
    };
    ASSERT_HRESULT(S_OK, sinkFilter->Pause());
    ASSERT_HRESULT(S_OK, filter->Pause());
    filter.reset();
    letGo.Set();
    ASSERT_TRUE(done.Wait(5000));
    // The worker has still to give its sample back, and with it the allocator: the sink and its pin remain.
    EXPECT_TRUE(eventually([] { return CBaseObject::ObjectsActive() == 2; }));
}

}  // namespace
