// Four threads on one filter in a real graph: what is legal, in every order. ZARNOW_STRESS_SECONDS and
// ZARNOW_STRESS_SEED say how long and which.

#include <control.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <random>
#include <string>
#include <thread>

#include "tests/windows/support/filter_fixture.h"
#include "tests/windows/support/page_host.h"
#include "tests/windows/support/watchdog.h"
#include "tools/common/find_pin.h"
#include "tools/demultiplexer/demultiplexer.h"
#include "ui/resource_ids.h"

namespace zarnow::test {

namespace {

constexpr ULONGLONG kHangs = 20'000;  // ms in one call

unsigned long setting(const char* name, unsigned long otherwise)
{
    const char* text = std::getenv(name);
    return text != nullptr ? std::strtoul(text, nullptr, 10) : otherwise;
}

/// One thread's calls: what it is in, and what came back that must not.
class Caller
{
public:
    Caller(const char* name, unsigned seed) : name_(name), random_(seed) {}

    int below(int end) { return std::uniform_int_distribution(0, end - 1)(random_); }

    /// @param call  a member function's call, whose result has to be one of those allowed
    template <class Call>
    HRESULT operator()(const char* what, std::initializer_list<HRESULT> allowed, Call call)
    {
        since_ = GetTickCount64();
        what_ = what;
        const HRESULT result = call();
        what_ = nullptr;
        ++calls_;
        if (std::find(allowed.begin(), allowed.end(), result) == allowed.end())
            ADD_FAILURE() << name_ << ": " << what << " returned " << hex(result);
        return result;
    }

    std::string hanging() const
    {
        const char* what = what_;
        return what != nullptr && GetTickCount64() - since_ > kHangs ? std::string(name_) + " in " + what : "";
    }
    const char* name() const { return name_; }
    unsigned calls() const { return calls_; }

private:
    const char* name_;
    std::mt19937 random_;
    std::atomic<const char*> what_ = nullptr;
    std::atomic<ULONGLONG> since_ = 0;
    std::atomic<unsigned> calls_ = 0;
};

}  // namespace

class StressTest : public FilterTest
{
public:
    void SetUp() override
    {
        FilterTest::SetUp();
        ASSERT_HRESULT(S_OK, load(kTwoProgramsSample));
        ASSERT_HRESULT(S_OK, CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder,
                                              reinterpret_cast<void**>(graph.GetAddressOf())));
        ASSERT_HRESULT(S_OK, demux::createDemultiplexer(&demultiplexer));
        ASSERT_HRESULT(S_OK, graph->AddFilter(filter.Get(), L"Source"));
        ASSERT_HRESULT(S_OK, graph->AddFilter(demultiplexer.Get(), L"Demultiplexer"));
        const auto input = findPin(*demultiplexer.Get(), PINDIR_INPUT);
        ASSERT_HRESULT(S_OK, graph->ConnectDirect(pin.Get(), input.Get(), nullptr));
        control = query<IMediaControl>(graph.Get(), IID_IMediaControl);
        ASSERT_HRESULT(S_OK, query<IMediaFilter>(graph.Get(), IID_IMediaFilter)->SetSyncSource(nullptr));
    }

    void TearDown() override
    {
        if (control) {
            EXPECT_HRESULT(S_OK, control->Stop());
            EXPECT_HRESULT(S_OK, graph->RemoveFilter(filter.Get()));
        }
        control.Reset();
        EXPECT_EQ(0U, graph.Reset());
        EXPECT_EQ(0U, demultiplexer.Reset());
        FilterTest::TearDown();
    }

    void changeState(Caller& call);
    void changeFile(Caller& call);
    void move(Caller& call);
    void ask(Caller& call);
    void askPin(Caller& call);
    void showPage(Caller& call);
    void choose(Caller& call, PageFrame& frame);

    bool over() const { return GetTickCount64() >= end; }

    ComPtr<IGraphBuilder> graph;
    ComPtr<IBaseFilter> demultiplexer;
    ComPtr<IMediaControl> control;
    std::mutex stateMutex;  // programs and files are changed while the graph is stopped
    bool stopped = true;
    ULONGLONG end = 0;
};

void StressTest::changeState(Caller& call)
{
    const std::lock_guard lock(stateMutex);
    OAFilterState state = State_Stopped;
    switch (call.below(6)) {
        case 0:
            call("Run", {S_OK, S_FALSE}, [&] { return control->Run(); });
            stopped = false;
            break;
        case 1:
            call("Pause", {S_OK, S_FALSE}, [&] { return control->Pause(); });
            stopped = false;
            break;
        case 2:
            call("IMediaControl::GetState", {S_OK, VFW_S_STATE_INTERMEDIATE},
                 [&] { return control->GetState(call.below(20), &state); });
            break;
        case 3:
            if (!stopped)
                call("Disconnect", {VFW_E_NOT_STOPPED}, [&] { return pin->Disconnect(); });
            Sleep(static_cast<DWORD>(call.below(10)));  // something is delivered
            break;
        default:
            call("Stop", {S_OK}, [&] { return control->Stop(); });
            stopped = true;
            changeFile(call);
    }
}

void StressTest::changeFile(Caller& call)
{
    const WORD programs = static_cast<WORD>(call.below(3));
    switch (call.below(8)) {
        case 0:
            call("Load", {S_OK}, [&] { return load(programs == 0 ? kMpeg2Sample : kTwoProgramsSample); });
            break;
        case 1:
            call("SelectProgram", {S_OK, E_FAIL}, [&] { return tarnwell->SelectProgram(programs); });
            break;
        case 2:
            call("SelectProgramByNumber", {S_OK, E_FAIL},
                 [&] { return tarnwell->SelectProgramByNumber(static_cast<WORD>(0x1000 + programs), programs + 1); });
            break;
        case 3:
            call("SetBufferSize", {S_OK},
                 [&] { return tarnwell->SetBufferSize(static_cast<DWORD>(20'000 + call.below(40'000))); });
            break;
        default:
            break;
    }
}

void StressTest::move(Caller& call)
{
    double value = call.below(4) * 0.02;
    LONG can = 0;
    switch (call.below(6)) {
        case 0:
            call("put_CurrentPosition", {S_OK}, [&] { return position->put_CurrentPosition(value); });
            break;
        case 1:
            call("get_CurrentPosition", {S_OK}, [&] { return position->get_CurrentPosition(&value); });
            break;
        case 2:
            call("get_Duration", {S_OK}, [&] { return position->get_Duration(&value); });
            break;
        case 3:
            call("put_StopTime", {S_OK}, [&] { return position->put_StopTime(value); });
            call("get_StopTime", {S_OK}, [&] { return position->get_StopTime(&value); });
            break;
        case 4:
            call("put_Rate", {S_OK}, [&] { return position->put_Rate(1.0 + value); });
            break;
        default:
            call("CanSeekForward", {S_OK}, [&] { return position->CanSeekForward(&can); });
    }
    Sleep(static_cast<DWORD>(call.below(2)));
}

void StressTest::ask(Caller& call)
{
    const auto index = static_cast<DWORD>(call.below(3));
    DWORD number = 0;
    WORD program = static_cast<WORD>(index + 1);
    WORD pid = static_cast<WORD>(0x1000 + index);
    BSTR text = nullptr;
    TarnwellVideoInfo video = {};
    LPOLESTR name = nullptr;
    switch (call.below(8)) {
        case 0:
            call("GetProgramCount", {S_OK}, [&] { return tarnwell->GetProgramCount(&number); });
            break;
        case 1:
            call("GetCurrentProgram", {S_OK, S_FALSE},
                 [&] { return tarnwell->GetCurrentProgram(&number, &program, &pid); });
            break;
        case 2:
            call("GetProgramInfo", {S_OK}, [&] { return tarnwell->GetProgramInfo(index, &pid, &program, &text); });
            break;
        case 3:
            call("GetStreamCount", {S_OK}, [&] { return tarnwell->GetStreamCount(pid, program, &number); });
            break;
        case 4:
            call("GetStreamInfo", {S_OK, S_FALSE, E_FAIL},
                 [&] { return tarnwell->GetStreamInfo(index, pid, program, &pid, &text); });
            break;
        case 5:
            call("GetVideoInfo", {S_OK, E_FAIL}, [&] { return tarnwell->GetVideoInfo(&video); });
            break;
        case 6:
            call("GetCurFile", {S_OK}, [&] { return source->GetCurFile(&name, nullptr); });
            break;
        default:
            askPin(call);
    }
    SysFreeString(text);
    CoTaskMemFree(name);
    Sleep(static_cast<DWORD>(call.below(2)));
}

void StressTest::askPin(Caller& call)
{
    AM_MEDIA_TYPE type = {};
    FILTER_STATE state = State_Stopped;
    ComPtr<IUnknown> other;
    call("ConnectionMediaType", {S_OK}, [&] { return pin->ConnectionMediaType(&type); });
    CoTaskMemFree(type.pbFormat);
    call("QueryAccept", {S_OK, S_FALSE}, [&] { return pin->QueryAccept(&type); });
    call("IMediaFilter::GetState", {S_OK, VFW_S_STATE_INTERMEDIATE},
         [&] { return filter->GetState(static_cast<DWORD>(call.below(20)), &state); });
    call("QueryInterface", {E_NOINTERFACE},
         [&] { return filter->QueryInterface(IID_IMediaSeeking, reinterpret_cast<void**>(other.GetAddressOf())); });
    call("QueryInterface", {S_OK},
         [&] { return filter->QueryInterface(IID_ITarnwell, reinterpret_cast<void**>(other.GetAddressOf())); });
}

/// As a property frame does it, in an apartment of its own.
void StressTest::showPage(Caller& call)
{
    PageFrame frame;
    call("creating a page", {S_OK}, [&] { return module.create(CLSID_ZarnowTSProperties, IID_PPV_ARGS(&frame.page)); });
    call("showing it", {S_OK}, [&] { return frame.open(filter.Get()); });
    for (int step = call.below(10); step > 0; --step) {
        for (MSG message; PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE);)
            DispatchMessageW(&message);
        choose(call, frame);
        Sleep(5);
    }
    call("hiding it", {S_OK}, [&] { return frame.close(); });
    EXPECT_EQ(0U, frame.page.Reset());
    EXPECT_EQ(1U, frame.site.references);
}

void StressTest::choose(Caller& call, PageFrame& frame)
{
    const std::unique_lock lock(stateMutex, std::try_to_lock);
    if (!lock.owns_lock() || !stopped)
        return;
    call("choosing a program", {S_OK}, [&] {
        frame.choose(call.below(2));
        return S_OK;
    });
}

TEST_F(StressTest, FourThreadsOnOneFilter)
{
    const unsigned long seconds = setting("ZARNOW_STRESS_SECONDS", 20);
    const unsigned long seed = setting("ZARNOW_STRESS_SEED", GetTickCount() ^ GetCurrentProcessId());
    std::printf("ZARNOW_STRESS_SEED=%lu ZARNOW_STRESS_SECONDS=%lu\n", seed, seconds);
    std::fflush(stdout);
    end = GetTickCount64() + seconds * 1000;

    struct Worker
    {
        Caller call;
        void (StressTest::*step)(Caller&);
        DWORD apartment;
        std::atomic<bool> done = false;
        std::thread thread = {};
    };
    std::array<Worker, 4> workers = {{
        {{"state", seed}, &StressTest::changeState, COINIT_MULTITHREADED},
        {{"position", seed + 1}, &StressTest::move, COINIT_MULTITHREADED},
        {{"queries", seed + 2}, &StressTest::ask, COINIT_MULTITHREADED},
        {{"page", seed + 3}, &StressTest::showPage, COINIT_APARTMENTTHREADED},
    }};
    for (Worker& worker : workers) {
        worker.thread = std::thread([this, &worker] {
            CoInitializeEx(nullptr, worker.apartment);
            while (!over())
                (this->*worker.step)(worker.call);
            CoUninitialize();
            worker.done = true;
        });
    }
    const auto allDone = [&] {
        return std::all_of(workers.begin(), workers.end(), [](auto& w) { return w.done.load(); });
    };
    while (!allDone()) {
        Watchdog::grantTime();
        Sleep(100);
        for (const Worker& worker : workers) {
            if (const std::string hanging = worker.call.hanging(); !hanging.empty())
                Watchdog::giveUp(hanging);
        }
    }
    for (Worker& worker : workers) {
        worker.thread.join();
        std::printf("%s: %u calls\n", worker.call.name(), worker.call.calls());
        EXPECT_LT(seconds, worker.call.calls());
    }
}

}  // namespace zarnow::test
