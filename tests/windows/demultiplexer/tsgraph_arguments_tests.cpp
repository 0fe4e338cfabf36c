#include <gtest/gtest.h>

#include "tools/tsgraph/arguments.h"

namespace {

using tsgraph::Arguments;
using tsgraph::parseArguments;
using tsgraph::Usage;

TEST(Arguments, AreTakenInAnyOrder)
{
    const auto parsed = parseArguments({"--json", "--out", "a dir", "\xC3\xA4.ts", "--program=3", "--dll", "x.ax"});
    const auto arguments = std::get<Arguments>(parsed);
    EXPECT_EQ(L"\u00E4.ts", arguments.file);
    EXPECT_EQ(L"a dir", arguments.outputDirectory);
    EXPECT_EQ(L"x.ax", arguments.dll);
    EXPECT_EQ(3U, arguments.program);
    EXPECT_TRUE(arguments.json);
    const auto plain = std::get<Arguments>(parseArguments({"/a/b.ts"}));
    EXPECT_EQ(L"/a/b.ts", plain.file) << "a slash starts no option";
    EXPECT_EQ(std::nullopt, plain.program);
    EXPECT_FALSE(plain.json);
}

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
        {{"a.ts", "--program", "first"}, "first"},
        {{"a.ts", "--program", "4294967296"}, "4294967296"},
        {{"a.ts", "--out"}, "--out"},
    };
    for (const auto& each : cases) {
        const auto parsed = parseArguments(each.arguments);
        const Usage* usage = std::get_if<Usage>(&parsed);
        ASSERT_NE(nullptr, usage) << each.named;
        EXPECT_EQ(2, usage->status);
        EXPECT_NE(std::string::npos, usage->text.find(each.named)) << usage->text;
        EXPECT_NE(std::string::npos, usage->text.find("--help")) << usage->text;
        EXPECT_EQ(usage->text.size() - 1, usage->text.find('\n')) << usage->text;
    }
    const auto help = parseArguments({"--help"});
    EXPECT_EQ(0, std::get<Usage>(help).status);
    EXPECT_NE(std::string::npos, std::get<Usage>(help).text.find("--program"));
}

}  // namespace
