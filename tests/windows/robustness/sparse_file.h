/// @file
/// Files of gigabytes that take kilobytes.
#pragma once

#include <windows.h>

#include <initializer_list>
#include <utility>

#include "tests/support/temporary_file.h"

namespace zarnow::test {

inline constexpr std::int64_t kGiB = std::int64_t{1} << 30;

/// Gone when the test ends.
class SparseFile
{
public:
    /// Bytes, each at its offset; zeros lie between them.
    explicit SparseFile(std::initializer_list<std::pair<std::int64_t, Data>> parts);

    std::wstring path() const { return file_.path().wstring(); }

private:
    TemporaryFile file_;
};

}  // namespace zarnow::test
