// Filter states, clock, graph membership.

#include <future>
#include <string>
#include <thread>

#include "pair.h"

namespace zarnow::test {

namespace {

using State = FrameworkTest;

TEST_F(State, EveryOrderOfPauseRunAndStopWorks)
{
    Pair pair(kEndless, 2);  // the second pin is not connected
    ASSERT_HRESULT(S_OK, pair.connect());
    int threads = 0;
    for (const char step : std::string("srprssppsprrppsrs")) {
        const bool wasStopped = pair.state() == State_Stopped;
        const FILTER_STATE expected = step == 's' ? State_Stopped : step == 'p' ? State_Paused : State_Running;
        EXPECT_HRESULT(S_OK, step == 's' ? pair.stop() : step == 'p' ? pair.pause() : pair.run());
        threads += wasStopped && expected != State_Stopped ? 1 : 0;
        EXPECT_EQ(expected, pair.state());
        EXPECT_EQ(expected != State_Stopped, pair.stream().threadExists());
        EXPECT_EQ(threads, pair.stream().threadsCreated);
    }
    EXPECT_EQ(threads, pair.stream().threadsDestroyed);
    EXPECT_EQ(0, pair.stream(1).threadsCreated);
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
    std::promise<void> inside;
    std::promise<void> release;
    HRESULT answer = E_PENDING;
    FILTER_STATE state{};
    Pair pair(kEndless);
    pair.stream().plan.onFill = [&, first = true]() mutable {
        if (!std::exchange(first, false))
            return;
        inside.set_value();
        release.get_future().wait();
        FILTER_STATE seen{};
        answer = pair.source->GetState(INFINITE, &seen);
        FILTER_INFO info{};
        pair.source->QueryFilterInfo(&info);  // nor here
        info.pGraph->Release();
    };
    ASSERT_HRESULT(S_OK, pair.connect());
    ASSERT_HRESULT(S_OK, pair.pause());
    ASSERT_EQ(std::future_status::ready, inside.get_future().wait_for(kLong));
    const auto stopped = std::async(std::launch::async, [&] { EXPECT_HRESULT(S_OK, pair.source->Stop()); });
    Sleep(50);
    EXPECT_HRESULT(VFW_S_STATE_INTERMEDIATE, pair.source->GetState(20, &state));
    const auto released = std::async(std::launch::async, [&] {
        Sleep(50);
        release.set_value();
    });
    EXPECT_EQ(State_Stopped, pair.state());
    stopped.wait();
    EXPECT_HRESULT(VFW_S_STATE_INTERMEDIATE, answer);
}

TEST_F(State, TheClockIsCounted)
{
    ComPtr<IReferenceClock> clocks[2];
    for (auto& clock : clocks)
        CoCreateInstance(CLSID_SystemClock, nullptr, CLSCTX_INPROC_SERVER, IID_IReferenceClock, clock.putVoid());
    {
        Pair pair;
        ComPtr<IReferenceClock> current;
        EXPECT_HRESULT(S_OK, pair.source->GetSyncSource(current.put()));
        EXPECT_FALSE(current);
        for (const int index : {0, 0, 1})  // the same one again, and another
            EXPECT_HRESULT(S_OK, pair.source->SetSyncSource(clocks[index].get()));
        EXPECT_EQ(1u, references(clocks[0].get()));
        EXPECT_HRESULT(S_OK, pair.source->GetSyncSource(current.put()));
        EXPECT_EQ(clocks[1].get(), current.get());
    }
    EXPECT_EQ(1u, references(clocks[1].get())) << "a filter gives its clock back";
}

TEST_F(State, TheGraphIsNotCountedAndGetsTheEvents)
{
    Pair pair;
    FILTER_INFO info{};
    const auto ask = [&] {
        ASSERT_HRESULT(S_OK, pair.source->QueryFilterInfo(&info));
        if (info.pGraph != nullptr)
            info.pGraph->Release();
    };
    for (const std::wstring& name : {std::wstring(L"source"), std::wstring(300, L'x')}) {
        pair.source->JoinFilterGraph(pair.graph.get(), name.c_str());
        ask();
        EXPECT_EQ(name.substr(0, 127), info.achName) << "cut off at the size of the structure";
        EXPECT_EQ(pair.graph.get(), info.pGraph);
        EXPECT_EQ(1u, references(pair.graph.get())) << "but what was handed out";
    }
    EXPECT_HRESULT(S_OK, pair.filter->NotifyEvent(EC_COMPLETE, S_OK, 0));
    EXPECT_HRESULT(S_OK, pair.filter->NotifyEvent(EC_USER, 1, 2));
    EXPECT_EQ((Pair::Events{{EC_COMPLETE, S_OK, reinterpret_cast<LONG_PTR>(pair.source.get())}, {EC_USER, 1, 2}}),
              pair.events())
        << "completion names the filter";
    pair.source->JoinFilterGraph(nullptr, nullptr);
    EXPECT_HRESULT(E_NOTIMPL, pair.filter->NotifyEvent(EC_USER, 1, 2));
    ask();
    EXPECT_STREQ(L"", info.achName);
    EXPECT_EQ(nullptr, info.pGraph);
}

TEST_F(State, OtherThreadsMayAskForANameThatChanges)
{
    const std::wstring names[] = {std::wstring(120, L'a'), std::wstring(120, L'b'), L"source"};
    Pair pair;
    const std::jthread joining([&](const std::stop_token& done) {
        for (int round = 0; !done.stop_requested(); ++round)
            pair.source->JoinFilterGraph(pair.graph.get(), names[round % 2].c_str());
    });
    for (int round = 0; round < 20'000 && !HasFailure(); ++round) {
        FILTER_INFO info{};
        pair.source->QueryFilterInfo(&info);
        info.pGraph->Release();
        EXPECT_NE(std::end(names), std::ranges::find(names, info.achName)) << info.achName;
    }
}

}  // namespace

}  // namespace zarnow::test
