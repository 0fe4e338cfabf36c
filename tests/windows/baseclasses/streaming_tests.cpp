// The worker: its commands and its loop, the ways a stream ends, stopping, refused samples. What the filter's own tests
// play is left to them.

#include <future>
#include <thread>

#include "pair.h"

namespace zarnow::test {

namespace {

using Streaming = FrameworkTest;

/// Answers each command with its double; 0 makes it end without an answer.
struct Doubler : CAMThread
{
    DWORD ThreadProc() override
    {
        ownCall = CallWorker(1);
        while (const DWORD request = GetRequest())
            Reply(request * 2);
        return 0;
    }

    DWORD ownCall = 0;
};

TEST_F(Streaming, AWorkerAnswersOneCommandAtATimeAndKeepsNobodyWaiting)
{
    Doubler worker;
    EXPECT_HRESULT(E_FAIL, worker.CallWorker(1)) << "nobody is there yet";
    ASSERT_TRUE(worker.Create());
    EXPECT_FALSE(worker.Create()) << "there is one already";
    std::vector<std::jthread> callers;
    for (DWORD caller = 1; caller <= 4; ++caller)
        callers.emplace_back([&worker, caller] {
            for (DWORD command = caller * 100; command < caller * 100 + 50; ++command)
                EXPECT_EQ(2 * command, worker.CallWorker(command));
        });
    callers.clear();
    EXPECT_HRESULT(E_FAIL, worker.ownCall) << "it cannot wait for its own answer";
    EXPECT_HRESULT(E_FAIL, worker.CallWorker(0)) << "it ends without one";
    worker.Close();
    ASSERT_TRUE(worker.Create());
    Sleep(20);
    EXPECT_EQ(6u, worker.CallWorker(3)) << "the unanswered command is forgotten";
    EXPECT_HRESULT(E_FAIL, worker.CallWorker(0));
    worker.Close();
    EXPECT_FALSE(worker.ThreadExists());
}

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

TEST_F(Streaming, ReceiveSaysWhyItTakesNothing)
{
    Pair pair;
    const ComPtr<IMediaSample> sample = pair.takeSample();
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
        stopped.get_future().wait();
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
        std::promise<void> letGo;
        std::promise<HANDLE> worker;
        Pair pair(withTheEnd ? StreamPlan{.samples = 0, .end = E_FAIL} : kEndless);
        const LONG others = CBaseObject::ObjectsActive() - 2;  // but the filter and its pin
        pair.sink.onEndOfStream = [&] {
            letGo.get_future().wait();
            pair.sink.Stop();
            EXPECT_HRESULT(S_OK, pair.input().Disconnect());
            worker.set_value(OpenThread(SYNCHRONIZE, FALSE, GetCurrentThreadId()));
        };
        pair.sink.onReceive = [&](IMediaSample*) {
            pair.sink.onEndOfStream();
            return S_OK;
        };
        pair.play();
        pair.source.reset();
        letGo.set_value();
        const HANDLE leaving = worker.get_future().get();
        EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(leaving, 10'000)) << "it has not left, or touched what is gone";
        CloseHandle(leaving);
        EXPECT_EQ(others, CBaseObject::ObjectsActive());
    }
}

}  // namespace

}  // namespace zarnow::test
