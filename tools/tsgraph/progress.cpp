#include "tools/tsgraph/progress.h"

#include <io.h>

#include <algorithm>
#include <cstdio>

namespace tsgraph {
namespace {

// Plain lines are read later, in a log: a few of them do.
constexpr std::chrono::seconds kPlainInterval{2};
constexpr std::chrono::milliseconds kTerminalInterval{100};

}  // namespace

Progress::Progress(std::uint64_t total) : total_(total), onTerminal_(_isatty(_fileno(stderr)) != 0) {}

void Progress::show(std::uint64_t bytes)
{
    const Clock::time_point now = Clock::now();
    if (total_ == 0 || now - lastTime_ < (onTerminal_ ? Clock::duration{kTerminalInterval} : kPlainInterval))
        return;
    const auto percent = static_cast<unsigned>(std::min<std::uint64_t>(bytes * 100 / total_, 100));
    if (percent == lastPercent_)
        return;
    lastTime_ = now;
    lastPercent_ = percent;
    shown_ = true;
    std::fprintf(stderr, onTerminal_ ? "\rplayed %3u %%" : "played %u %%\n", percent);
    std::fflush(stderr);
}

Progress::~Progress()
{
    if (shown_ && onTerminal_)
        std::fputs("\r            \r", stderr);
}

}  // namespace tsgraph
