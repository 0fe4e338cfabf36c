// Runs every input of the corpora and every finding ever made through its target, which has to find in it what it found
// before: tests/fuzz/golden has a checksum of it.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>

#include "tests/fuzz/target.h"
#include "tests/support/golden.h"
#include "tests/support/transport_stream.h"

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

    /// Adds what the target finds in the input.
    void run(const std::string& name, const test::Data& input, test::Data& facts)
    {
        current = name;
        EXPECT_NO_THROW(GetParam()->run(input, facts)) << name;
    }
    void note(const std::string& name, const test::Data& facts)
    {
        text << name << " " << std::hex << test::crcOf(facts) << "\n";
    }
    void expectAsBefore(const std::string& kind)
    {
        const std::string golden = kind + "-" + GetParam()->name + ".txt";
        EXPECT_EQ(text.str(), test::goldenText(ZARNOW_FUZZ_DIR "/golden/" + golden, text.str()));
    }

    std::ostringstream text;
};

TEST_P(FuzzReplay, Corpus)
{
    std::set<std::filesystem::path> inputs;
    for (const char* kind : {"/corpus/", "/findings/"}) {
        std::error_code none;
        for (const auto& entry :
             std::filesystem::directory_iterator(std::string(ZARNOW_FUZZ_DIR) + kind + GetParam()->name, none))
            inputs.insert(entry.path());
    }
    EXPECT_FALSE(inputs.empty()) << "nothing to replay";
    for (const auto& input : inputs) {
        std::ifstream file(input, std::ios::binary);
        test::Data facts;
        run(input.string(), test::Data(std::istreambuf_iterator<char>(file), {}), facts);
        note(input.filename().string(), facts);
    }
    expectAsBefore("corpus");
}

/// A checksum for every hundred inputs that the target's generator makes.
TEST_P(FuzzReplay, Generated)
{
    for (unsigned first = 0; first < 2000; first += 100) {
        test::Data facts;
        for (unsigned seed = first; seed < first + 100; ++seed) {
            test::Dice dice(seed);
            run("seed " + std::to_string(seed), randomInput(*GetParam(), dice), facts);
        }
        note("seeds from " + std::to_string(first), facts);
    }
    expectAsBefore("generated");
}

INSTANTIATE_TEST_SUITE_P(Targets, FuzzReplay, testing::ValuesIn(kTargets),
                         [](const auto& target) { return std::string(target.param->name); });

}  // namespace
}  // namespace zarnow::fuzz
