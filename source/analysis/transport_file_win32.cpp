#include <windows.h>

#include "analysis/transport_file.h"

namespace zarnow {

namespace {

HANDLE handleOf(std::intptr_t handle) noexcept
{
    return reinterpret_cast<HANDLE>(handle);
}

}  // namespace

std::uint32_t CTransportFile::open(const PathChar* path) noexcept
{
    close();
    const HANDLE handle = CreateFileW(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        return GetLastError();
    handle_ = reinterpret_cast<std::intptr_t>(handle);
    return 0;
}

void CTransportFile::close() noexcept
{
    if (isOpen())
        CloseHandle(handleOf(handle_));
    handle_ = kNoHandle;
}

bool CTransportFile::size(std::int64_t& bytes) const noexcept
{
    LARGE_INTEGER value = {};
    if (!isOpen() || !GetFileSizeEx(handleOf(handle_), &value))
        return false;
    bytes = value.QuadPart;
    return true;
}

bool CTransportFile::read(void* buffer, std::uint32_t length, std::uint32_t& count) noexcept
{
    DWORD got = 0;
    const bool done = isOpen() && ReadFile(handleOf(handle_), buffer, length, &got, nullptr);
    count = done ? got : 0;
    return done;
}

bool CTransportFile::shiftPosition(std::int64_t distance, std::int64_t& reached) const noexcept
{
    LARGE_INTEGER by = {};
    LARGE_INTEGER end = {};
    by.QuadPart = distance;
    const bool done = isOpen() && SetFilePointerEx(handleOf(handle_), by, &end, FILE_CURRENT);
    reached = end.QuadPart;
    return done;
}

bool CTransportFile::setPosition(std::int64_t target) noexcept
{
    LARGE_INTEGER distance = {};
    distance.QuadPart = target;
    return SetFilePointerEx(handleOf(handle_), distance, nullptr, FILE_BEGIN) != FALSE;
}

}  // namespace zarnow
