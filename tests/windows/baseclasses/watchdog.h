/// @file
/// Ends the test program when a test hangs.

#ifndef ZARNOW_TESTS_BASECLASSES_WATCHDOG_H
#define ZARNOW_TESTS_BASECLASSES_WATCHDOG_H

#include <gtest/gtest.h>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

/// Aborts with a message that names the test when one takes longer than allowed.
class Watchdog : public testing::EmptyTestEventListener
{
public:
    explicit Watchdog(std::chrono::seconds allowed);
    ~Watchdog() override;

    void OnTestStart(const testing::TestInfo& info) override;
    void OnTestEnd(const testing::TestInfo& info) override;

private:
    void watch();
    void setTest(std::string name);

    const std::chrono::seconds m_allowed;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::string m_test;
    bool m_ending = false;
    std::thread m_thread;
};

#endif
