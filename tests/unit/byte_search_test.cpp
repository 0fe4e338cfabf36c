#include <gtest/gtest.h>

#include "analysis/byte_search.h"
#include "tests/support/dice.h"

namespace zarnow {
namespace {

/// In bytes of which many belong to the pattern, at every alignment and with every rest.
template <std::uint8_t... kBytes>
void expectFoundAsByStdSearch(CBytePattern<kBytes...> search)
{
    const std::array pattern = {kBytes...};
    test::Dice dice(static_cast<unsigned>(pattern.size()));
    for (std::size_t size = 0; size < 600; ++size) {
        test::Data data(size);
        const unsigned rarity = dice.oneIn(4) ? 1000 : 1 + dice.below(40);
        std::generate(data.begin(), data.end(), [&] { return dice.oneIn(rarity) ? dice.of(pattern) : 0x55; });
        for (std::size_t from = 0; from <= size + 2; ++from) {
            const auto begin = data.begin() + static_cast<std::ptrdiff_t>(std::min(from, size));
            const auto found = std::search(begin, data.end(), pattern.begin(), pattern.end());
            const auto expected = static_cast<std::size_t>(found - data.begin());
            ASSERT_EQ(search.find(data, from), expected)
                << "from " << from << " of " << size << " bytes, pattern of " << pattern.size();
            ASSERT_EQ(search.standsIn({begin, data.end()}), found != data.end()) << size << " bytes, less " << from;
        }
    }
}

TEST(BytePattern, IsFoundAsByAPlainSearch)
{
    expectFoundAsByStdSearch(CBytePattern<0x47>());
    expectFoundAsByStdSearch(CZeroPair());
    expectFoundAsByStdSearch(CStartCode());
    expectFoundAsByStdSearch(CBytePattern<0, 0, 1, 0xB3>());
}

}  // namespace
}  // namespace zarnow
