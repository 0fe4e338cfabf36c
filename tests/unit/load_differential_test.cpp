// Whole loads, which read the file once for all searches of a kind, against plain ones.

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/difficult_files.h"
#include "tests/support/plain_selection.h"
#include "tests/support/temporary_file.h"

namespace zarnow::test {
namespace {

void expectSameLoad(const std::filesystem::path& path, std::uint32_t bufferSize)
{
    SCOPED_TRACE(testing::Message() << path << " with a buffer of " << bufferSize);
    CProgramSelection selection;
    PlainSelection plain;
    selection.setReadBufferSize(bufferSize);
    plain.setReadBufferSize(bufferSize);
    selection.loadFile(path.c_str());
    EXPECT_EQ(selection.analysed, plain.plainLoad(path.c_str()));
    EXPECT_EQ(differenceOf(selection, plain), "");
}

TEST(LoadDifference, Samples)
{
    for (const auto& entry : std::filesystem::directory_iterator(ZARNOW_TEST_DATA)) {
        if (entry.path().extension() != ".ts")
            continue;
        for (const std::uint32_t size : {1000U, 4096U, kDefaultReadBufferSize, 1U << 20})
            expectSameLoad(entry.path(), size);
    }
}

TEST(LoadDifference, DifficultFiles)
{
    for (const DifficultFile& file : difficultFiles()) {
        SCOPED_TRACE(file.name);
        const TemporaryFile source;
        file.write(source.path(), 100'000);
        expectSameLoad(source.path(), kDefaultReadBufferSize);
    }
}

}  // namespace
}  // namespace zarnow::test
