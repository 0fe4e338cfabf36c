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

constexpr ULONGLONG kHangs = 20'000;  // ms after the end

unsigned long setting(const char* name, unsigned long otherwise)
{
    const char* text = std::getenv(name);
    return text != nullptr ? std::strtoul(text, nullptr, 10) : otherwise;
}

::testing::AssertionResult oneOf(std::initializer_list<HRESULT> allowed, HRESULT result)
{
    return std::ranges::find(allowed, result) != allowed.end() ? ::testing::AssertionSuccess()
                                                               : ::testing::AssertionFailure() << hex(result);
}

}  // namespace

class StressTest : public AskingTest
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

    void changeState(Dice& dice)
    {
        const std::lock_guard lock(stateMutex);
        OAFilterState state = State_Stopped;
        const unsigned choice = dice.below(5);
        if (choice == 0)
            EXPECT_TRUE(oneOf({S_OK, S_FALSE}, graph.control->Run()));
        else if (choice == 1)
            EXPECT_TRUE(oneOf({S_OK, S_FALSE}, graph.control->Pause()));
        else if (choice == 2)
            EXPECT_TRUE(oneOf({S_OK, VFW_S_STATE_INTERMEDIATE}, graph.control->GetState(dice.below(20), &state)));
        else
            EXPECT_HRESULT(S_OK, graph.control->Stop());
        stopped = choice > 2 || (choice == 2 && stopped);
        if (!stopped) {
            Sleep(dice.below(10));  // something is delivered
            EXPECT_HRESULT(VFW_E_NOT_STOPPED, pin->Disconnect());
        } else if (dice.oneIn(2)) {
            changeFile(dice);
        }
    }

    void changeFile(Dice& dice)
    {
        const unsigned choice = dice.below(4);
        const auto program = static_cast<WORD>(dice.below(3));
        const auto pmtPid = static_cast<WORD>(0x1000 + program);
        if (choice == 0)
            EXPECT_HRESULT(S_OK, load(program == 0 ? kMpeg2Sample : kTwoProgramsSample));
        else if (choice == 1)
            EXPECT_TRUE(oneOf({S_OK, E_FAIL}, tarnwell->SelectProgram(program)));
        else if (choice == 2)
            EXPECT_TRUE(oneOf({S_OK, E_FAIL}, tarnwell->SelectProgramByNumber(pmtPid, program + 1)));
        else
            EXPECT_HRESULT(S_OK, tarnwell->SetBufferSize(20'000 + dice.below(40'000)));
    }

    void move(Dice& dice)
    {
        double value = dice.below(4) * 0.02;
        EXPECT_HRESULT(S_OK, position->put_CurrentPosition(value));
        EXPECT_HRESULT(S_OK, position->put_StopTime(value));
        EXPECT_HRESULT(S_OK, position->put_Rate(1.0 + value));
        EXPECT_HRESULT(S_OK, position->get_StopTime(&value));
        EXPECT_HRESULT(S_OK, position->get_Duration(&value));
        Sleep(dice.below(2));
    }

    void ask(Dice& dice)
    {
        const DWORD index = dice.below(3);
        DWORD number = 0;
        WORD program = static_cast<WORD>(index + 1);
        WORD pmtPid = static_cast<WORD>(0x1000 + index);
        CMediaType type;
        FILTER_STATE state = State_Stopped;
        askForAll(index, [](HRESULT result, bool mayLack) {
            EXPECT_TRUE(mayLack ? oneOf({S_OK, S_FALSE, E_FAIL}, result) : oneOf({S_OK}, result));
        });
        EXPECT_HRESULT(S_OK, tarnwell->GetProgramCount(&number));
        EXPECT_HRESULT(S_OK, tarnwell->GetStreamCount(pmtPid, program, &number));
        EXPECT_TRUE(oneOf({S_OK, S_FALSE}, tarnwell->GetCurrentProgram(&number, &program, &pmtPid)));
        EXPECT_HRESULT(S_OK, pin->ConnectionMediaType(&type));
        EXPECT_HRESULT(S_OK, pin->QueryAccept(&type));
        EXPECT_TRUE(oneOf({S_OK, VFW_S_STATE_INTERMEDIATE}, filter->GetState(dice.below(20), &state)));
        Sleep(dice.below(2));
    }

    /// As a property frame does it, in an apartment of its own.
    void showPage(Dice& dice)
    {
        PageFrame frame;
        EXPECT_HRESULT(S_OK, frame.create(module));
        EXPECT_HRESULT(S_OK, frame.open(filter.Get()));
        for (unsigned step = dice.below(10); step > 0; --step) {
            for (MSG message; PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE);)
                DispatchMessageW(&message);
            if (const std::unique_lock lock(stateMutex, std::try_to_lock); lock && stopped)
                frame.choose(static_cast<int>(dice.below(2)));
            Sleep(5);
        }
        EXPECT_HRESULT(S_OK, frame.close());
        EXPECT_EQ(0U, frame.page.Reset());
        EXPECT_EQ(1U, frame.site.references);
    }

    Graph graph;
    ComPtr<IBaseFilter> demultiplexer;
    std::mutex stateMutex;  // programs and files are changed while the graph is stopped
    bool stopped = true;
};

TEST_F(StressTest, FourThreadsOnOneFilter)
{
    const unsigned long seconds = setting("ZARNOW_STRESS_SECONDS", 20);
    const unsigned long seed = setting("ZARNOW_STRESS_SEED", GetTickCount() ^ GetCurrentProcessId());
    std::printf("ZARNOW_STRESS_SEED=%lu ZARNOW_STRESS_SECONDS=%lu\n", seed, seconds);
    std::fflush(stdout);
    const ULONGLONG end = GetTickCount64() + seconds * 1000;

    struct Worker
    {
        const char* name;
        void (StressTest::*step)(Dice&);
        DWORD apartment;
        Dice dice;
        std::atomic<unsigned> steps = 0;
        std::future<void> done = {};
    };
    std::array<Worker, 4> workers = {{
        {"state", &StressTest::changeState, COINIT_MULTITHREADED, Dice(seed)},
        {"position", &StressTest::move, COINIT_MULTITHREADED, Dice(seed + 1)},
        {"queries", &StressTest::ask, COINIT_MULTITHREADED, Dice(seed + 2)},
        {"page", &StressTest::showPage, COINIT_APARTMENTTHREADED, Dice(seed + 3)},
    }};
    for (Worker& worker : workers) {
        worker.done = std::async(std::launch::async, [this, end, &worker] {
            CoInitializeEx(nullptr, worker.apartment);
            for (; GetTickCount64() < end; ++worker.steps)
                (this->*worker.step)(worker.dice);
            CoUninitialize();
        });
    }
    for (Worker& worker : workers) {
        while (worker.done.wait_for(std::chrono::milliseconds(100)) != std::future_status::ready) {
            Watchdog::grantTime();
            if (GetTickCount64() > end + kHangs)
                Watchdog::giveUp(worker.name);
        }
        std::printf("%s: %u steps\n", worker.name, worker.steps.load());
        EXPECT_LT(seconds, worker.steps);
    }
}

}  // namespace zarnow::test
