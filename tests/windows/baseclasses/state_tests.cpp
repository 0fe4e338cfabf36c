// Filter states, clock, graph membership.

#include <algorithm>
#include <string>
#include <thread>

#include "pair.h"

namespace zarnow::test {

using State = FrameworkTest;

TEST_F(State, EveryOrderOfPauseRunAndStopWorks)
{
    std::vector<ComPtr<IMediaSample>> kept;  // so that the worker waits for another one
    Pair pair(kEndless, 2);                  // the second pin is not connected
    pair.sink.onReceive = [&](IMediaSample* sample) {
        kept.emplace_back(sample);
        return S_OK;
    };
    ASSERT_HRESULT(S_OK, pair.connect());
    for (const char step : std::string("srprssppsprrppsrs")) {
        const FILTER_STATE expected = step == 's' ? State_Stopped : step == 'p' ? State_Paused : State_Running;
        EXPECT_HRESULT(S_OK, step == 's' ? pair.stop() : step == 'p' ? pair.pause() : pair.run());
        EXPECT_EQ(expected, pair.state());
        EXPECT_EQ(expected != State_Stopped, pair.stream().threadExists());
        EXPECT_TRUE(expected == State_Stopped || pair.sink.waitForSamples(kBuffers));
    }
    EXPECT_EQ(4, pair.stream().threadsDestroyed) << "one for each start";
    EXPECT_EQ(0, pair.stream(1).threadsDestroyed);
}

TEST_F(State, AFailingPinLeavesTheFilterStoppedAndEveryPinInactive)
{
    Pair pair({}, 2);
    TestStream& failing = pair.stream(1);
    failing.plan.threadCreation = E_ACCESSDENIED;
    ASSERT_HRESULT(S_OK, pair.connect());
    ASSERT_HRESULT(S_OK, failing.Connect(&pair.other.input, nullptr));
    EXPECT_HRESULT(E_ACCESSDENIED, pair.source->Run(0));
    EXPECT_EQ(State_Stopped, pair.state());
    EXPECT_FALSE(pair.stream().threadExists()) << "the pin that was active already";
    EXPECT_FALSE(failing.threadExists());
    EXPECT_EQ(1, failing.threadsDestroyed);
    failing.plan.threadCreation = S_OK;
    EXPECT_HRESULT(S_OK, pair.source->Pause()) << "and it can be tried again";
}

TEST_F(State, APeerMayNotLeaveWhileTheFilterStarts)
{
    TestAllocator allocator;
    Pair pair(kEndless);
    pair.sink.offeredAllocator = &allocator;
    allocator.onCommit = [&] { EXPECT_HRESULT(VFW_E_NOT_STOPPED, pair.stream().Disconnect()); };
    ASSERT_HRESULT(S_OK, pair.connect());
    EXPECT_HRESULT(S_OK, pair.pause());
    EXPECT_HRESULT(S_OK, pair.stop());
    EXPECT_FALSE(pair.stream().threadExists());
}

TEST_F(State, GetStateWaitsForAnUnfinishedChangeButNotTheWorkerThatHoldsItUp)
{
    std::atomic<bool> paused = false;
    std::atomic<bool> heldUp = false;
    Pair pair(kEndless);
    pair.stream().plan.onFill = [&] {
        FILTER_STATE before{};
        while (!paused || pair.source->GetState(INFINITE, &before) != VFW_S_STATE_INTERMEDIATE)
            Sleep(1);
        FILTER_INFO info{};
        pair.source->QueryFilterInfo(&info);  // nor here
        info.pGraph->Release();
        heldUp = true;
        Sleep(100);
    };
    ASSERT_HRESULT(S_OK, pair.connect());
    ASSERT_HRESULT(S_OK, pair.pause());
    paused = true;
    const std::jthread stopping([&] { EXPECT_HRESULT(S_OK, pair.source->Stop()); });
    while (!heldUp)
        Sleep(1);
    FILTER_STATE state{};
    EXPECT_HRESULT(VFW_S_STATE_INTERMEDIATE, pair.source->GetState(20, &state));
    EXPECT_EQ(State_Stopped, pair.state());
}

TEST_F(State, TheClockIsCounted)
{
    ComPtr<IReferenceClock> clock;
    CoCreateInstance(CLSID_SystemClock, nullptr, CLSCTX_INPROC_SERVER, IID_IReferenceClock, clock.putVoid());
    {
        Pair pair;
        ComPtr<IReferenceClock> current;
        EXPECT_HRESULT(S_OK, pair.source->SetSyncSource(clock.get()));
        EXPECT_HRESULT(S_OK, pair.source->SetSyncSource(clock.get())) << "the same one again";
        EXPECT_HRESULT(S_OK, pair.source->GetSyncSource(current.put()));
        EXPECT_EQ(clock.get(), current.get());
    }
    EXPECT_EQ(1u, references(clock.get()));
}

TEST_F(State, TheGraphIsNotCountedAndGetsTheEvents)
{
    Pair pair;
    FILTER_INFO info{};
    pair.source->JoinFilterGraph(pair.graph.get(), std::wstring(300, L'x').c_str());
    ASSERT_HRESULT(S_OK, pair.source->QueryFilterInfo(&info));
    info.pGraph->Release();
    EXPECT_EQ(std::wstring(127, L'x'), info.achName) << "cut off at the size of the structure";
    EXPECT_EQ(pair.graph.get(), info.pGraph);
    EXPECT_EQ(1u, references(pair.graph.get())) << "but what was handed out";
    EXPECT_HRESULT(S_OK, pair.filter->NotifyEvent(EC_COMPLETE, S_OK, 0));
    EXPECT_EQ(Pair::Events({{EC_COMPLETE, S_OK, reinterpret_cast<LONG_PTR>(pair.source.get())}}), pair.events())
        << "completion names the filter";
    pair.source->JoinFilterGraph(nullptr, nullptr);
    EXPECT_HRESULT(E_NOTIMPL, pair.filter->NotifyEvent(EC_USER, 1, 2));
}

TEST_F(State, OtherThreadsMayAskForANameThatChanges)
{
    const std::wstring names[] = {std::wstring(120, L'a'), std::wstring(120, L'b'), L"source"};
    Pair pair;
    const std::jthread joining([&](const std::stop_token& done) {
        for (int round = 0; !done.stop_requested(); ++round)
            pair.source->JoinFilterGraph(pair.graph.get(), names[round % 2].c_str());
    });
    for (int round = 0; round < 100'000 && !HasFailure(); ++round) {
        FILTER_INFO info{};
        pair.source->QueryFilterInfo(&info);
        info.pGraph->Release();
        EXPECT_NE(std::end(names), std::ranges::find(names, info.achName)) << info.achName;
    }
}

}  // namespace zarnow::test
