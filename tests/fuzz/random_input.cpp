#include "tests/fuzz/target.h"
#include "tests/support/random_stream.h"
#include "tests/support/transport_stream.h"

namespace zarnow::fuzz {

test::Data randomStreamInput(test::Dice& dice, test::Data options, std::size_t longest)
{
    const bool withPrefixes = (options.at(0) & kTimedPackets) != 0;
    test::append(options, test::randomStream(dice, longest / test::kPacket + 1, withPrefixes));
    return options;
}

test::Data randomInput(const Target& target, test::Dice& dice)
{
    if (target.layout == Layout::stream) {
        const std::size_t longest = dice.oneIn(6) ? 160'000 : 4000;
        return randomStreamInput(dice, dice.bytes(kOptionBytes), longest);
    }
    test::Data input = target.layout == Layout::payloads ? dice.bytes(2) : test::Data{};
    for (unsigned pieces = 1 + dice.below(6); pieces > 0; --pieces)
        test::append(input, target.piece(dice));
    return input;
}

}  // namespace zarnow::fuzz
