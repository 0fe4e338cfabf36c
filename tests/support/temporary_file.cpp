#include "tests/support/temporary_file.h"

#include <chrono>
#include <fstream>
#include <string>
#include <system_error>

namespace zarnow::test {

namespace {

std::string newName(const char* suffix)
{
    static int count = 0;
    const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
    return "zarnow-" + std::to_string(now) + "-" + std::to_string(++count) + suffix;
}

}  // namespace

std::filesystem::path directoryInMemory()
{
    const std::filesystem::path inMemory = "/dev/shm";
    return std::filesystem::exists(inMemory) ? inMemory : std::filesystem::temp_directory_path();
}

TemporaryFile::TemporaryFile(const Data& content, const char* suffix, const std::filesystem::path& directory)
    : path_(directory / newName(suffix))
{
    write(content);
}

void TemporaryFile::write(std::span<const std::uint8_t> content) const
{
    std::ofstream file(path_, std::ios::binary);
    file.exceptions(std::ios::failbit | std::ios::badbit);
    file.write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
}

TemporaryFile::~TemporaryFile()
{
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
}

void TemporaryFile::growTo(std::uintmax_t size)
{
    std::filesystem::resize_file(path_, size);
}

}  // namespace zarnow::test
