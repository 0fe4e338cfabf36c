/// @file
/// Ends a test program that hangs.
#pragma once

#include <gtest/gtest.h>

#include <windows.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

namespace zarnow::test {

/// Ends the program when a test takes longer than a minute; the last line of output names it.
class Watchdog : public ::testing::EmptyTestEventListener
{
public:
    Watchdog()
    {
        grantTime();
        std::thread([] {
            while (GetTickCount64() - started < kLimitMilliseconds)
                Sleep(1000);
            giveUp("The test");
        }).detach();
    }

    /// For a test that is long on purpose: its time begins anew.
    static void grantTime() { started = GetTickCount64(); }
    /// For a test that knows better what hangs. Nothing comes after it.
    [[noreturn]] static void giveUp(const std::string& what)
    {
        std::fprintf(stderr, "%s hangs\n", what.c_str());
        std::_Exit(3);
    }

    void OnTestStart(const ::testing::TestInfo&) override { grantTime(); }

private:
    static constexpr ULONGLONG kLimitMilliseconds = 60'000;
    static inline std::atomic<ULONGLONG> started;
};

}  // namespace zarnow::test
