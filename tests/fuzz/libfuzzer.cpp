// libFuzzer's way into the target that ZARNOW_FUZZ_TARGET names. Inputs are changed in ways that keep them worth
// parsing: whole headers and tables come and go, packets stay packets.

#include "tests/fuzz/target.h"
#include "tests/support/random_stream.h"
#include "tests/support/transport_stream.h"

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t room);

namespace zarnow::fuzz {

namespace {

using test::Data;

constexpr const Target& kTarget = ZARNOW_FUZZ_TARGET;
constexpr std::size_t kPrefix = 4;          // with which 192-byte packets come
constexpr std::size_t kShortStream = 2200;  // hardly more than detecting the packet size takes

class Mutation
{
public:
    Mutation(Data& input, std::size_t longest, unsigned seed) : input_(input), longest_(longest), dice_(seed) {}

    void run()
    {
        if (dice_.oneIn(3))
            mutateRange(0, input_.size(), longest_);
        else if (kTarget.layout == Layout::stream)
            changeStream();
        else
            changeBytes();
        input_.resize(std::min(input_.size(), longest_));
    }

private:
    std::size_t below(std::size_t count) { return dice_.below(static_cast<unsigned>(count)); }

    void mutateRange(std::size_t from, std::size_t size, std::size_t room)
    {
        Data part = test::bytesFrom(input_, from, size);
        part.resize(std::max<std::size_t>(room, 1));
        part.resize(LLVMFuzzerMutate(part.data(), size, room));
        replace(from, size, part);
    }

    void replace(std::size_t from, std::size_t size, const Data& by)
    {
        const auto begin = input_.begin() + static_cast<std::ptrdiff_t>(from);
        const auto behind = input_.erase(begin, begin + static_cast<std::ptrdiff_t>(size));
        input_.insert(behind, by.begin(), by.end());
    }

    /// A header in place of what was there, over it, or in between.
    void changeBytes()
    {
        const std::size_t from = dice_.oneIn(3) ? 0 : below(input_.size() + 1);
        replace(from, from == 0 || dice_.oneIn(2) ? input_.size() - from : 0, kTarget.piece(dice_));
    }

    void changeStream()
    {
        input_.resize(std::max(input_.size(), kOptionBytes));
        const bool isTimed = (input_[0] & kTimedPackets) != 0;
        const std::size_t step = test::kPacket + (isTimed ? kPrefix : 0);
        const std::size_t packets = (input_.size() - kOptionBytes) / step;
        if (packets == 0 || dice_.oneIn(input_.size() < kShortStream ? 10 : 200))
            return makeStream();
        const std::size_t from = kOptionBytes + below(packets) * step, to = kOptionBytes + below(packets) * step;
        const Data piece = kTarget.piece(dice_);
        switch (dice_.below(9)) {
            case 0:
                return mutateRange(0, kOptionBytes, kOptionBytes);
            case 1:
            case 2:
                return replace(from, dice_.oneIn(2) ? step : 0, isTimed ? test::timed(piece) : piece);
            case 3:
                return replace(from, step, {});
            case 4:
                return replace(to, 0, test::bytesFrom(input_, from, step));
            case 5:  // of the header: PID, unit start, error mark, scrambling, adaptation field and its length
                return mutateRange(from + step - test::kPacket + 1, 4, 4);
            case 6:
                return mutateRange(from, step, step);
            case 7:
                return replace(from, 0, Data(1 + below(300), dice_.oneIn(2) ? 0x47 : dice_.byte()));
            default:
                input_.resize(from + below(step));
        }
    }

    void makeStream()
    {
        input_.resize(kOptionBytes);
        input_[0] = static_cast<std::uint8_t>((input_[0] & ~kTimedPackets) | (dice_.oneIn(4) ? kTimedPackets : 0));
        input_ = randomStreamInput(dice_, input_, longest_);
    }

    Data& input_;
    std::size_t longest_;
    test::Dice dice_;
};

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
    zarnow::test::Data input(data, data + size);
    zarnow::fuzz::Mutation(input, room, seed).run();
    std::copy(input.begin(), input.end(), data);
    return input.size();
}
