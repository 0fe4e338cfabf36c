#include <gtest/gtest.h>
#include <objbase.h>

#include "watchdog.h"

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    testing::UnitTest::GetInstance()->listeners().Append(new Watchdog(std::chrono::seconds(30)));
    const HRESULT initialised = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    const int result = RUN_ALL_TESTS();
    if (SUCCEEDED(initialised))
        CoUninitialize();
    return result;
}
