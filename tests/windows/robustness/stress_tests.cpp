// Four threads on one filter in a real graph: what is legal, in every order. ZARNOW_STRESS_SECONDS and
// ZARNOW_STRESS_SEED say how long and which.

#include <array>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <mutex>

#include "tests/support/dice.h"
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
    std::function<HRESULT()> run;
    std::vector<HRESULT> allowed = {S_OK};
};

/// One thread's calls: what it is in, and what came back that must not.
class Caller : public Dice
{
public:
    Caller(const char* name, unsigned seed) : Dice(seed), name_(name) {}

    void make(const Call& call)
    {
        since_ = GetTickCount64();
        what_ = call.what;
        const HRESULT result = call.run();
        what_ = nullptr;
        ++calls_;
        EXPECT_NE(call.allowed.end(), std::ranges::find(call.allowed, result))
            << name_ << ": " << call.what << " returned " << hex(result);
    }
    void makeOneOf(const std::vector<Call>& calls) { make(of(calls)); }

    void giveUpIfHanging() const
    {
        const char* what = what_;
        if (what != nullptr && GetTickCount64() - since_ > kHangs)
            Watchdog::giveUp(std::string(name_) + " in " + what);
    }
    void report(unsigned atLeast) const
    {
        std::printf("%s: %u calls\n", name_, calls_.load());
        EXPECT_LT(atLeast, calls_);
    }

private:
    const char* name_;
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
        graph.connect(*filter.Get(), *pin.Get(), *demultiplexer.Get(), *input.Get());
        ASSERT_HRESULT(S_OK, query<IMediaFilter>(graph.builder.Get(), IID_IMediaFilter)->SetSyncSource(nullptr));
    }

    void TearDown() override
    {
        EXPECT_HRESULT(S_OK, graph.control->Stop());
        EXPECT_HRESULT(S_OK, graph.builder->RemoveFilter(filter.Get()));
        EXPECT_HRESULT(S_OK, graph.builder->RemoveFilter(demultiplexer.Get()));
        EXPECT_EQ(0U, demultiplexer.Reset());
        FilterTest::TearDown();
    }

    void changeState(Caller& caller);
    void changeFile(Caller& caller);
    void move(Caller& caller);
    void ask(Caller& caller);
    void showPage(Caller& caller);

    Graph graph;
    ComPtr<IBaseFilter> demultiplexer;
    std::mutex stateMutex;  // programs and files are changed while the graph is stopped
    bool stopped = true;
};

void StressTest::changeState(Caller& caller)
{
    const std::lock_guard lock(stateMutex);
    OAFilterState state = State_Stopped;
    const auto stop = [&] {
        stopped = true;
        return graph.control->Stop();
    };
    const auto start = [&](HRESULT (STDMETHODCALLTYPE IMediaControl::*how)()) {
        stopped = false;
        return (graph.control.Get()->*how)();
    };
    const auto disconnectLater = [&] {
        Sleep(caller.below(10));  // something is delivered
        return stopped ? VFW_E_NOT_STOPPED : pin->Disconnect();
    };
    caller.makeOneOf({
        {"Run", [&] { return start(&IMediaControl::Run); }, {S_OK, S_FALSE}},
        {"Pause", [&] { return start(&IMediaControl::Pause); }, {S_OK, S_FALSE}},
        {"IMediaControl::GetState",
         [&] { return graph.control->GetState(caller.below(20), &state); },
         {S_OK, VFW_S_STATE_INTERMEDIATE}},
        {"Disconnect", disconnectLater, {VFW_E_NOT_STOPPED}},
        {"Stop", stop},
        {"Stop", stop},
    });
    if (stopped && caller.below(2) == 0)
        changeFile(caller);
}

void StressTest::changeFile(Caller& caller)
{
    const auto program = static_cast<WORD>(caller.below(3));
    const auto pmtPid = static_cast<WORD>(0x1000 + program);
    const DWORD size = 20'000 + caller.below(40'000);
    caller.makeOneOf({
        {"Load", [&] { return load(program == 0 ? kMpeg2Sample : kTwoProgramsSample); }},
        {"SelectProgram", [&] { return tarnwell->SelectProgram(program); }, {S_OK, E_FAIL}},
        {"SelectProgramByNumber", [&] { return tarnwell->SelectProgramByNumber(pmtPid, program + 1); }, {S_OK, E_FAIL}},
        {"SetBufferSize", [&] { return tarnwell->SetBufferSize(size); }},
    });
}

void StressTest::move(Caller& caller)
{
    double value = caller.below(4) * 0.02;
    LONG can = 0;
    caller.makeOneOf({
        {"put_CurrentPosition", [&] { return position->put_CurrentPosition(value); }},
        {"get_CurrentPosition", [&] { return position->get_CurrentPosition(&value); }},
        {"get_Duration", [&] { return position->get_Duration(&value); }},
        {"put_StopTime", [&] { return position->put_StopTime(value); }},
        {"get_StopTime", [&] { return position->get_StopTime(&value); }},
        {"put_Rate", [&] { return position->put_Rate(1.0 + value); }},
        {"CanSeekForward", [&] { return position->CanSeekForward(&can); }},
    });
    Sleep(caller.below(2));
}

void StressTest::ask(Caller& caller)
{
    const DWORD index = caller.below(3);
    DWORD number = 0;
    WORD program = static_cast<WORD>(index + 1);
    WORD pid = static_cast<WORD>(0x1000 + index);
    BSTR text = nullptr;
    LPOLESTR name = nullptr;
    TarnwellVideoInfo video = {};
    AM_MEDIA_TYPE type = {};
    FILTER_STATE state = State_Stopped;
    ComPtr<IUnknown> other;
    const auto accept = [&] {
        const HRESULT result = pin->ConnectionMediaType(&type);
        return SUCCEEDED(result) ? pin->QueryAccept(&type) : result;
    };
    const auto getState = [&] { return filter->GetState(caller.below(20), &state); };
    const auto getStream = [&] { return tarnwell->GetStreamInfo(index, pid, program, &pid, &text); };
    caller.makeOneOf({
        {"GetProgramCount", [&] { return tarnwell->GetProgramCount(&number); }},
        {"GetCurrentProgram", [&] { return tarnwell->GetCurrentProgram(&number, &program, &pid); }, {S_OK, S_FALSE}},
        {"GetProgramInfo", [&] { return tarnwell->GetProgramInfo(index, &pid, &program, &text); }},
        {"GetStreamCount", [&] { return tarnwell->GetStreamCount(pid, program, &number); }},
        {"GetStreamInfo", getStream, {S_OK, S_FALSE, E_FAIL}},
        {"GetVideoInfo", [&] { return tarnwell->GetVideoInfo(&video); }, {S_OK, E_FAIL}},
        {"GetCurFile", [&] { return source->GetCurFile(&name, nullptr); }},
        {"QueryAccept", accept},
        {"IMediaFilter::GetState", getState, {S_OK, VFW_S_STATE_INTERMEDIATE}},
        {"QueryInterface", [&] { return filter->QueryInterface(IID_IMediaSeeking, &other); }, {E_NOINTERFACE}},
        {"QueryInterface", [&] { return filter->QueryInterface(IID_ITarnwell, &other); }},
    });
    SysFreeString(text);
    CoTaskMemFree(name);
    CoTaskMemFree(type.pbFormat);
    Sleep(caller.below(2));
}

/// As a property frame does it, in an apartment of its own.
void StressTest::showPage(Caller& caller)
{
    PageFrame frame;
    const auto create = [&] { return module.create(CLSID_ZarnowTSProperties, IID_PPV_ARGS(&frame.page)); };
    const auto choose = [&] {
        frame.choose(static_cast<int>(caller.below(2)));
        return S_OK;
    };
    caller.make({"creating a page", create});
    caller.make({"showing it", [&] { return frame.open(filter.Get()); }});
    for (unsigned step = caller.below(10); step > 0; --step) {
        for (MSG message; PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE);)
            DispatchMessageW(&message);
        if (const std::unique_lock lock(stateMutex, std::try_to_lock); lock && stopped)
            caller.make({"choosing a program", choose});
        Sleep(5);
    }
    caller.make({"hiding it", [&] { return frame.close(); }});
    EXPECT_EQ(0U, frame.page.Reset());
    EXPECT_EQ(1U, frame.site.references);
}

TEST_F(StressTest, FourThreadsOnOneFilter)
{
    const unsigned long seconds = setting("ZARNOW_STRESS_SECONDS", 20);
    const unsigned long seed = setting("ZARNOW_STRESS_SEED", GetTickCount() ^ GetCurrentProcessId());
    std::printf("ZARNOW_STRESS_SEED=%lu ZARNOW_STRESS_SECONDS=%lu\n", seed, seconds);
    std::fflush(stdout);
    const ULONGLONG end = GetTickCount64() + seconds * 1000;

    struct Worker
    {
        Caller caller;
        void (StressTest::*step)(Caller&);
        DWORD apartment;
        std::future<void> done = {};
    };
    std::array<Worker, 4> workers = {{
        {{"state", seed}, &StressTest::changeState, COINIT_MULTITHREADED},
        {{"position", seed + 1}, &StressTest::move, COINIT_MULTITHREADED},
        {{"queries", seed + 2}, &StressTest::ask, COINIT_MULTITHREADED},
        {{"page", seed + 3}, &StressTest::showPage, COINIT_APARTMENTTHREADED},
    }};
    for (Worker& worker : workers) {
        worker.done = std::async(std::launch::async, [this, end, &worker] {
            CoInitializeEx(nullptr, worker.apartment);
            while (GetTickCount64() < end)
                (this->*worker.step)(worker.caller);
            CoUninitialize();
        });
    }
    for (Worker& waitedFor : workers) {
        while (waitedFor.done.wait_for(std::chrono::milliseconds(100)) != std::future_status::ready) {
            Watchdog::grantTime();
            for (const Worker& worker : workers)
                worker.caller.giveUpIfHanging();
        }
        waitedFor.caller.report(seconds);
    }
}

}  // namespace zarnow::test
