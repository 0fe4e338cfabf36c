/// @file
/// What was found once and is to be found again: texts that are kept in files.
#pragma once

#include <filesystem>
#include <string>

namespace zarnow::test {

/// The file's text. ZARNOW_WRITE_GOLDEN in the environment makes it the text that was found.
std::string goldenText(const std::filesystem::path& path, const std::string& found);

}  // namespace zarnow::test
