#include "tests/windows/support/watchdog.h"

#include <windows.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace zarnow::test {

namespace {

constexpr ULONGLONG kLimitMilliseconds = 60'000;
}  // namespace

Watchdog::Watchdog() : thread_([this] { watch(); })
{
    instance_ = this;
}

Watchdog::~Watchdog()
{
    {
        const std::lock_guard lock(mutex_);
        done_ = true;
    }
    changed_.notify_one();
    thread_.join();
}

void Watchdog::OnTestStart(const ::testing::TestInfo& test)
{
    const std::lock_guard lock(mutex_);
    running_ = std::string(test.test_suite_name()) + "." + test.name();
    started_ = GetTickCount64();
}

void Watchdog::OnTestEnd(const ::testing::TestInfo&)
{
    const std::lock_guard lock(mutex_);
    running_.clear();
}

void Watchdog::grantTime()
{
    const std::lock_guard lock(instance_->mutex_);
    instance_->started_ = GetTickCount64();
}

void Watchdog::giveUp(const std::string& what)
{
    std::fprintf(stderr, "%s hangs\n", what.c_str());
    std::_Exit(3);
}

void Watchdog::watch()
{
    std::unique_lock lock(mutex_);
    while (!changed_.wait_for(lock, std::chrono::seconds(1), [this] { return done_; })) {
        if (running_.empty() || GetTickCount64() - started_ < kLimitMilliseconds)
            continue;
        giveUp(running_);
    }
}

}  // namespace zarnow::test
