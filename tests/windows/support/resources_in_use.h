/// @file
/// What this process holds of the system's resources.
#pragma once

#include <windows.h>

namespace zarnow::test {

struct ResourcesInUse
{
    DWORD gdi;
    DWORD user;
    DWORD handles;
    DWORD threads;
    SIZE_T memory;  ///< bytes committed and not shared
};

/// Where the system's own counters are empty (Wine 8), objects are counted by asking for each possible handle.
ResourcesInUse resourcesInUse();

}  // namespace zarnow::test
