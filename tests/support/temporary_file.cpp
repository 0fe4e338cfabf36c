#include "tests/support/temporary_file.h"

#include <chrono>
#include <fstream>
#include <string>
#include <system_error>

namespace zarnow::test {

std::filesystem::path directoryInMemory()
{
    const std::filesystem::path inMemory = "/dev/shm";
    return std::filesystem::exists(inMemory) ? inMemory : std::filesystem::temp_directory_path();
}

TemporaryFile::TemporaryFile(const Data& content, const std::filesystem::path& directory)
{
    static int count = 0;
    const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
    path_ = directory / ("zarnow-" + std::to_string(now) + "-" + std::to_string(++count) + ".ts");
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

}  // namespace zarnow::test
