/// @file
/// Ends a test program that hangs.
#pragma once

#include <gtest/gtest.h>

#include <string>

namespace zarnow::test {

/// Ends the program when a test takes longer than a minute; the last line of output names it.
class Watchdog : public ::testing::EmptyTestEventListener
{
public:
    Watchdog();

    /// For a test that is long on purpose: its time begins anew.
    static void grantTime();
    /// For a test that knows better what hangs. Nothing comes after it.
    [[noreturn]] static void giveUp(const std::string& what);

    void OnTestStart(const ::testing::TestInfo&) override { grantTime(); }
};

}  // namespace zarnow::test
