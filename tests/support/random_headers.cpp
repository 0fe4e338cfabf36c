#include "tests/support/random_headers.h"

#include <array>

#include "tests/support/transport_stream.h"
#include "tests/support/video_headers.h"

namespace zarnow::test {

namespace {

Data sometimesCut(Dice& dice, Data header)
{
    const auto size = static_cast<unsigned>(header.size());
    return dice.oneIn(12) ? firstBytes(std::move(header), dice.below(size + 1)) : header;
}

Sps::Fields randomHrd(Dice& dice)
{
    std::vector<std::pair<unsigned, unsigned>> rates(dice.below(3) + 1);
    for (auto& [rate, size] : rates) {
        rate = dice.below(900);
        size = dice.below(900);
    }
    return hrd(dice.below(16), dice.below(16), rates, dice.below(32), dice.below(32));
}

Usability randomUsability(Dice& dice)
{
    constexpr std::array<std::uint32_t, 8> kClockNumbers{0, 1, 2, 25, 50, 1001, 60000, 0xFFFFFFFF};
    Usability usability;
    usability.aspectRatio = dice.oneIn(2) ? 255 : static_cast<int>(dice.below(5));
    usability.sarWidth = dice.length(16);
    usability.sarHeight = dice.length(16);
    usability.videoFormat = static_cast<int>(dice.below(9)) - 1;
    usability.timing = dice.oneIn(2);
    usability.unitsInTick = dice.of(kClockNumbers);
    usability.timeScale = dice.of(kClockNumbers);
    usability.fixedFrameRate = dice.oneIn(2);
    if (dice.oneIn(2))
        usability.nalHrd = randomHrd(dice);
    if (dice.oneIn(2))
        usability.vclHrd = randomHrd(dice);
    return usability;
}

void writeScalingList(BitWriter& out, Dice& dice, unsigned size)
{
    const bool present = dice.oneIn(2);
    out.flag(present);
    for (unsigned i = 0; present && i < size && !dice.oneIn(20); ++i)
        out.se(static_cast<std::int32_t>(dice.below(512)) - 256);
}

void writeHighProfile(BitWriter& out, Dice& dice)
{
    const unsigned chroma = dice.below(4);
    out.ue(chroma);
    if (chroma == 3)
        out.flag(false);
    const bool matrix = dice.oneIn(2);
    out.ue(0).ue(0).flag(false).flag(matrix);
    for (unsigned list = 0; matrix && list < 8; ++list)
        writeScalingList(out, dice, list < 6 ? 16 : 64);
}

void writePictureOrderCount(BitWriter& out, Dice& dice)
{
    const unsigned type = dice.below(3);
    out.ue(type);
    if (type == 0)
        out.ue(dice.below(12));
    if (type != 1)
        return;
    const unsigned cycle = dice.length(16);
    out.flag(false).se(-1).se(1).ue(cycle);
    for (unsigned i = 0; i < std::min(cycle, 40U); ++i)
        out.se(static_cast<std::int32_t>(i));
}

/// Messages of every type, a buffering period (type 0) among them.
Data randomSei(Dice& dice)
{
    Data messages;
    for (unsigned left = dice.below(3) + 1; left > 0; --left)
        messages = join({messages, seiMessage(dice.oneIn(2) ? 0 : dice.below(600), dice.bytes(dice.below(20)))});
    return sei(messages);
}

Data randomAc3(Dice& dice)
{
    const Data sync = dice.oneIn(3) ? Data{0x77, 0x0B} : Data{0x0B, 0x77};
    return join({dice.bytes(dice.below(4)), sync, dice.bytes(2 + dice.below(12))});
}

Data randomMpegAudio(Dice& dice)
{
    const auto second = static_cast<std::uint8_t>(0xF0 | dice.below(16));
    return join({dice.bytes(dice.below(4)), {0xFF, second}, dice.bytes(dice.below(9))});
}

Data randomLpcm(Dice& dice)
{
    const auto layout = static_cast<std::uint8_t>(dice.below(12) << 4 | dice.of({1, 4, 5, 2}));
    return {0, 0, layout, static_cast<std::uint8_t>(dice.below(4) << 6)};
}

std::int64_t randomStamp(Dice& dice)
{
    constexpr std::array<std::int64_t, 4> kCorners{0, 0xFFFFFFFF, 0x1FFFFFFFF, 0x123456789};
    return dice.oneIn(2) ? dice.below(900000) : (dice.of(kCorners) + dice.below(9) - 4) & 0x1FFFFFFFF;
}

}  // namespace

Data randomSequenceHeader(Dice& dice)
{
    const SequenceHeader header{.width = dice.below(4096),
                                .height = dice.below(4096),
                                .aspect = dice.below(16),
                                .rate = dice.below(16),
                                .bitRate = dice.oneIn(4) ? 0x3FFFF : dice.below(0x40000),
                                .vbvSize = dice.below(1024),
                                .marker = !dice.oneIn(4),
                                .constrained = dice.oneIn(2),
                                .intraMatrix = dice.oneIn(4),
                                .nonIntraMatrix = dice.oneIn(4)};
    Data whole = sequenceHeader(header);
    if (!dice.oneIn(3))
        whole = join({whole, sequenceExtension(dice.below(8), dice.below(16), dice.oneIn(2))});
    return sometimesCut(dice, std::move(whole));
}

Data randomSps(Dice& dice)
{
    Sps fields{.profile = dice.of({66, 77, 100, 110, 122, 144, 255})};
    fields.level = dice.below(256);
    if (fields.profile >= 100 && fields.profile != 255)
        fields.highProfile = [&](BitWriter& out) { writeHighProfile(out, dice); };
    fields.pictureOrderCount = [&](BitWriter& out) { writePictureOrderCount(out, dice); };
    fields.references = dice.length(10);
    fields.widthInMbs = dice.length(12) + 1;
    fields.heightInMapUnits = dice.oneIn(3) ? 68 : dice.length(12) + 1;
    fields.framesOnly = dice.oneIn(2);
    fields.cropping = dice.oneIn(2);
    if (dice.oneIn(2))
        fields.usability = randomUsability(dice);
    const Data unit = sometimesCut(dice, sps(fields));
    return dice.oneIn(3) ? join({accessUnitDelimiter(), unit, filled(dice.below(30))}) : unit;
}

Data randomNalUnit(Dice& dice)
{
    switch (dice.below(8)) {
        case 0:
            return randomSps(dice);
        case 1:
            return pps(dice.oneIn(2));
        case 2:
            return randomSei(dice);
        case 3:
            return nal(dice.byte(), dice.bytes(dice.below(30)), dice.oneIn(2));
        default:
            return sometimesCut(dice, slice(dice.oneIn(3) ? dice.length(16) : 0, dice.below(9)));
    }
}

Data randomAudioHeader(Dice& dice)
{
    constexpr std::array kKinds{randomAc3, randomMpegAudio, randomLpcm};
    return sometimesCut(dice, dice.of(kKinds)(dice));
}

Data randomHeader(Dice& dice)
{
    const auto noHeader = [](Dice& source) { return source.bytes(1 + source.below(4)); };
    using Kind = Data (*)(Dice&);
    const std::array<Kind, 5> kinds{randomSequenceHeader, randomSps, randomNalUnit, randomAudioHeader, noHeader};
    return dice.of(kinds)(dice);
}

Data randomPes(Dice& dice, const Data& header)
{
    const std::uint8_t streamId = dice.of({0xE0, 0xE0, 0xE1, 0xC0, 0xBD, 0xFD});
    const auto stamp = dice.oneIn(2) ? std::nullopt : std::optional(randomStamp(dice));
    return pes(streamId, header, stamp);
}

}  // namespace zarnow::test
