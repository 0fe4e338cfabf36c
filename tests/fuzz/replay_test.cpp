// Runs every input of the corpora and every finding ever made through its target.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include "tests/fuzz/target.h"

// NOLINTNEXTLINE(bugprone-reserved-identifier): the sanitizers' own, there only with them
extern "C" [[gnu::weak]] void __sanitizer_set_death_callback(void (*callback)());

namespace zarnow::fuzz {
namespace {

std::string current;  // the input that is being run

std::set<std::filesystem::path> filesIn(const std::filesystem::path& directory)
{
    if (!exists(directory))
        return {};
    return {std::filesystem::directory_iterator(directory), std::filesystem::directory_iterator()};
}

test::Data contentOf(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

class FuzzReplay : public testing::TestWithParam<const Target*>
{
protected:
    static void SetUpTestSuite()
    {
        if (__sanitizer_set_death_callback != nullptr)
            __sanitizer_set_death_callback([] { std::fprintf(stderr, "input: %s\n", current.c_str()); });
    }

    /// @return how many inputs there were
    static std::size_t replay(const char* directory)
    {
        const auto inputs = filesIn(std::filesystem::path(ZARNOW_FUZZ_DIR) / directory / GetParam()->name);
        for (const auto& path : inputs) {
            current = path.string();
            EXPECT_NO_THROW(GetParam()->run(contentOf(path))) << current;
        }
        return inputs.size();
    }
};

TEST_P(FuzzReplay, Corpus)
{
    EXPECT_NE(replay("corpus"), 0U) << "nothing to replay";
}

TEST_P(FuzzReplay, Findings)
{
    replay("findings");
}

std::string nameOf(const testing::TestParamInfo<const Target*>& target)
{
    return target.param->name;
}

INSTANTIATE_TEST_SUITE_P(Targets, FuzzReplay, testing::ValuesIn(kTargets), nameOf);

}  // namespace
}  // namespace zarnow::fuzz
