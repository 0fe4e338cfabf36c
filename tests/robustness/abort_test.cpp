// One thread loads a file that takes long, another one raises the stop flag: the load has to end at once. Nothing else
// is shared between them; ThreadSanitizer sees to that in the preset host-tsan.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <future>
#include <optional>
#include <pthread.h>
#include <thread>

#include "esparse/program_selection.h"
#include "tests/support/difficult_files.h"
#include "tests/support/temporary_file.h"

namespace zarnow::test {
namespace {

using std::chrono::milliseconds;

#if defined(__has_feature)  // of clang, which makes everything ten times slower to see the threads
#define ZARNOW_SLOW __has_feature(thread_sanitizer)
#else
#define ZARNOW_SLOW 0
#endif
constexpr milliseconds kLongestWait{ZARNOW_SLOW ? 1000 : 100};
constexpr std::uintmax_t kFileSize = 64U << 20;

milliseconds timeOf(clockid_t clock)
{
    timespec now = {};
    EXPECT_EQ(clock_gettime(clock, &now), 0);
    return std::chrono::duration_cast<milliseconds>(std::chrono::seconds(now.tv_sec) +
                                                    std::chrono::nanoseconds(now.tv_nsec));
}

/// Has a thread load a file and stops it after a while.
/// @return for how long the thread ran on, which no other process has a part in; nothing when it had ended before
std::optional<milliseconds> stopAfter(milliseconds delay, CProgramSelection& selection,
                                      const std::filesystem::path& path)
{
    std::promise<void> ended;
    std::promise<void> released;
    milliseconds end{};
    std::thread worker([&] {
        EXPECT_EQ(selection.loadFile(path.c_str()).status, LoadResult::Status::loaded);
        end = timeOf(CLOCK_THREAD_CPUTIME_ID);
        ended.set_value();
        released.get_future().wait();  // its clock is there as long as it is
    });
    std::future<void> workEnded = ended.get_future();
    const bool late = workEnded.wait_for(delay) == std::future_status::ready;
    clockid_t clock = {};
    EXPECT_EQ(pthread_getcpuclockid(worker.native_handle(), &clock), 0);
    selection.abortScan = true;
    const milliseconds stop = timeOf(clock);  // not before, or this thread's own waiting would count
    released.set_value();
    worker.join();
    return late ? std::nullopt : std::optional(end - stop);
}

TEST(Abort, EndsEveryLoadWithin100Milliseconds)
{
    const auto files = difficultFiles();
    std::size_t stopped = 0;
    for (const DifficultFile& difficult : files) {
        const TemporaryFile written({}, ".ts", directoryInMemory());
        difficult.write(written.path(), kFileSize);
        milliseconds longest{};
        for (const int delay : {0, 1, 2, 5, 10, 20, 50, 100, 200}) {
            SCOPED_TRACE(testing::Message() << difficult.name << ", stopped after " << delay << " ms");
            CProgramSelection selection;
            const auto wait = stopAfter(milliseconds(delay), selection, written.path());
            EXPECT_EQ(selection.file.position(), selection.startOffset);
            if (!wait)
                break;
            EXPECT_LT(*wait, kLongestWait);
            longest = std::max(longest, *wait);
            stopped += selection.analysed ? 0 : 1;  // it may just have ended
        }
        RecordProperty(difficult.name, static_cast<int>(longest.count()));
    }
    EXPECT_GT(stopped, files.size()) << "the files are no trouble";
}

}  // namespace
}  // namespace zarnow::test
