/// @file
/// What this process holds of the system's resources.
#pragma once

#include <windows.h>
#include <tlhelp32.h>

#include <cstdint>

namespace zarnow::test {

/// Where the system's own counters are empty (Wine 8), objects are counted by asking for each possible handle.
template <class Handle>
DWORD countHandles(DWORD counted, bool (*exists)(Handle), std::uintptr_t step = 1)
{
    constexpr std::uintptr_t kLastHandle = 0x10000;
    DWORD count = 0;
    for (std::uintptr_t value = step; counted == 0 && value < kLastHandle; value += step)
        count += exists(reinterpret_cast<Handle>(value)) ? 1 : 0;
    return counted + count;
}

inline DWORD countKernelHandles()
{
    DWORD counted = 0;
    GetProcessHandleCount(GetCurrentProcess(), &counted);
    const auto exists = [](HANDLE handle) {
        DWORD flags = 0;
        return GetHandleInformation(handle, &flags) != FALSE;
    };
    return countHandles<HANDLE>(counted, exists, sizeof(DWORD));
}

inline DWORD countThreads()
{
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry = {};
    entry.dwSize = sizeof(entry);
    DWORD count = 0;
    for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry))
        count += entry.th32OwnerProcessID == GetCurrentProcessId() ? 1 : 0;
    CloseHandle(snapshot);
    return count;
}

/// Asked for page by page: Wine 8 leaves PROCESS_MEMORY_COUNTERS_EX::PrivateUsage at 0.
inline SIZE_T committedMemory()
{
    SIZE_T sum = 0;
    MEMORY_BASIC_INFORMATION region = {};
    for (BYTE* next = nullptr; VirtualQuery(next, &region, sizeof(region)) != 0;) {
        sum += region.State == MEM_COMMIT && region.Type == MEM_PRIVATE ? region.RegionSize : 0;
        next = static_cast<BYTE*>(region.BaseAddress) + region.RegionSize;
    }
    return sum;
}

struct ResourcesInUse
{
    DWORD gdi;
    DWORD user;
    DWORD handles;
    DWORD threads;
    SIZE_T memory;  ///< bytes committed and not shared
};

inline ResourcesInUse resourcesInUse()
{
    const HANDLE process = GetCurrentProcess();
    return {countHandles<HGDIOBJ>(GetGuiResources(process, GR_GDIOBJECTS),
                                  [](HGDIOBJ object) { return GetObjectType(object) != 0; }),
            countHandles<HWND>(GetGuiResources(process, GR_USEROBJECTS),
                               [](HWND window) { return IsWindow(window) != FALSE; }),
            countKernelHandles(), countThreads(), committedMemory()};
}

}  // namespace zarnow::test
