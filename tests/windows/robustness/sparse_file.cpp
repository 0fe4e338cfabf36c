#include "tests/windows/robustness/sparse_file.h"

#include <gtest/gtest.h>

#include <winioctl.h>

namespace zarnow::test {

SparseFile::SparseFile(std::initializer_list<std::pair<std::int64_t, Data>> parts)
{
    const HANDLE file = CreateFileW(path().c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    EXPECT_NE(INVALID_HANDLE_VALUE, file);
    DWORD count = 0;
    // Wine has no such control and needs none: what is skipped is not written.
    DeviceIoControl(file, FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &count, nullptr);
    for (const auto& [offset, data] : parts) {
        LARGE_INTEGER position = {};
        position.QuadPart = offset;
        EXPECT_TRUE(SetFilePointerEx(file, position, nullptr, FILE_BEGIN));
        EXPECT_TRUE(WriteFile(file, data.data(), static_cast<DWORD>(data.size()), &count, nullptr));
    }
    CloseHandle(file);
}

}  // namespace zarnow::test
