// One thread loads a file that takes long, another one raises the stop flag: the load has to end at once. Nothing else
// is shared between them; ThreadSanitizer sees to that in the preset host-tsan.

#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <future>
#include <optional>

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
constexpr std::size_t kFileSize = 64U << 20;

/// Has a thread load a file and stops it after a while.
/// @return for how long it ran on, in processor time, which no other process has a part in; nothing when it had ended
std::optional<milliseconds> stopAfter(milliseconds delay, CProgramSelection& selection,
                                      const std::filesystem::path& path)
{
    auto status = std::async(std::launch::async, [&] { return selection.loadFile(path.c_str()).status; });
    const bool late = status.wait_for(delay) == std::future_status::ready;
    const std::clock_t stop = std::clock();  // all threads' time, but this one only waits
    selection.abortScan = true;
    EXPECT_EQ(status.get(), LoadResult::Status::loaded);
    return late ? std::nullopt : std::optional(milliseconds((std::clock() - stop) * 1000 / CLOCKS_PER_SEC));
}

TEST(Abort, EndsEveryLoadWithin100Milliseconds)
{
    const auto files = difficultFiles();
    std::size_t stopped = 0;
    for (const DifficultFile& difficult : files) {
        const TemporaryFile written(difficult.content(kFileSize), directoryInMemory());
        for (const int delay : {0, 1, 2, 5, 10, 20, 50, 100, 200}) {
            SCOPED_TRACE(testing::Message() << difficult.name << ", stopped after " << delay << " ms");
            CProgramSelection selection;
            const auto wait = stopAfter(milliseconds(delay), selection, written.path());
            EXPECT_EQ(selection.file.position(), selection.startOffset);
            if (!wait)
                break;
            EXPECT_LT(*wait, kLongestWait);
            stopped += selection.analysed ? 0 : 1;  // it may just have ended
        }
    }
    EXPECT_GT(stopped, files.size()) << "the files are no trouble";
}

}  // namespace
}  // namespace zarnow::test
