// Filter states, clock, graph membership.

#include "pair.h"

#include <thread>

namespace {

class State : public FrameworkTest
{
};

enum class Step { stop, pause, run };

struct Path
{
    std::vector<Step> steps;
    FILTER_STATE expected;
    int activations;
    int deactivations;
};

const Path kPaths[] = {
    {{Step::stop}, State_Stopped, 0, 0},
    {{Step::pause}, State_Paused, 1, 0},
    {{Step::run}, State_Running, 1, 0},
    {{Step::pause, Step::run}, State_Running, 1, 0},
    {{Step::run, Step::pause}, State_Paused, 1, 0},
    {{Step::run, Step::run}, State_Running, 1, 0},
    {{Step::pause, Step::pause, Step::stop}, State_Stopped, 1, 1},
    {{Step::run, Step::stop}, State_Stopped, 1, 1},
    {{Step::run, Step::pause, Step::run, Step::stop, Step::stop}, State_Stopped, 1, 1},
    {{Step::run, Step::stop, Step::pause, Step::stop, Step::run}, State_Running, 3, 2},
};

HRESULT take(Pair& pair, Step step)
{
    switch (step) {
        case Step::stop:
            return pair.stop();
        case Step::pause:
            return pair.pause();
        default:
            return pair.run();
    }
}

TEST_F(State, EveryOrderOfPauseRunAndStopWorks)
{
    for (const Path& path : kPaths) {
        Pair pair;
        ASSERT_HRESULT(S_OK, pair.connect());
        for (const Step step : path.steps)
            EXPECT_HRESULT(S_OK, take(pair, step));
        FILTER_STATE state{};
        EXPECT_HRESULT(S_OK, pair.source->GetState(INFINITE, &state));
        EXPECT_EQ(path.expected, state);
        EXPECT_EQ(path.activations, pair.stream().m_activated);
        EXPECT_EQ(path.deactivations, pair.stream().m_deactivated);
        EXPECT_EQ(path.expected != State_Stopped, pair.stream().threadExists());
    }
}

TEST_F(State, UnconnectedPinsAreLeftAlone)
{
    Pair pair({}, 2);
    ASSERT_HRESULT(S_OK, pair.connect());
    ASSERT_HRESULT(S_OK, pair.source->Run(0));
    EXPECT_EQ(0, pair.m_source->stream(1)->m_activated);
    EXPECT_FALSE(pair.m_source->stream(1)->threadExists());
}

TEST_F(State, AFailingPinLeavesTheFilterStoppedAndTheOthersInactive)
{
    Pair pair({}, 2);
    TestSink* second = nullptr;
    const auto secondSink = TestSink::create(&second);
    TestStream& failing = *pair.m_source->stream(1);
    failing.m_plan.activation = E_ACCESSDENIED;
    ASSERT_HRESULT(S_OK, pair.connect());
    ASSERT_HRESULT(S_OK, failing.Connect(&second->m_pin, nullptr));
    EXPECT_HRESULT(E_ACCESSDENIED, pair.source->Run(0));
    FILTER_STATE state = State_Running;
    pair.source->GetState(0, &state);
    EXPECT_EQ(State_Stopped, state);
    EXPECT_FALSE(pair.stream().threadExists()) << "the pin that was active already";
    EXPECT_HRESULT(S_OK, failing.Disconnect());
    EXPECT_HRESULT(S_OK, second->m_pin.Disconnect());
}

TEST_F(State, GetStateWaitsForAnUnfinishedChange)
{
    StreamPlan plan;
    CAMEvent release(TRUE);
    CAMEvent inside(TRUE);
    plan.samples = -1;
    plan.onFill = [&] {
        inside.Set();
        release.Wait();
    };
    Pair pair(plan);
    ASSERT_HRESULT(S_OK, pair.connect());
    ASSERT_HRESULT(S_OK, pair.pause());
    ASSERT_TRUE(inside.Wait(5000));
    std::thread stopper([&] { pair.source->Stop(); });
    Sleep(50);
    FILTER_STATE state{};
    EXPECT_HRESULT(VFW_S_STATE_INTERMEDIATE, pair.source->GetState(20, &state));
    std::thread opener([&] {
        Sleep(50);
        release.Set();
    });
    EXPECT_HRESULT(S_OK, pair.source->GetState(INFINITE, &state));
    EXPECT_EQ(State_Stopped, state);
    stopper.join();
    opener.join();
    EXPECT_HRESULT(E_POINTER, pair.source->GetState(0, nullptr));
}

TEST_F(State, AWorkerThatAsksDuringStopIsNotKeptWaiting)
{
    StreamPlan plan;
    CAMEvent release(TRUE);
    CAMEvent inside(TRUE);
    HRESULT answer = E_PENDING;
    plan.samples = 1;
    IBaseFilter* asked = nullptr;
    TestSource* source = nullptr;
    plan.onFill = [&] {
        inside.Set();
        release.Wait();
        FILTER_STATE state{};
        answer = asked->GetState(INFINITE, &state);
        FILTER_INFO info{};
        asked->QueryFilterInfo(&info);
        info.pGraph->Release();
        CRefTime time;
        source->StreamTime(time);
        source->IsStopped();
    };
    Pair pair(plan);
    asked = pair.source.get();
    source = pair.m_source;
    ASSERT_HRESULT(S_OK, pair.connect());
    ASSERT_HRESULT(S_OK, pair.source->Pause());
    ASSERT_TRUE(inside.Wait(5000));
    std::thread opener([&] {
        Sleep(50);
        release.Set();
    });
    EXPECT_HRESULT(S_OK, pair.source->Stop());
    opener.join();
    EXPECT_HRESULT(VFW_S_STATE_INTERMEDIATE, answer);
}

/// A clock that stands still.
struct Clock : CUnknown, IReferenceClock
{
    DECLARE_IUNKNOWN
    Clock() : CUnknown(nullptr, nullptr) { NonDelegatingAddRef(); }
    STDMETHODIMP GetTime(REFERENCE_TIME* time) override
    {
        *time = 1000;
        return S_OK;
    }
    STDMETHODIMP AdviseTime(REFERENCE_TIME, REFERENCE_TIME, HEVENT, DWORD_PTR*) override { return E_NOTIMPL; }
    STDMETHODIMP AdvisePeriodic(REFERENCE_TIME, REFERENCE_TIME, HSEMAPHORE, DWORD_PTR*) override { return E_NOTIMPL; }
    STDMETHODIMP Unadvise(DWORD_PTR) override { return E_NOTIMPL; }
};

TEST_F(State, TheClockIsCounted)
{
    Clock clock;
    Clock other;
    {
        Pair pair;
        ComPtr<IReferenceClock> current;
        EXPECT_HRESULT(S_OK, pair.source->GetSyncSource(current.put()));
        EXPECT_FALSE(current);
        CRefTime time;
        EXPECT_HRESULT(VFW_E_NO_CLOCK, pair.m_source->StreamTime(time));
        EXPECT_HRESULT(S_OK, pair.source->SetSyncSource(&clock));
        EXPECT_HRESULT(S_OK, pair.source->SetSyncSource(&clock)) << "the same one again";
        EXPECT_EQ(2u, references(static_cast<IReferenceClock*>(&clock)));
        pair.source->Run(400);
        EXPECT_HRESULT(S_OK, pair.m_source->StreamTime(time));
        EXPECT_EQ(600, time.GetUnits());
        EXPECT_HRESULT(S_OK, pair.source->SetSyncSource(&other));
        EXPECT_EQ(1u, references(static_cast<IReferenceClock*>(&clock)));
        EXPECT_HRESULT(S_OK, pair.source->GetSyncSource(current.put()));
        EXPECT_EQ(&other, current.get());
    }
    EXPECT_EQ(1u, references(static_cast<IReferenceClock*>(&other))) << "a filter gives its clock back";
}

TEST_F(State, TheGraphIsNotCounted)
{
    Pair pair;
    EXPECT_EQ(1u, references(static_cast<IFilterGraph*>(&pair.graph)));
    FILTER_INFO info{};
    ASSERT_HRESULT(S_OK, pair.source->QueryFilterInfo(&info));
    EXPECT_STREQ(L"source", info.achName);
    EXPECT_EQ(static_cast<IFilterGraph*>(&pair.graph), info.pGraph);
    EXPECT_EQ(2u, references(info.pGraph)) << "but what is handed out is";
    info.pGraph->Release();
    const std::wstring longName(300, L'x');
    pair.source->JoinFilterGraph(&pair.graph, longName.c_str());
    ASSERT_HRESULT(S_OK, pair.source->QueryFilterInfo(&info));
    EXPECT_EQ(127u, std::wcslen(info.achName)) << "cut off at the size of the structure";
    info.pGraph->Release();
    pair.source->JoinFilterGraph(nullptr, nullptr);
    ASSERT_HRESULT(S_OK, pair.source->QueryFilterInfo(&info));
    EXPECT_STREQ(L"", info.achName);
    EXPECT_EQ(nullptr, info.pGraph);
}

TEST_F(State, EventsGoToTheGraphAndCompletionNamesTheFilter)
{
    Pair pair;
    EXPECT_HRESULT(S_OK, pair.m_source->NotifyEvent(EC_COMPLETE, S_OK, 0));
    EXPECT_HRESULT(S_OK, pair.m_source->NotifyEvent(EC_USER, 1, 2));
    const std::vector<FakeGraph::Event> expected{{EC_COMPLETE, S_OK, reinterpret_cast<LONG_PTR>(pair.source.get())},
                                                 {EC_USER, 1, 2}};
    EXPECT_EQ(expected, pair.graph.events());
    EXPECT_HRESULT(S_OK, pair.m_source->ReconnectPin(&pair.stream(), nullptr));
    EXPECT_EQ(static_cast<IPin*>(&pair.stream()), pair.graph.m_reconnected);
    pair.source->JoinFilterGraph(nullptr, nullptr);
    EXPECT_HRESULT(E_NOTIMPL, pair.m_source->NotifyEvent(EC_USER, 1, 2));
    EXPECT_HRESULT(E_NOINTERFACE, pair.m_source->ReconnectPin(&pair.stream(), nullptr));
}

TEST_F(State, TheClassIsToldAndVendorInfoIsNot)
{
    Pair pair;
    CLSID clsid{};
    EXPECT_HRESULT(S_OK, pair.source->GetClassID(&clsid));
    EXPECT_EQ(CLSID_TestSource, clsid);
    EXPECT_HRESULT(E_POINTER, pair.source->GetClassID(nullptr));
    LPWSTR vendor = nullptr;
    EXPECT_HRESULT(E_NOTIMPL, pair.source->QueryVendorInfo(&vendor));
}

}  // namespace
