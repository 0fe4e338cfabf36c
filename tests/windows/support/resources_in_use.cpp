#include "tests/windows/support/resources_in_use.h"

#include <tlhelp32.h>

#include <cstdint>

namespace zarnow::test {

namespace {

constexpr std::uintptr_t kLastHandle = 0x10000;

template <class Handle, class Exists>
DWORD countBy(Exists exists, std::uintptr_t step = 1)
{
    DWORD count = 0;
    for (std::uintptr_t value = step; value < kLastHandle; value += step)
        count += exists(reinterpret_cast<Handle>(value)) ? 1 : 0;
    return count;
}

DWORD gdiObjects()
{
    const DWORD count = GetGuiResources(GetCurrentProcess(), GR_GDIOBJECTS);
    return count != 0 ? count : countBy<HGDIOBJ>([](HGDIOBJ object) { return GetObjectType(object) != 0; });
}

DWORD userObjects()
{
    const DWORD count = GetGuiResources(GetCurrentProcess(), GR_USEROBJECTS);
    return count != 0 ? count : countBy<HWND>([](HWND window) { return IsWindow(window) != FALSE; });
}

DWORD kernelHandles()
{
    DWORD count = 0;
    GetProcessHandleCount(GetCurrentProcess(), &count);
    const auto exists = [](HANDLE handle) {
        DWORD flags = 0;
        return GetHandleInformation(handle, &flags);
    };
    return count != 0 ? count : countBy<HANDLE>(exists, sizeof(DWORD));
}

DWORD threads()
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
SIZE_T committedMemory()
{
    SIZE_T sum = 0;
    MEMORY_BASIC_INFORMATION region = {};
    for (BYTE* next = nullptr; VirtualQuery(next, &region, sizeof(region)) != 0;) {
        sum += region.State == MEM_COMMIT && region.Type == MEM_PRIVATE ? region.RegionSize : 0;
        next = static_cast<BYTE*>(region.BaseAddress) + region.RegionSize;
    }
    return sum;
}

}  // namespace

ResourcesInUse resourcesInUse()
{
    return {gdiObjects(), userObjects(), kernelHandles(), threads(), committedMemory()};
}

}  // namespace zarnow::test
