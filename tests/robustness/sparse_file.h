/// @file
/// A file of many gigabytes that takes the disk space of what is written to it.
#pragma once

#include "tests/support/temporary_file.h"

namespace zarnow::test {

class SparseFile
{
public:
    /// @param head  at the file's beginning
    /// @param tail  up to its end; zeros lie between
    SparseFile(const Data& head, std::uintmax_t size, const Data& tail = {});

    /// Where large files are put: in memory if that can be. A disk's file system reads even a hole page by page, a
    /// hundred times slower.
    static std::filesystem::path directory();

    /// False where the file system fills holes with zeros; nothing was written then.
    bool valid() const noexcept { return valid_; }

    const char* path() const noexcept { return file_.path().c_str(); }

private:
    TemporaryFile file_;
    bool valid_ = false;
};

}  // namespace zarnow::test
