#include <gtest/gtest.h>

#include <objbase.h>

#include "tests/windows/support/watchdog.h"

int main(int argc, char** argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    ::testing::UnitTest::GetInstance()->listeners().Append(new zarnow::test::Watchdog);  // GoogleTest owns it
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    const int status = RUN_ALL_TESTS();
    CoUninitialize();
    return status;
}
