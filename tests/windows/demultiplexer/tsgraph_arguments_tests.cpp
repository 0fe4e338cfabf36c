// What the end-to-end tests do not give tsgraph on its command line.

#include <gtest/gtest.h>

#include "tools/tsgraph/arguments.h"

using namespace tsgraph;

TEST(Arguments, ThatAreWrongGiveOneLineThatNamesThem)
{
    const struct
    {
        std::vector<std::string> arguments;
        const char* named;
    } cases[] = {
        {{}, "FILE"},
        {{"a.ts", "b.ts"}, "b.ts"},
        {{"a.ts", "--nothing"}, "--nothing"},
        {{"a.ts", "--program"}, "--program"},
        {{"a.ts", "--program", "-1"}, "--program"},
        {{"a.ts", "--program", "4294967296"}, "4294967296"},
    };
    for (const auto& c : cases) {
        const auto usage = std::get<Usage>(parseArguments(c.arguments));
        EXPECT_EQ(2, usage.status);
        EXPECT_NE(std::string::npos, usage.text.find(c.named)) << usage.text;
        EXPECT_EQ(usage.text.size() - 1, usage.text.find('\n')) << usage.text;
    }
    EXPECT_EQ(0, std::get<Usage>(parseArguments({"--help"})).status);
    EXPECT_EQ(3U, std::get<Arguments>(parseArguments({"\xC3\xA4.ts", "--program=3"})).program);
}
