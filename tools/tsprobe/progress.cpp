#include "tools/tsprobe/progress.h"

#include <chrono>
#include <cstdio>

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

namespace tsprobe {

namespace {

bool onTerminal()
{
#ifdef _WIN32
    return _isatty(_fileno(stderr)) != 0;
#else
    return isatty(STDERR_FILENO) != 0;
#endif
}

}  // namespace

Progress::Progress(const std::string& path)
{
    if (onTerminal())
        thread_ = std::thread([this, path] { show(path); });
}

Progress::~Progress()
{
    if (!thread_.joinable())
        return;
    {
        const std::lock_guard lock(mutex_);
        done_ = true;
    }
    changed_.notify_one();
    thread_.join();
}

void Progress::show(const std::string& path)
{
    using namespace std::chrono_literals;
    const auto begin = std::chrono::steady_clock::now();
    std::unique_lock lock(mutex_);
    int shown = 0;  // characters, wiped with blanks: not every Windows console knows escape sequences
    while (!changed_.wait_for(lock, 500ms, [this] { return done_; })) {
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
        shown = std::fprintf(stderr, "\rreading %s ... %.1f s", path.c_str(), elapsed.count());
    }
    if (shown > 0)
        std::fprintf(stderr, "\r%*s\r", shown - 1, "");
}

}  // namespace tsprobe
