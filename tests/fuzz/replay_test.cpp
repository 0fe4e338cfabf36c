// Runs every input of the corpora and every finding ever made through its target, which has to find in it what it found
// before: tests/fuzz/golden has a checksum of it.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iomanip>
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

/// Adds what the target finds in the input.
void run(const Target& target, const test::Data& input, test::Data& facts)
{
    EXPECT_NO_THROW(target.run(input, facts)) << current;
}

/// Name and checksum of every file in the corpus and among the findings.
std::string replayFiles(const Target& target)
{
    std::set<std::filesystem::path> inputs;
    for (const char* kind : {"/corpus/", "/findings/"}) {
        std::error_code none;
        for (const auto& entry :
             std::filesystem::directory_iterator(std::string(ZARNOW_FUZZ_DIR) + kind + target.name, none))
            inputs.insert(entry.path());
    }
    EXPECT_FALSE(inputs.empty()) << "nothing to replay";
    std::ostringstream text;
    for (const auto& input : inputs) {
        current = input.string();
        std::ifstream file(input, std::ios::binary);
        test::Data facts;
        run(target, test::Data(std::istreambuf_iterator<char>(file), {}), facts);
        text << input.filename().string() << " " << std::hex << test::crcOf(facts) << "\n";
    }
    return text.str();
}

/// A checksum for every hundred inputs that the target's generator makes.
std::string runGenerated(const Target& target)
{
    std::ostringstream text;
    for (unsigned first = 0; first < 2000; first += 100) {
        test::Data facts;
        for (unsigned seed = first; seed < first + 100; ++seed) {
            current = "seed " + std::to_string(seed);
            test::Dice dice(seed);
            run(target, randomInput(target, dice), facts);
        }
        text << "seeds from " << std::dec << first << " " << std::hex << test::crcOf(facts) << "\n";
    }
    return text.str();
}

class FuzzReplay : public testing::TestWithParam<const Target*>
{
protected:
    static void SetUpTestSuite()
    {
        if (__sanitizer_set_death_callback != nullptr)
            __sanitizer_set_death_callback([] { std::fprintf(stderr, "input: %s\n", current.c_str()); });
    }

    static void expectAsBefore(const std::string& kind, const std::string& found)
    {
        EXPECT_EQ(found, test::goldenText(ZARNOW_FUZZ_DIR "/golden/" + kind + "-" + GetParam()->name + ".txt", found));
    }
};

TEST_P(FuzzReplay, Corpus)
{
    expectAsBefore("corpus", replayFiles(*GetParam()));
}

TEST_P(FuzzReplay, Generated)
{
    expectAsBefore("generated", runGenerated(*GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Targets, FuzzReplay, testing::ValuesIn(kTargets),
                         [](const auto& target) { return std::string(target.param->name); });

}  // namespace
}  // namespace zarnow::fuzz
