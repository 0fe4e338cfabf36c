#include "tests/robustness/sparse_file.h"

#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace zarnow::test {

namespace {

constexpr std::uintmax_t kProbeSize = 16U << 20;  // enough to tell whether a hole takes space

std::uintmax_t spaceTaken(const char* path)
{
    struct stat status = {};
    return stat(path, &status) == 0 ? static_cast<std::uintmax_t>(status.st_blocks) * 512 : UINTMAX_MAX;
}

}  // namespace

std::filesystem::path SparseFile::directory()
{
    const std::filesystem::path inMemory = "/dev/shm";
    return access(inMemory.c_str(), W_OK) == 0 ? inMemory : std::filesystem::temp_directory_path();
}

SparseFile::SparseFile(const Data& head, std::uintmax_t size, const Data& tail) : file_(head, ".ts", directory())
{
    file_.growTo(head.size() + kProbeSize);
    valid_ = spaceTaken(path()) < kProbeSize;
    if (!valid_)
        return;
    file_.growTo(size);
    std::fstream stream(file_.path(), std::ios::binary | std::ios::in | std::ios::out);
    stream.exceptions(std::ios::failbit | std::ios::badbit);
    stream.seekp(static_cast<std::streamoff>(size - tail.size()));
    stream.write(reinterpret_cast<const char*>(tail.data()), static_cast<std::streamsize>(tail.size()));
}

}  // namespace zarnow::test
