#include "tools/tsgraph/watchdog.h"

#include <windows.h>

#include <cstdio>
#include <utility>

#include "tools/tsgraph/failure.h"

namespace tsgraph {
namespace {

using Clock = std::chrono::steady_clock;

std::uint64_t readsOfProcess()
{
    IO_COUNTERS counters{};
    return GetProcessIoCounters(GetCurrentProcess(), &counters) != FALSE ? counters.ReadOperationCount : 0;
}

}  // namespace

Watchdog::Watchdog(std::chrono::seconds patience) : patience_(patience), thread_([this] { watch(); }) {}

Watchdog::~Watchdog()
{
    {
        const std::lock_guard lock(mutex_);
        ended_ = true;
    }
    wake_.notify_one();
    thread_.join();
}

void Watchdog::enter(std::string step)
{
    const std::lock_guard lock(mutex_);
    step_ = std::move(step);
    ++events_;
}

void Watchdog::notice()
{
    const std::lock_guard lock(mutex_);
    ++events_;
}

void Watchdog::watch()
{
    std::unique_lock lock(mutex_);
    auto seen = std::pair{events_, readsOfProcess()};
    Clock::time_point since = Clock::now();
    while (!wake_.wait_for(lock, std::chrono::seconds(1), [this] { return ended_; })) {
        const auto now = std::pair{events_, readsOfProcess()};
        if (now != seen)
            since = Clock::now();
        else if (Clock::now() - since >= patience_)
            giveUp();
        seen = now;
    }
}

void Watchdog::giveUp() const
{
    std::fprintf(stderr, "tsgraph: %s: nothing has happened for %lld seconds, giving up\n", step_.c_str(),
                 static_cast<long long>(patience_.count()));
    std::fflush(stderr);
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(kFailed));
    std::abort();
}

}  // namespace tsgraph
