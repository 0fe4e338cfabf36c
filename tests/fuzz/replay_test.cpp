// Runs every input of the corpora and every finding ever made through its target.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "tests/fuzz/target.h"

// NOLINTNEXTLINE(bugprone-reserved-identifier): the sanitizers' own, there only with them
extern "C" [[gnu::weak]] void __sanitizer_set_death_callback(void (*callback)());

namespace zarnow::fuzz {
namespace {

std::string current;  // the input that is being run

class FuzzReplay : public testing::TestWithParam<const Target*>
{
protected:
    static void SetUpTestSuite()
    {
        if (__sanitizer_set_death_callback != nullptr)
            __sanitizer_set_death_callback([] { std::fprintf(stderr, "input: %s\n", current.c_str()); });
    }

    /// @return how many inputs there were
    static std::size_t replay(const char* kind)
    {
        const auto directory = std::filesystem::path(ZARNOW_FUZZ_DIR) / kind / GetParam()->name;
        std::size_t count = 0;
        if (!exists(directory))
            return count;
        for (const auto& entry : std::filesystem::directory_iterator(directory)) {
            current = entry.path().string();
            std::ifstream file(current, std::ios::binary);
            const test::Data content(std::istreambuf_iterator<char>(file), {});
            EXPECT_NO_THROW(GetParam()->run(content)) << current;
            ++count;
        }
        return count;
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

INSTANTIATE_TEST_SUITE_P(Targets, FuzzReplay, testing::ValuesIn(kTargets),
                         [](const auto& target) { return std::string(target.param->name); });

}  // namespace
}  // namespace zarnow::fuzz
