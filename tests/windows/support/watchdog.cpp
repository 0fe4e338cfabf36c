#include "tests/windows/support/watchdog.h"

#include <windows.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace zarnow::test {

namespace {

constexpr ULONGLONG kLimitMilliseconds = 60'000;

std::atomic<ULONGLONG> started;

}  // namespace

Watchdog::Watchdog()
{
    grantTime();
    std::thread([] {
        while (GetTickCount64() - started < kLimitMilliseconds)
            Sleep(1000);
        giveUp("The test");
    }).detach();
}

void Watchdog::grantTime()
{
    started = GetTickCount64();
}

void Watchdog::giveUp(const std::string& what)
{
    std::fprintf(stderr, "%s hangs\n", what.c_str());
    std::_Exit(3);
}

}  // namespace zarnow::test
