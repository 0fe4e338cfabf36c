/// @file
/// What was found once and is to be found again: texts that are kept in files.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace zarnow::test {

/// The file's text. ZARNOW_WRITE_GOLDEN in the environment makes it the text that was found.
inline std::string goldenText(const std::filesystem::path& path, const std::string& found)
{
    if (std::getenv("ZARNOW_WRITE_GOLDEN") != nullptr)
        std::ofstream(path, std::ios::binary) << found;
    std::ostringstream golden;
    golden << std::ifstream(path, std::ios::binary).rdbuf();
    return golden.str();
}

}  // namespace zarnow::test
