// libFuzzer's way into the target that ZARNOW_FUZZ_TARGET names. Inputs are changed in ways that keep them worth
// parsing: whole headers and tables come and go, packets stay packets.

#include "tests/fuzz/target.h"
#include "tests/support/transport_stream.h"

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t room);

namespace zarnow::fuzz {

namespace {

using test::Data;

constexpr const Target& kTarget = ZARNOW_FUZZ_TARGET;
constexpr std::size_t kPrefix = 4;          // with which 192-byte packets come
constexpr std::size_t kShortStream = 2200;  // hardly more than detecting the packet size takes

void replace(Data& input, std::size_t from, std::size_t size, const Data& by)
{
    const auto begin = input.begin() + static_cast<std::ptrdiff_t>(from);
    const auto behind = input.erase(begin, begin + static_cast<std::ptrdiff_t>(size));
    input.insert(behind, by.begin(), by.end());
}

void mutateRange(Data& input, std::size_t from, std::size_t size, std::size_t room)
{
    Data part = test::bytesFrom(input, from, size);
    part.resize(std::max<std::size_t>(room, 1));
    part.resize(LLVMFuzzerMutate(part.data(), size, room));
    replace(input, from, size, part);
}

/// A header in place of what was there, over it, or in between.
void changeBytes(Data& input, test::Dice& dice)
{
    const std::size_t from = dice.oneIn(3) ? 0 : dice.below(static_cast<unsigned>(input.size() + 1));
    replace(input, from, from == 0 || dice.oneIn(2) ? input.size() - from : 0, kTarget.piece(dice));
}

void changeStream(Data& input, test::Dice& dice)
{
    input.resize(std::max(input.size(), kOptionBytes));
    const bool isTimed = (input[0] & kTimedPackets) != 0;
    const auto step = static_cast<unsigned>(test::kPacket + (isTimed ? kPrefix : 0));
    const auto packets = static_cast<unsigned>((input.size() - kOptionBytes) / step);
    if (packets == 0 || dice.oneIn(input.size() < kShortStream ? 10 : 200))
        return void(input = randomInput(kTarget, dice));
    const std::size_t from = kOptionBytes + dice.below(packets) * step, to = kOptionBytes + dice.below(packets) * step;
    const Data piece = kTarget.piece(dice);
    switch (dice.below(9)) {
        case 0:
            return mutateRange(input, 0, kOptionBytes, kOptionBytes);
        case 1:
        case 2:
            return replace(input, from, dice.oneIn(2) ? step : 0, isTimed ? test::timed(piece) : piece);
        case 3:
            return replace(input, from, step, {});
        case 4:
            return replace(input, to, 0, test::bytesFrom(input, from, step));
        case 5:  // of the header: PID, unit start, error mark, scrambling, adaptation field and its length
            return mutateRange(input, from + step - test::kPacket + 1, 4, 4);
        case 6:
            return mutateRange(input, from, step, step);
        case 7:
            return replace(input, from, 0, Data(1 + dice.below(300), dice.oneIn(2) ? 0x47 : dice.byte()));
        default:
            input.resize(from + dice.below(step));
    }
}

}  // namespace
}  // namespace zarnow::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    zarnow::test::Data facts;
    zarnow::fuzz::kTarget.run({data, size}, facts);
    return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t room, unsigned seed)
{
    using namespace zarnow::fuzz;
    zarnow::test::Data input(data, data + size);
    zarnow::test::Dice dice(seed);
    if (dice.oneIn(3))
        mutateRange(input, 0, size, room);
    else if (kTarget.layout == Layout::stream)
        changeStream(input, dice);
    else
        changeBytes(input, dice);
    input.resize(std::min(input.size(), room));
    std::copy(input.begin(), input.end(), data);
    return input.size();
}
