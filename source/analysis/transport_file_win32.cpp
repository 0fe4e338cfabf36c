#include <windows.h>

#include "analysis/transport_file.h"

namespace zarnow {

namespace {

HANDLE handleOf(std::intptr_t handle) noexcept
{
    return reinterpret_cast<HANDLE>(handle);
}

bool movePointer(HANDLE handle, std::int64_t distance, DWORD origin, std::int64_t& reached) noexcept
{
    LARGE_INTEGER by = {};
    LARGE_INTEGER end = {};
    by.QuadPart = distance;
    const bool moved = SetFilePointerEx(handle, by, &end, origin) != FALSE;
    reached = end.QuadPart;
    return moved;
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

std::int64_t CTransportFile::position() const noexcept
{
    std::int64_t here = 0;
    return isOpen() && movePointer(handleOf(handle_), 0, FILE_CURRENT, here) ? here : -1;
}

bool CTransportFile::shiftPosition(std::int64_t distance, std::int64_t& reached) noexcept
{
    return isOpen() && movePointer(handleOf(handle_), distance, FILE_CURRENT, reached);
}

bool CTransportFile::setPosition(std::int64_t target) noexcept
{
    std::int64_t reached = 0;
    return movePointer(handleOf(handle_), target, FILE_BEGIN, reached);
}

}  // namespace zarnow
