/// @file
/// Results that print as people look them up.
#pragma once

#include <gtest/gtest.h>

#include <windows.h>

#include <iomanip>
#include <sstream>
#include <string>

namespace zarnow::test {

inline std::string hex(HRESULT result)
{
    std::ostringstream text;
    text << "0x" << std::hex << std::setw(8) << std::setfill('0') << static_cast<unsigned long>(result);
    return text.str();
}

}  // namespace zarnow::test

#define EXPECT_HRESULT(expected, actual) \
    EXPECT_EQ(zarnow::test::hex(expected), zarnow::test::hex(static_cast<HRESULT>(actual)))
#define ASSERT_HRESULT(expected, actual) \
    ASSERT_EQ(zarnow::test::hex(expected), zarnow::test::hex(static_cast<HRESULT>(actual)))
