/// @file
/// A file that is gone when the test ends.
#pragma once

#include <filesystem>

#include "tests/support/data.h"

namespace zarnow::test {

/// Where large files are put: in memory if that can be. A disk's file system reads even a hole page by page, a hundred
/// times slower.
std::filesystem::path directoryInMemory();

class TemporaryFile
{
public:
    explicit TemporaryFile(const Data& content = {},
                           const std::filesystem::path& directory = std::filesystem::temp_directory_path());
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile();

    /// In place of what it held.
    void write(std::span<const std::uint8_t> content) const;

    const std::filesystem::path& path() const noexcept { return path_; }

private:
    std::filesystem::path path_;
};

}  // namespace zarnow::test
