#include "tests/fuzz/mutator.h"

#include "tests/support/random_stream.h"
#include "tests/support/transport_stream.h"

namespace zarnow::fuzz {

namespace {

using test::Data;
using test::Dice;

constexpr std::size_t kPrefix = 4;          // with which 192-byte packets come
constexpr std::size_t kShortStream = 2200;  // hardly more than detecting the packet size takes

class Mutation
{
public:
    Mutation(const Target& target, Data& input, std::size_t longest, unsigned seed, ByteMutator mutateBytes)
        : target_(target), input_(input), longest_(longest), dice_(seed), mutateBytes_(mutateBytes)
    {
    }

    void run()
    {
        if (dice_.oneIn(3))
            mutateRange(0, input_.size(), longest_);
        else if (target_.layout == Layout::bytes)
            changeBytes();
        else
            changeStream();
        input_.resize(std::min(input_.size(), longest_));
    }

private:
    void mutateRange(std::size_t from, std::size_t size, std::size_t room)
    {
        Data part = test::bytesFrom(input_, from, size);
        part.resize(std::max<std::size_t>(room, 1));
        part.resize(mutateBytes_(part.data(), size, room));
        replace(from, size, part);
    }

    void replace(std::size_t from, std::size_t size, const Data& by)
    {
        const auto begin = input_.begin() + static_cast<std::ptrdiff_t>(from);
        const auto behind = input_.erase(begin, begin + static_cast<std::ptrdiff_t>(size));
        input_.insert(behind, by.begin(), by.end());
    }

    unsigned below(std::size_t count) { return dice_.below(static_cast<unsigned>(count)); }

    /// A header in place of what was there, over it, or in between.
    void changeBytes()
    {
        const std::size_t at = below(input_.size() + 1);
        switch (dice_.below(3)) {
            case 0:
                input_ = target_.piece(dice_);
                return;
            case 1:
                replace(at, input_.size() - at, target_.piece(dice_));
                return;
            default:
                replace(at, 0, target_.piece(dice_));
        }
    }

    bool isTimed() const { return (input_[0] & kTimedPackets) != 0; }
    std::size_t step() const { return test::kPacket + (isTimed() ? kPrefix : 0); }
    std::size_t packetCount() const { return (input_.size() - kOptionBytes) / step(); }
    std::size_t packetAt(std::size_t number) const { return kOptionBytes + number * step(); }

    Data piece()
    {
        const Data packets = target_.piece(dice_);
        return isTimed() ? test::timed(packets) : packets;
    }

    void changeStream()
    {
        input_.resize(std::max(input_.size(), kOptionBytes));
        if (dice_.oneIn(input_.size() < kShortStream ? 10 : 200))
            return makeStream();
        if (packetCount() == 0)
            return replace(kOptionBytes, 0, piece());
        const std::size_t number = below(packetCount());
        changePackets(packetAt(number), packetAt(below(packetCount())));
    }

    /// @param from  where a packet begins; another one does at `to`
    void changePackets(std::size_t from, std::size_t to)
    {
        switch (dice_.below(9)) {
            case 0:
                return mutateRange(0, kOptionBytes, kOptionBytes);
            case 1:
                return replace(from, 0, piece());
            case 2:
                return replace(from, step(), piece());
            case 3:
                return replace(from, step(), {});
            case 4:
                return replace(to, 0, test::bytesFrom(input_, from, step()));
            case 5:
                return changeHeader(from + (isTimed() ? kPrefix : 0));
            case 6:
                return mutateRange(from, step(), step());
            case 7:
                return replace(from, 0, Data(1 + dice_.below(300), dice_.oneIn(2) ? 0x47 : dice_.byte()));
            default:
                input_.resize(std::max(from, kOptionBytes) + below(step()));
        }
    }

    /// Another PID, unit start, error mark, scrambling, adaptation field or its length.
    void changeHeader(std::size_t packet)
    {
        const std::uint16_t pid = dice_.oneIn(4) ? std::uint16_t{0} : test::randomPid(dice_);
        const auto flip = [&](std::size_t at, unsigned bits) {
            input_[packet + at] ^= static_cast<std::uint8_t>(bits);
        };
        switch (dice_.below(5)) {
            case 0:
                input_[packet + 2] = static_cast<std::uint8_t>(pid);
                return;
            case 1:
                return flip(1, 0x40);
            case 2:
                return flip(1, 0x80);
            case 3:
                return flip(3, 0x10U << dice_.below(4));
            default:
                input_[packet + 4] = dice_.byte();
        }
    }

    void makeStream()
    {
        const std::size_t room = longest_ - std::min(longest_, std::size_t{kOptionBytes});
        test::StreamShape shape{.packets = dice_.below(static_cast<unsigned>(room / test::kPacket) + 1) + 1,
                                .rarity = 1 + dice_.below(4),
                                .garbage = 300,
                                .withTables = !dice_.oneIn(8),
                                .withPrefixes = dice_.oneIn(4)};
        const Data options = test::bytesFrom(input_, 0, kOptionBytes);
        input_ = test::join({options, test::randomStream(dice_, shape)});
        input_[0] = static_cast<std::uint8_t>((input_[0] & ~kTimedPackets) | (shape.withPrefixes ? kTimedPackets : 0));
    }

    const Target& target_;
    Data& input_;
    std::size_t longest_;
    Dice dice_;
    ByteMutator mutateBytes_;
};

}  // namespace

Data mutated(const Target& target, Data input, std::size_t longest, unsigned seed, ByteMutator mutateBytes)
{
    Mutation(target, input, longest, seed, mutateBytes).run();
    return input;
}

}  // namespace zarnow::fuzz
