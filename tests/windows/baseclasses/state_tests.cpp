// Filter states, clock, graph membership.

#include <cwchar>
#include <thread>

#include "pair.h"

namespace zarnow::test {

namespace {

class State : public FrameworkTest
{
};

struct Path
{
    std::vector<HRESULT (Pair::*)()> steps;
    FILTER_STATE expected;
    int activations;
    int deactivations;
};

constexpr auto kStop = &Pair::stop;
constexpr auto kPause = &Pair::pause;
constexpr auto kRun = &Pair::run;

const Path kPaths[] = {
    {{kStop}, State_Stopped, 0, 0},
    {{kPause}, State_Paused, 1, 0},
    {{kRun}, State_Running, 1, 0},
    {{kPause, kRun}, State_Running, 1, 0},
    {{kRun, kPause}, State_Paused, 1, 0},
    {{kRun, kRun}, State_Running, 1, 0},
    {{kPause, kPause, kStop}, State_Stopped, 1, 1},
    {{kRun, kPause, kRun, kStop, kStop}, State_Stopped, 1, 1},
    {{kRun, kStop, kPause, kStop, kRun}, State_Running, 3, 2},
};

TEST_F(State, EveryOrderOfPauseRunAndStopWorks)
{
    for (const Path& path : kPaths) {
        SCOPED_TRACE(&path - kPaths);
        Pair pair({}, 2);  // the second pin is not connected
        ASSERT_HRESULT(S_OK, pair.connect());
        for (const auto step : path.steps)
            EXPECT_HRESULT(S_OK, (pair.*step)());
        EXPECT_EQ(path.expected, pair.state());
        EXPECT_EQ(path.activations, pair.stream().activated);
        EXPECT_EQ(path.deactivations, pair.stream().deactivated);
        EXPECT_EQ(path.expected != State_Stopped, pair.stream().threadExists());
        EXPECT_EQ(0, pair.stream(1).activated);
    }
}

TEST_F(State, AFailingPinLeavesTheFilterStoppedAndTheOthersInactive)
{
    Pair pair({}, 2);
    SinkFilter second;
    TestStream& failing = pair.stream(1);
    failing.plan.activation = E_ACCESSDENIED;
    ASSERT_HRESULT(S_OK, pair.connect());
    ASSERT_HRESULT(S_OK, failing.Connect(&second.input, nullptr));
    EXPECT_HRESULT(E_ACCESSDENIED, pair.source->Run(0));
    EXPECT_EQ(State_Stopped, pair.state());
    EXPECT_FALSE(pair.stream().threadExists()) << "the pin that was active already";
    EXPECT_HRESULT(S_OK, failing.Disconnect());
    EXPECT_HRESULT(S_OK, second.input.Disconnect());
}

/// Stops a source whose worker is in FillBuffer until it is released.
class StopUnderWay
{
public:
    explicit StopUnderWay(const std::function<void(Pair&)>& then = [](Pair&) {})
        : pair({.samples = -1, .onFill = [this, then] {
                    inside_.Set();
                    release_.Wait();
                    then(pair);
                }})
    {
        EXPECT_HRESULT(S_OK, pair.connect());
        EXPECT_HRESULT(S_OK, pair.pause());
        EXPECT_TRUE(inside_.Wait(5000));
        stopper_ = std::thread([this] { EXPECT_HRESULT(S_OK, pair.source->Stop()); });
        Sleep(50);
    }
    ~StopUnderWay() { wait(); }
    void releaseSoon()
    {
        opener_ = std::thread([this] {
            Sleep(50);
            release_.Set();
        });
    }
    void wait()
    {
        for (std::thread* thread : {&stopper_, &opener_})
            if (thread->joinable())
                thread->join();
    }

private:
    CAMEvent inside_{TRUE};
    CAMEvent release_{TRUE};
    std::thread stopper_;
    std::thread opener_;

public:
    Pair pair;
};

TEST_F(State, GetStateWaitsForAnUnfinishedChange)
{
    StopUnderWay stop;
    FILTER_STATE state{};
    EXPECT_HRESULT(VFW_S_STATE_INTERMEDIATE, stop.pair.source->GetState(20, &state));
    stop.releaseSoon();
    EXPECT_EQ(State_Stopped, stop.pair.state());
    EXPECT_HRESULT(E_POINTER, stop.pair.source->GetState(0, nullptr));
}

TEST_F(State, AWorkerThatAsksDuringStopIsNotKeptWaiting)
{
    HRESULT answer = E_PENDING;
    StopUnderWay stop([&](Pair& pair) {
        FILTER_STATE state{};
        answer = pair.source->GetState(INFINITE, &state);
        FILTER_INFO info{};
        pair.source->QueryFilterInfo(&info);
        info.pGraph->Release();
        CRefTime time;
        pair.filter->StreamTime(time);
        pair.filter->IsStopped();
    });
    stop.releaseSoon();
    stop.wait();
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
    ULONG count() { return references(static_cast<IReferenceClock*>(this)); }
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
        EXPECT_HRESULT(VFW_E_NO_CLOCK, pair.filter->StreamTime(time));
        EXPECT_HRESULT(S_OK, pair.source->SetSyncSource(&clock));
        EXPECT_HRESULT(S_OK, pair.source->SetSyncSource(&clock)) << "the same one again";
        EXPECT_EQ(2u, clock.count());
        pair.source->Run(400);
        EXPECT_HRESULT(S_OK, pair.filter->StreamTime(time));
        EXPECT_EQ(600, time.GetUnits());
        EXPECT_HRESULT(S_OK, pair.source->SetSyncSource(&other));
        EXPECT_EQ(1u, clock.count());
        EXPECT_HRESULT(S_OK, pair.source->GetSyncSource(current.put()));
        EXPECT_EQ(&other, current.get());
    }
    EXPECT_EQ(1u, other.count()) << "a filter gives its clock back";
}

TEST_F(State, TheGraphIsNotCounted)
{
    Pair pair;
    IFilterGraph* const graph = &pair.graph;
    const std::wstring longName(300, L'x');
    for (const std::wstring& name : {std::wstring(L"source"), longName}) {
        pair.source->JoinFilterGraph(graph, name.c_str());
        EXPECT_EQ(1u, references(graph));
        FILTER_INFO info{};
        ASSERT_HRESULT(S_OK, pair.source->QueryFilterInfo(&info));
        EXPECT_EQ(name.substr(0, 127), info.achName) << "cut off at the size of the structure";
        EXPECT_EQ(graph, info.pGraph);
        EXPECT_EQ(2u, references(info.pGraph)) << "but what is handed out is";
        info.pGraph->Release();
    }
    pair.source->JoinFilterGraph(nullptr, nullptr);
    FILTER_INFO info{};
    ASSERT_HRESULT(S_OK, pair.source->QueryFilterInfo(&info));
    EXPECT_STREQ(L"", info.achName);
    EXPECT_EQ(nullptr, info.pGraph);
}

TEST_F(State, EventsGoToTheGraphAndCompletionNamesTheFilter)
{
    Pair pair;
    EXPECT_HRESULT(S_OK, pair.filter->NotifyEvent(EC_COMPLETE, S_OK, 0));
    EXPECT_HRESULT(S_OK, pair.filter->NotifyEvent(EC_USER, 1, 2));
    EXPECT_EQ((FakeGraph::Events{{EC_COMPLETE, S_OK, reinterpret_cast<LONG_PTR>(pair.source.get())}, {EC_USER, 1, 2}}),
              pair.graph.events());
    EXPECT_HRESULT(S_OK, pair.filter->ReconnectPin(&pair.stream(), nullptr));
    EXPECT_EQ(static_cast<IPin*>(&pair.stream()), pair.graph.reconnected);
    pair.source->JoinFilterGraph(nullptr, nullptr);
    EXPECT_HRESULT(E_NOTIMPL, pair.filter->NotifyEvent(EC_USER, 1, 2));
    EXPECT_HRESULT(E_NOINTERFACE, pair.filter->ReconnectPin(&pair.stream(), nullptr));
    EXPECT_HRESULT(E_POINTER, pair.source->GetClassID(nullptr));
    LPWSTR vendor = nullptr;
    EXPECT_HRESULT(E_NOTIMPL, pair.source->QueryVendorInfo(&vendor));
}

}  // namespace

}  // namespace zarnow::test
