// Four threads on one filter in a real graph: what is legal, in every order. ZARNOW_STRESS_SECONDS and
// ZARNOW_STRESS_SEED say how long and which.

#include <array>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <optional>
#include <random>
#include <thread>

#include "tests/windows/robustness/graph.h"
#include "tests/windows/support/page_host.h"
#include "tests/windows/support/watchdog.h"
#include "tools/common/find_pin.h"
#include "tools/demultiplexer/demultiplexer.h"

namespace zarnow::test {

namespace {

constexpr ULONGLONG kHangs = 20'000;  // ms in one call

unsigned long setting(const char* name, unsigned long otherwise)
{
    const char* text = std::getenv(name);
    return text != nullptr ? std::strtoul(text, nullptr, 10) : otherwise;
}

struct Call
{
    const char* what;
    std::initializer_list<HRESULT> allowed;
    std::function<HRESULT()> run;
};

/// One thread's calls: what it is in, and what came back that must not.
class Caller
{
public:
    Caller(const char* name, unsigned seed) : name_(name), random_(seed) {}

    int below(int end) { return std::uniform_int_distribution(0, end - 1)(random_); }

    void make(const Call& call)
    {
        since_ = GetTickCount64();
        what_ = call.what;
        const HRESULT result = call.run();
        what_ = nullptr;
        ++calls_;
        if (std::find(call.allowed.begin(), call.allowed.end(), result) == call.allowed.end())
            ADD_FAILURE() << name_ << ": " << call.what << " returned " << hex(result);
    }
    void makeOneOf(std::initializer_list<Call> calls) { make(calls.begin()[below(static_cast<int>(calls.size()))]); }

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
        ASSERT_HRESULT(S_OK, demux::createDemultiplexer(&demultiplexer));
        const auto input = findPin(*demultiplexer.Get(), PINDIR_INPUT);
        graph.emplace();
        graph->connect(*filter.Get(), *pin.Get(), *demultiplexer.Get(), *input.Get());
        ASSERT_HRESULT(S_OK, query<IMediaFilter>(graph->builder.Get(), IID_IMediaFilter)->SetSyncSource(nullptr));
    }

    void TearDown() override
    {
        EXPECT_HRESULT(S_OK, graph->control->Stop());
        EXPECT_HRESULT(S_OK, graph->builder->RemoveFilter(filter.Get()));
        graph.reset();
        EXPECT_EQ(0U, demultiplexer.Reset());
        FilterTest::TearDown();
    }

    void changeState(Caller& caller);
    void changeFile(Caller& caller);
    void move(Caller& caller);
    void ask(Caller& caller);
    void showPage(Caller& caller);
    void choose(Caller& caller, PageFrame& frame);

    std::optional<Graph> graph;
    ComPtr<IBaseFilter> demultiplexer;
    std::mutex stateMutex;  // programs and files are changed while the graph is stopped
    bool stopped = true;
    ULONGLONG end = 0;
};

void StressTest::changeState(Caller& caller)
{
    const std::lock_guard lock(stateMutex);
    OAFilterState state = State_Stopped;
    switch (caller.below(6)) {
        case 0:
        case 1:
            caller.makeOneOf({{"Run", {S_OK, S_FALSE}, [&] { return graph->control->Run(); }},
                              {"Pause", {S_OK, S_FALSE}, [&] { return graph->control->Pause(); }}});
            stopped = false;
            break;
        case 2:
            caller.make({"IMediaControl::GetState", {S_OK, VFW_S_STATE_INTERMEDIATE}, [&] {
                             return graph->control->GetState(caller.below(20), &state);
                         }});
            break;
        case 3:
            if (!stopped)
                caller.make({"Disconnect", {VFW_E_NOT_STOPPED}, [&] { return pin->Disconnect(); }});
            Sleep(static_cast<DWORD>(caller.below(10)));  // something is delivered
            break;
        default:
            caller.make({"Stop", {S_OK}, [&] { return graph->control->Stop(); }});
            stopped = true;
            changeFile(caller);
    }
}

void StressTest::changeFile(Caller& caller)
{
    const auto program = static_cast<WORD>(caller.below(3));
    const auto size = static_cast<DWORD>(20'000 + caller.below(40'000));
    if (caller.below(2) == 0)
        return;
    caller.makeOneOf({
        {"Load", {S_OK}, [&] { return load(program == 0 ? kMpeg2Sample : kTwoProgramsSample); }},
        {"SelectProgram", {S_OK, E_FAIL}, [&] { return tarnwell->SelectProgram(program); }},
        {"SelectProgramByNumber",
         {S_OK, E_FAIL},
         [&] { return tarnwell->SelectProgramByNumber(static_cast<WORD>(0x1000 + program), program + 1); }},
        {"SetBufferSize", {S_OK}, [&] { return tarnwell->SetBufferSize(size); }},
    });
}

void StressTest::move(Caller& caller)
{
    double value = caller.below(4) * 0.02;
    LONG can = 0;
    caller.makeOneOf({
        {"put_CurrentPosition", {S_OK}, [&] { return position->put_CurrentPosition(value); }},
        {"get_CurrentPosition", {S_OK}, [&] { return position->get_CurrentPosition(&value); }},
        {"get_Duration", {S_OK}, [&] { return position->get_Duration(&value); }},
        {"put_StopTime", {S_OK}, [&] { return position->put_StopTime(value); }},
        {"get_StopTime", {S_OK}, [&] { return position->get_StopTime(&value); }},
        {"put_Rate", {S_OK}, [&] { return position->put_Rate(1.0 + value); }},
        {"CanSeekForward", {S_OK}, [&] { return position->CanSeekForward(&can); }},
    });
    Sleep(static_cast<DWORD>(caller.below(2)));
}

void StressTest::ask(Caller& caller)
{
    const auto index = static_cast<DWORD>(caller.below(3));
    DWORD number = 0;
    WORD program = static_cast<WORD>(index + 1);
    WORD pid = static_cast<WORD>(0x1000 + index);
    BSTR text = nullptr;
    LPOLESTR name = nullptr;
    TarnwellVideoInfo video = {};
    AM_MEDIA_TYPE type = {};
    FILTER_STATE state = State_Stopped;
    ComPtr<IUnknown> other;
    caller.makeOneOf({
        {"GetProgramCount", {S_OK}, [&] { return tarnwell->GetProgramCount(&number); }},
        {"GetCurrentProgram", {S_OK, S_FALSE}, [&] { return tarnwell->GetCurrentProgram(&number, &program, &pid); }},
        {"GetProgramInfo", {S_OK}, [&] { return tarnwell->GetProgramInfo(index, &pid, &program, &text); }},
        {"GetStreamCount", {S_OK}, [&] { return tarnwell->GetStreamCount(pid, program, &number); }},
        {"GetStreamInfo",
         {S_OK, S_FALSE, E_FAIL},
         [&] { return tarnwell->GetStreamInfo(index, pid, program, &pid, &text); }},
        {"GetVideoInfo", {S_OK, E_FAIL}, [&] { return tarnwell->GetVideoInfo(&video); }},
        {"GetCurFile", {S_OK}, [&] { return source->GetCurFile(&name, nullptr); }},
        {"QueryAccept",
         {S_OK},
         [&] {
             const HRESULT result = pin->ConnectionMediaType(&type);
             return SUCCEEDED(result) ? pin->QueryAccept(&type) : result;
         }},
        {"IMediaFilter::GetState",
         {S_OK, VFW_S_STATE_INTERMEDIATE},
         [&] { return filter->GetState(static_cast<DWORD>(caller.below(20)), &state); }},
        {"QueryInterface", {E_NOINTERFACE}, [&] { return filter->QueryInterface(IID_IMediaSeeking, &other); }},
        {"QueryInterface", {S_OK}, [&] { return filter->QueryInterface(IID_ITarnwell, &other); }},
    });
    SysFreeString(text);
    CoTaskMemFree(name);
    CoTaskMemFree(type.pbFormat);
    Sleep(static_cast<DWORD>(caller.below(2)));
}

/// As a property frame does it, in an apartment of its own.
void StressTest::showPage(Caller& caller)
{
    PageFrame frame;
    caller.make({"creating a page", {S_OK}, [&] {
                     return module.create(CLSID_ZarnowTSProperties, IID_PPV_ARGS(&frame.page));
                 }});
    caller.make({"showing it", {S_OK}, [&] { return frame.open(filter.Get()); }});
    for (int step = caller.below(10); step > 0; --step) {
        for (MSG message; PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE);)
            DispatchMessageW(&message);
        choose(caller, frame);
        Sleep(5);
    }
    caller.make({"hiding it", {S_OK}, [&] { return frame.close(); }});
    EXPECT_EQ(0U, frame.page.Reset());
    EXPECT_EQ(1U, frame.site.references);
}

void StressTest::choose(Caller& caller, PageFrame& frame)
{
    const std::unique_lock lock(stateMutex, std::try_to_lock);
    if (!lock.owns_lock() || !stopped)
        return;
    caller.make({"choosing a program", {S_OK}, [&] {
                     frame.choose(caller.below(2));
                     return S_OK;
                 }});
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
        Caller caller;
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
            while (GetTickCount64() < end)
                (this->*worker.step)(worker.caller);
            CoUninitialize();
            worker.done = true;
        });
    }
    while (!std::ranges::all_of(workers, [](const Worker& worker) { return worker.done.load(); })) {
        Watchdog::grantTime();
        Sleep(100);
        for (const Worker& worker : workers) {
            if (const std::string hanging = worker.caller.hanging(); !hanging.empty())
                Watchdog::giveUp(hanging);
        }
    }
    for (Worker& worker : workers) {
        worker.thread.join();
        std::printf("%s: %u calls\n", worker.caller.name(), worker.caller.calls());
        EXPECT_LT(seconds, worker.caller.calls());
    }
}

}  // namespace zarnow::test
