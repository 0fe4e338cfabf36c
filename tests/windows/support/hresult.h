/// @file
/// Results that print as people look them up.
#pragma once

#include <gtest/gtest.h>

#include <windows.h>

#include "tools/common/formatted.h"

namespace zarnow::test {

inline std::string hex(HRESULT result)
{
    return formatted("0x%08lx", static_cast<unsigned long>(result));
}

}  // namespace zarnow::test

#define EXPECT_HRESULT(expected, actual) \
    EXPECT_EQ(zarnow::test::hex(expected), zarnow::test::hex(static_cast<HRESULT>(actual)))
#define ASSERT_HRESULT(expected, actual) \
    ASSERT_EQ(zarnow::test::hex(expected), zarnow::test::hex(static_cast<HRESULT>(actual)))
