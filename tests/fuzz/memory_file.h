/// @file
/// A file that is quickly written anew for every input.
#pragma once

#include <cerrno>
#include <string>
#include <sys/mman.h>
#include <system_error>
#include <unistd.h>

#include "tests/fuzz/target.h"

namespace zarnow::fuzz {

/// Lies in memory; anybody may open it by its path.
class MemoryFile
{
public:
    MemoryFile() : descriptor_(memfd_create("fuzz", MFD_CLOEXEC)), path_("/proc/self/fd/" + std::to_string(descriptor_))
    {
    }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;
    ~MemoryFile() { ::close(descriptor_); }

    void assign(Bytes content)
    {
        const auto size = static_cast<ssize_t>(content.size());
        if (ftruncate(descriptor_, size) != 0 || pwrite(descriptor_, content.data(), content.size(), 0) != size)
            throw std::system_error(errno, std::generic_category(), "writing the file");
    }

    const char* path() const { return path_.c_str(); }

private:
    int descriptor_;
    std::string path_;
};

}  // namespace zarnow::fuzz
