// Every sample in every environment.

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "tests/robustness/facts.h"
#include "tests/robustness/samples.h"
#include "tests/support/temporary_file.h"

namespace zarnow::test {
namespace {

/// ZARNOW_WRITE_GOLDEN in the environment makes the test write what it would compare with.
TEST(Golden, FactsOfEverySample)
{
    for (const Sample& one : samples()) {
        SCOPED_TRACE(one.name);
        const TemporaryFile file(one.packets);
        CProgramSelection selection;
        ASSERT_EQ(selection.loadFile(file.path().c_str()).status, LoadResult::Status::loaded);
        const std::string facts = allFacts(selection);
        const std::string path = ZARNOW_TEST_DATA "golden/" + one.name + ".txt";
        if (std::getenv("ZARNOW_WRITE_GOLDEN") != nullptr)
            std::ofstream(path, std::ios::binary) << facts;
        std::ostringstream golden;
        golden << std::ifstream(path, std::ios::binary).rdbuf();
        EXPECT_EQ(facts, golden.str());
    }
}

}  // namespace
}  // namespace zarnow::test
