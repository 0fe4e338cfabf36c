// Files in which most packets start a PES packet, so that a block is looked at as a whole, with sync bytes that lie
// between the packets and lead a search astray: to packets that hold what is not found otherwise.

#include <gtest/gtest.h>

#include "tests/support/dice.h"
#include "tests/support/plain_selection.h"
#include "tests/support/random_stream.h"
#include "tests/support/temporary_file.h"
#include "tests/support/transport_stream.h"

namespace zarnow::test {
namespace {

constexpr std::uint8_t kMpeg2Video = 0x02;
constexpr std::uint8_t kAvc = 0x1B;

/// What a search may be after. The stuffing of the PES header may have to be unescaped, and is shorter then.
Data unitWithHeader(Dice& dice, std::uint8_t type)
{
    const Data header = type == kAvc ? randomSps(dice) : randomSequenceHeader(dice);
    if (dice.oneIn(2))
        return pes(0xE0, header, dice.below(1U << 30));
    Data stuffing(dice.below(20));
    std::generate(stuffing.begin(), stuffing.end(), [&] { return dice.of({0, 0, 3}); });
    const auto length = static_cast<std::uint8_t>(stuffing.size() - dice.below(3));
    return withByte(pes(0xE0, join({stuffing, header})), 8, length);
}

Data emptyUnit(Dice& dice, std::uint8_t fill)
{
    return pes(dice.oneIn(30) ? 0xE1 : 0xE0, filled(170, fill));
}

/// Sync bytes in some packets in a row, most with a packet's beginning behind them.
void leadAstray(Dice& dice, Data& packets, std::uint16_t pid, std::uint8_t type)
{
    const std::size_t rows = 1 + dice.below(5);
    std::size_t at = dice.below(static_cast<unsigned>(packets.size()));
    for (std::size_t row = 0; row < rows && at + 2 * kPacket < packets.size(); ++row, at += kPacket) {
        const Data astray = packet({.pid = pid}, unitWithHeader(dice, type));
        const std::size_t toNext = kPacket - at % kPacket;  // whose own sync byte mostly stays
        const std::size_t size = dice.oneIn(3) ? 1 : std::min<std::size_t>(20 + dice.below(160), toNext);
        std::copy_n(astray.begin(), size, packets.begin() + static_cast<std::ptrdiff_t>(at));
    }
}

Data denseFile(Dice& dice)
{
    const std::uint16_t pid = dice.of(std::array<std::uint16_t, 3>{0x0200, 0x0700, 0x0747});  // 0x47 with a unit start
    const std::uint8_t type = dice.oneIn(2) ? kAvc : kMpeg2Video;
    const std::uint8_t fill = dice.of(Data{0x00, 0x01, 0x03, 0x11, 0x47, 0xB3});
    Data body = dice.oneIn(2) ? packet({.pid = pid}, unitWithHeader(dice, type)) : Data();
    const unsigned rarity = 20 + dice.below(400);
    const bool priority = dice.oneIn(2);
    const unsigned startEvery = 1 + dice.below(4);
    const unsigned count = 200 + dice.below(500);
    for (unsigned i = 0; i < count; ++i) {
        const bool hasHeader = dice.oneIn(rarity);
        const bool isShort = hasHeader && dice.oneIn(3);  // the payload, which may end within the header
        append(body, packet({.pid = pid,
                             .unitStart = i % startEvery == 0,
                             .error = dice.oneIn(60),
                             .priority = priority && !dice.oneIn(40),
                             .control = static_cast<std::uint8_t>(isShort          ? 3
                                                                  : dice.oneIn(40) ? dice.below(4)
                                                                                   : 1),
                             .adaptation = static_cast<std::uint8_t>(isShort ? 140 + dice.below(30) : dice.below(190))},
                            hasHeader ? unitWithHeader(dice, type) : emptyUnit(dice, fill)));
        if (dice.oneIn(rarity))  // where bytes 1 and 2 of the header are sync bytes too, it is found one byte later
            append(body, firstBytes(join({{0x47}, packet({.pid = pid}, unitWithHeader(dice, type))}), kPacket));
    }
    for (unsigned i = dice.below(12); i > 0; --i)
        body[dice.below(static_cast<unsigned>(body.size()))] = 0x47;
    for (unsigned i = dice.below(4); i > 0; --i)
        leadAstray(dice, body, pid, type);
    for (unsigned i = dice.below(3); i > 0; --i)  // the footing is lost
        body[dice.below(count) * kPacket] = 0x11;
    if (dice.oneIn(4))
        body.erase(body.begin() + dice.below(20000), body.begin() + 20000 + dice.below(400));
    body.resize(body.size() - dice.below(kPacket));
    return join({patPacket({{1, 0x147}}), pmtPacket(0x147, 1, {{type, pid}}), body});
}

TEST(DenseFiles, AreReadAsByAPlainSelection)
{
    for (unsigned seed = 0; seed < 4000 && !HasFailure(); ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        Dice dice(seed);
        const TemporaryFile file(denseFile(dice));
        SelectionPair pair;
        pair.setReadBufferSize(dice.oneIn(2) ? kDefaultReadBufferSize : 4000 + dice.below(20000));
        pair.load(file.path().c_str());
        EXPECT_EQ(pair.difference(), "");
    }
}

}  // namespace
}  // namespace zarnow::test
