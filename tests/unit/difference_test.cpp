// Loads and selections, which read the file once for all searches of a kind and keep what they found, against plain
// ones: every search from the file's beginning, every block in order. Whatever the file holds, no table and no byte of
// a record may differ.

#include <gtest/gtest.h>

#include "tests/support/difficult_files.h"
#include "tests/support/plain_selection.h"
#include "tests/support/random_stream.h"
#include "tests/support/temporary_file.h"

namespace zarnow::test {
namespace {

/// What one selection leaves behind is what the next one begins with.
void expectSameSelections(unsigned seed)
{
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    Dice dice(seed);
    const StreamShape shape{.packets = dice.oneIn(2) ? 150U : 900U,
                            .rarity = dice.below(dice.oneIn(2) ? 4 : 60) + 1,
                            .garbage = 3000,
                            .withTables = true,
                            .withPrefixes = dice.oneIn(3)};
    const TemporaryFile source(randomStream(dice, shape));
    SelectionPair pair;
    pair.setReadBufferSize(dice.oneIn(2) ? kDefaultReadBufferSize : 2001 + dice.below(1500));
    pair.load(source.path().c_str());
    EXPECT_EQ(pair.difference(), "");
    for (int step = 0; step < 6 && !pair.plain.programList.empty(); ++step) {
        pair.select(dice.below(static_cast<unsigned>(pair.plain.programList.size())), dice.oneIn(2));
        EXPECT_EQ(pair.difference(), "") << "step " << step;
    }
}

TEST(Difference, RandomStreams)
{
    for (unsigned seed = 0; seed < 1500 && !HasFailure(); ++seed)
        expectSameSelections(seed);
}

TEST(Difference, DifficultFiles)
{
    for (const DifficultFile& file : difficultFiles()) {
        SCOPED_TRACE(file.name);
        const TemporaryFile source;
        file.write(source.path(), 200'000);
        SelectionPair pair;
        pair.load(source.path().c_str());
        EXPECT_EQ(pair.difference(), "");
    }
}

}  // namespace
}  // namespace zarnow::test
