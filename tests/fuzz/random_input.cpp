#include "tests/fuzz/target.h"
#include "tests/support/random_stream.h"
#include "tests/support/transport_stream.h"

namespace zarnow::fuzz {

test::Data randomInput(const Target& target, test::Dice& dice)
{
    if (target.layout == Layout::stream) {
        const std::size_t longest = dice.oneIn(6) ? 160'000 : 4000;
        const test::Data options = dice.bytes(kOptionBytes);
        const bool withPrefixes = (options[0] & kTimedPackets) != 0;
        return test::join({options, test::randomStream(dice, longest / test::kPacket + 1, withPrefixes)});
    }
    test::Data input = target.layout == Layout::payloads ? dice.bytes(2) : test::Data{};
    for (unsigned pieces = 1 + dice.below(6); pieces > 0; --pieces)
        test::append(input, target.piece(dice));
    return input;
}

}  // namespace zarnow::fuzz
