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

/// Names the test that has taken too long, and where every thread of the process stands, and ends the program.
class Watchdog : public ::testing::EmptyTestEventListener
{
public:
    Watchdog();
    ~Watchdog() override;

    void OnTestStart(const ::testing::TestInfo& test) override;
    void OnTestEnd(const ::testing::TestInfo&) override;

private:
    void watch();

    std::mutex mutex_;
    std::condition_variable changed_;
    std::string running_;  // empty: none
    std::uint64_t started_ = 0;
    bool done_ = false;
    std::thread thread_;
};

}  // namespace zarnow::test
