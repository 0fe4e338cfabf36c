#include "tests/support/golden.h"

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace zarnow::test {

std::string goldenText(const std::filesystem::path& path, const std::string& found)
{
    if (std::getenv("ZARNOW_WRITE_GOLDEN") != nullptr)
        std::ofstream(path, std::ios::binary) << found;
    std::ostringstream golden;
    golden << std::ifstream(path, std::ios::binary).rdbuf();
    return golden.str();
}

}  // namespace zarnow::test
