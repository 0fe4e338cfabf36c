// One thread loads a file that takes long, another one raises the stop flag: the load has to end at once. Nothing else
// is shared between them; ThreadSanitizer sees to that in the preset host-tsan.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <optional>
#include <thread>

#include "esparse/program_selection.h"
#include "tests/robustness/sparse_file.h"
#include "tests/support/difficult_files.h"

namespace zarnow::test {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

#if defined(__has_feature)  // of clang, which makes everything ten times slower to see the threads
#define ZARNOW_SLOW __has_feature(thread_sanitizer)
#else
#define ZARNOW_SLOW 0
#endif
constexpr milliseconds kLongestWait{ZARNOW_SLOW ? 1000 : 100};
constexpr std::uintmax_t kFileSize = 64U << 20;

/// A difficult file, in memory if that can be.
struct WrittenFile
{
    explicit WrittenFile(const DifficultFile& content) : file({}, ".ts", SparseFile::directory())
    {
        content.write(file.path(), kFileSize);
    }

    TemporaryFile file;
};

using Work = std::function<void(CProgramSelection&)>;

/// Has a thread do the work and stops it after a while.
/// @return how long it went on; nothing when it had ended before
std::optional<Clock::duration> stopAfter(milliseconds delay, CProgramSelection& selection, const Work& work)
{
    std::atomic<bool> ended = false;
    Clock::time_point end;
    std::thread worker([&] {
        work(selection);
        end = Clock::now();
        ended = true;
    });
    std::this_thread::sleep_for(delay);
    const bool late = ended;
    const Clock::time_point stop = Clock::now();
    selection.abortScan = true;
    worker.join();
    return late ? std::nullopt : std::optional(end - stop);
}

TEST(Abort, EndsEveryLoadWithin100Milliseconds)
{
    for (const DifficultFile& difficult : difficultFiles()) {
        const WrittenFile written(difficult);
        Clock::duration longest{};
        int stopped = 0;
        for (const int delay : {0, 1, 2, 5, 10, 20, 50, 100, 200}) {
            SCOPED_TRACE(testing::Message() << difficult.name << ", stopped after " << delay << " ms");
            CProgramSelection selection;
            const auto wait = stopAfter(milliseconds(delay), selection, [&](CProgramSelection& loads) {
                EXPECT_EQ(loads.loadFile(written.file.path().c_str()).status, LoadResult::Status::loaded);
            });
            EXPECT_EQ(selection.file.position(), selection.startOffset);
            if (!wait)
                break;
            EXPECT_LT(*wait, kLongestWait);
            longest = std::max(longest, *wait);
            stopped += selection.analysed ? 0 : 1;  // it may just have ended
        }
        EXPECT_GT(stopped, 0) << difficult.name << " is no trouble";
        std::printf("%s: %d times, %.2f ms at the longest\n", difficult.name.c_str(), stopped,
                    std::chrono::duration<double, std::milli>(longest).count());
    }
}

TEST(Abort, EndsSelectionsAndTheVideoFacts)
{
    const auto files = difficultFiles();
    const auto avc = std::find_if(files.begin(), files.end(), [](const DifficultFile& file) {
        return file.name == "a PES start in every packet, AVC";
    });
    ASSERT_NE(avc, files.end());
    const WrittenFile written(*avc);
    CProgramSelection selection;
    selection.loadFile(written.file.path().c_str());
    const Work works[] = {
        [](CProgramSelection& loaded) { loaded.selectProgram(0); },
        [](CProgramSelection& loaded) { loaded.selectProgramByNumber(loaded.currentPmtPid, 1); },
        [](CProgramSelection& loaded) {
            AvcStreamInfo info;
            EXPECT_FALSE(loaded.readVideoInfo(info));
        },
    };
    for (const Work& work : works) {
        selection.abortScan = false;
        selection.setReadBufferSize(selection.readBufferSize);  // or what the load read would be known
        const auto wait = stopAfter(milliseconds(2), selection, work);
        ASSERT_TRUE(wait.has_value());
        EXPECT_LT(*wait, kLongestWait);
    }
}

}  // namespace
}  // namespace zarnow::test
