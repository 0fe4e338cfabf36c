#include "tests/windows/page/resources_in_use.h"

#include <cstdint>

namespace zarnow::test {

namespace {

constexpr std::uintptr_t kIndexes = 0x10000;  // of GDI and USER handles

template <class Handle, class Exists>
DWORD countBy(Exists exists)
{
    DWORD count = 0;
    for (std::uintptr_t index = 1; index < kIndexes; ++index)
        count += exists(reinterpret_cast<Handle>(index)) ? 1 : 0;
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
    if (count != 0)
        return count;
    const HANDLE next = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    CloseHandle(next);
    return static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(next) / sizeof(DWORD));
}

}  // namespace

ResourcesInUse resourcesInUse()
{
    return {gdiObjects(), userObjects(), kernelHandles()};
}

}  // namespace zarnow::test
