// One thread loads a file that takes long, another one raises the stop flag: the load has to end at once. Nothing else
// is shared between them; ThreadSanitizer sees to that in the preset host-tsan.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include "esparse/program_selection.h"
#include "tests/robustness/sparse_file.h"
#include "tests/support/transport_stream.h"

namespace zarnow::test {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds kLongestWait{100};
constexpr std::uintmax_t kHuge = std::uintmax_t{200} << 30;  // a minute at any speed

/// Programs whose maps are there, on PIDs of their own; their streams are not.
Data programsWithoutHeaders(std::uint16_t count, std::uint8_t streamType)
{
    std::vector<Program> programs;
    Data maps;
    for (std::uint16_t number = 1; number <= count; ++number) {
        const auto mapPid = static_cast<std::uint16_t>(0x100 + number);
        const auto pid = static_cast<std::uint16_t>(0x200 + 4 * number);
        programs.push_back({number, mapPid});
        maps =
            join({maps, pmtPacket(mapPid, number, {{streamType, pid}, {0x81, static_cast<std::uint16_t>(pid + 1)}})});
    }
    return join({patPacket(programs), maps, nullPackets(40)});
}

Data mapsMissing()
{
    std::vector<Program> programs;
    for (std::uint16_t number = 1; number <= 40; ++number)
        programs.push_back({number, static_cast<std::uint16_t>(0x100 + number)});
    return join({patPacket(programs), nullPackets(40)});
}

Data sharedMapsMissing()
{
    return join({patPacket({{1, 0x100}, {2, 0x100}}), pmtPacket(0x100, 1, {{0x02, 0x200}}), nullPackets(40)});
}

struct Difficulty
{
    const char* what;
    Data head;
};

/// What the load of a difficult file does when it is stopped.
struct Stopped
{
    bool analysed;
    Clock::duration wait;
};

Stopped stopAfter(milliseconds delay, const std::function<void(CProgramSelection&)>& work, CProgramSelection& selection)
{
    std::atomic<bool> ended = false;
    Clock::time_point end;
    std::thread worker([&] {
        work(selection);
        end = Clock::now();
        ended = true;
    });
    std::this_thread::sleep_for(delay);
    EXPECT_FALSE(ended) << "the file was no trouble";
    const Clock::time_point stop = Clock::now();
    selection.abortScan = true;
    worker.join();
    return {selection.analysed, end - stop};
}

TEST(Abort, EndsEveryLoadWithin100Milliseconds)
{
    const Difficulty difficulties[] = {
        {"no program table", nullPackets(40)},
        {"no map", mapsMissing()},
        {"one map of two on one PID", sharedMapsMissing()},
        {"no MPEG video header", programsWithoutHeaders(1, 0x02)},
        {"no AVC header in many programs", programsWithoutHeaders(20, 0x1B)},
    };
    for (const Difficulty& difficulty : difficulties) {
        const SparseFile file(difficulty.head, kHuge);
        if (!file.valid())
            GTEST_SKIP() << "no sparse files in " << file.path();
        Clock::duration longest{};
        for (const int delay : {0, 1, 3, 10, 30, 100}) {
            SCOPED_TRACE(testing::Message() << difficulty.what << ", stopped after " << delay << " ms");
            CProgramSelection selection;
            const Stopped stopped = stopAfter(
                milliseconds(delay), [&](CProgramSelection& loads) { loads.loadFile(file.path()); }, selection);
            EXPECT_FALSE(stopped.analysed);
            EXPECT_LT(stopped.wait, kLongestWait);
            EXPECT_EQ(selection.file.position(), selection.startOffset);
            longest = std::max(longest, stopped.wait);
        }
        std::printf("%s: %.2f ms at the longest\n", difficulty.what,
                    std::chrono::duration<double, std::milli>(longest).count());
    }
}

TEST(Abort, EndsSelectionsAndTheGopScan)
{
    const SparseFile file(programsWithoutHeaders(1, 0x1B), kHuge);
    if (!file.valid())
        GTEST_SKIP() << "no sparse files in " << file.path();
    const std::function<void(CProgramSelection&)> works[] = {
        [](CProgramSelection& selection) { selection.selectProgram(0); },
        [](CProgramSelection& selection) { selection.selectProgramByNumber(0x101, 1); },
        [](CProgramSelection& selection) {
            AvcStreamInfo info;
            EXPECT_FALSE(selection.readVideoInfo(info));
        },
    };
    CProgramSelection selection;
    stopAfter(
        milliseconds(10), [&](CProgramSelection& loads) { loads.loadFile(file.path()); }, selection);
    for (const auto& work : works) {
        selection.abortScan = false;
        EXPECT_LT(stopAfter(milliseconds(20), work, selection).wait, kLongestWait);
    }
}

}  // namespace
}  // namespace zarnow::test
