/// @file
/// Ends a test program that hangs.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace zarnow::test {

/// Names the test that has taken too long, and ends the program.
class Watchdog : public ::testing::EmptyTestEventListener
{
public:
    Watchdog();
    ~Watchdog() override;

    /// For a test that is long on purpose: its time begins anew.
    static void grantTime();
    /// For a test that knows better what hangs. Nothing comes after it.
    [[noreturn]] static void giveUp(const std::string& what);

    void OnTestStart(const ::testing::TestInfo& test) override;
    void OnTestEnd(const ::testing::TestInfo&) override;

private:
    void watch();

    static inline Watchdog* instance_ = nullptr;

    std::mutex mutex_;
    std::condition_variable changed_;
    std::string running_;  // empty: none
    std::uint64_t started_ = 0;
    bool done_ = false;
    std::thread thread_;
};

}  // namespace zarnow::test
