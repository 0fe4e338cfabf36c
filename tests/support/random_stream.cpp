#include "tests/support/random_stream.h"

#include <array>

#include "tests/support/transport_stream.h"
#include "tests/support/video_headers.h"

namespace zarnow::test {

namespace {

constexpr unsigned kPids = 10;
constexpr std::uint16_t kFirstPid = 0x20;
constexpr unsigned kProgramNumbers = 8;

std::uint16_t randomPid(Dice& dice)
{
    return static_cast<std::uint16_t>(kFirstPid + dice.below(kPids));
}

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
    const auto [bitRateScale, cpbSizeScale, delayLength, timeOffsetLength] =
        std::array{dice.below(16), dice.below(16), dice.below(32), dice.below(32)};
    return dice.oneIn(2) ? hrd(bitRateScale, cpbSizeScale, rates, delayLength, timeOffsetLength) : nullptr;
}

Usability randomUsability(Dice& dice)
{
    constexpr std::array<std::uint32_t, 8> kClockNumbers{0, 1, 2, 25, 50, 1001, 60000, 0xFFFFFFFF};
    return {.aspectRatio = dice.oneIn(2) ? 255 : static_cast<int>(dice.below(5)),
            .sarWidth = dice.length(16),
            .sarHeight = dice.length(16),
            .videoFormat = static_cast<int>(dice.below(9)) - 1,
            .timing = dice.oneIn(2),
            .unitsInTick = dice.of(kClockNumbers),
            .timeScale = dice.of(kClockNumbers),
            .fixedFrameRate = dice.oneIn(2),
            .nalHrd = randomHrd(dice),
            .vclHrd = randomHrd(dice)};
}

void writeHighProfile(BitWriter& out, Dice& dice)
{
    const unsigned chroma = dice.below(4);
    out.ue(chroma);
    if (chroma == 3)
        out.flag(false);
    const bool matrix = dice.oneIn(2);
    out.ue(0).ue(0).flag(false).flag(matrix);
    for (unsigned list = 0; matrix && list < 8; ++list) {
        const bool present = dice.oneIn(2);
        out.flag(present);
        for (unsigned i = 0; present && i < (list < 6 ? 16 : 64) && !dice.oneIn(20); ++i)
            out.se(static_cast<std::int32_t>(dice.below(512)) - 256);
    }
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
    const auto number = [](std::size_t value) {
        return join({filled(value / 255, 0xFF), {static_cast<std::uint8_t>(value % 255)}});
    };
    Data messages;
    for (unsigned left = dice.below(3) + 1; left > 0; --left) {
        const unsigned type = dice.oneIn(2) ? 0 : dice.below(600);
        const Data payload = dice.bytes(dice.below(20));
        messages = join({messages, number(type), number(payload.size()), payload});
    }
    return nal(0x06, join({messages, {0x80}}));
}

/// Any header, or a few bytes that are none, in a PES packet, its stamp near 0, 2^32, 2^33, or missing.
Data randomPes(Dice& dice)
{
    constexpr std::array<std::int64_t, 5> kCorners{90000, 0, 0xFFFFFFFF, 0x1FFFFFFFF, 0x123456789};
    constexpr std::array kKinds{randomSequenceHeader, randomSps, randomNalUnit, randomAudioHeader};
    const Data header = dice.oneIn(5) ? dice.bytes(1 + dice.below(4)) : dice.of(kKinds)(dice);
    const std::int64_t corner = dice.of(kCorners);
    const std::int64_t stamp = (corner + dice.below(dice.oneIn(2) ? 900000 : 9) - 4) & 0x1FFFFFFFF;
    const std::uint8_t streamId = dice.of({0xE0, 0xE0, 0xE1, 0xC0, 0xBD, 0xFD});
    return pes(streamId, header, dice.oneIn(2) ? std::nullopt : std::optional(stamp));
}

/// Mostly the same PMT PID for a number, so that tables and maps agree; two programs share it.
Program randomProgram(Dice& dice)
{
    const auto number = static_cast<std::uint16_t>(dice.below(kProgramNumbers));
    return {number, dice.oneIn(6) ? randomPid(dice) : static_cast<std::uint16_t>(kFirstPid + number / 2)};
}

Header randomPacketHeader(Dice& dice, std::uint16_t pid, bool unitStart)
{
    return {.pid = pid,
            .unitStart = unitStart,
            .error = dice.oneIn(12),
            .priority = dice.oneIn(8),
            .control = static_cast<std::uint8_t>(dice.oneIn(20)  ? dice.below(4)
                                                 : dice.oneIn(3) ? 3
                                                                 : 1),
            .adaptation = static_cast<std::uint8_t>(dice.below(dice.oneIn(10) ? 256 : 60)),
            .stuffing = 0x47};
}

/// Puts a section, sound or not, into as many packets as it takes. Each may start a payload unit: such tables exist,
/// and are read.
Data sectionPackets(Dice& dice, std::uint16_t pid, Data section)
{
    if (dice.oneIn(6))
        section[dice.below(12)] = dice.byte();
    const Data bytes = pointed(section, static_cast<std::uint8_t>(dice.oneIn(8) ? dice.byte() : 0));
    Data packets;
    for (std::size_t at = 0; at < bytes.size();) {
        Header header{.pid = pid, .unitStart = at == 0 || dice.oneIn(2)};
        if (dice.oneIn(8))
            header = randomPacketHeader(dice, pid, header.unitStart);
        const std::size_t used = 4U + ((header.control & 2) != 0 ? 1U + header.adaptation : 0U);
        const std::size_t size = std::min(used < kPacket ? kPacket - used : 1, bytes.size() - at);
        append(packets, packet(header, bytesFrom(bytes, at, size)));
        at += size;
    }
    return packets;
}

Data randomPat(Dice& dice)
{
    std::vector<Program> programs(dice.oneIn(8) ? dice.below(300) : dice.below(6) + 1);
    for (Program& program : programs) {
        program = randomProgram(dice);
        if (dice.oneIn(20))
            program.pmtPid = kNoPid;
    }
    return sectionPackets(dice, 0, patSection(programs));
}

Data randomPmt(Dice& dice)
{
    constexpr std::uint8_t kTypes[] = {1, 2, 3, 4, 6, 0x0F, 0x11, 0x1B, 0x1B, 0x80, 0x81, 0x87};
    const auto infoLength = [&] { return static_cast<std::uint16_t>(dice.oneIn(4) ? dice.length(8) : 0); };
    std::vector<Stream> streams(dice.oneIn(4) ? dice.below(80) : dice.below(10));
    for (Stream& stream : streams)
        stream = {dice.oneIn(16) ? dice.byte() : dice.of(kTypes), randomPid(dice), infoLength()};
    const Program program = randomProgram(dice);
    return sectionPackets(dice, program.pmtPid, pmtSection(program.number, streams, infoLength()));
}

}  // namespace

Data randomSequenceHeader(Dice& dice)
{
    const Data header = sequenceHeader({.width = dice.below(4096),
                                        .height = dice.below(4096),
                                        .aspect = dice.below(16),
                                        .rate = dice.below(16),
                                        .bitRate = dice.oneIn(4) ? 0x3FFFF : dice.below(0x40000),
                                        .vbvSize = dice.below(1024),
                                        .marker = !dice.oneIn(4),
                                        .constrained = dice.oneIn(2),
                                        .intraMatrix = dice.oneIn(4),
                                        .nonIntraMatrix = dice.oneIn(4)});
    const auto [profile, level] = std::array{dice.below(8), dice.below(16)};
    const Data extension = sequenceExtension(profile, level, dice.oneIn(2));
    return sometimesCut(dice, dice.oneIn(3) ? header : join({header, extension}));
}

Data randomSps(Dice& dice)
{
    Sps fields{.profile = dice.of({66, 77, 100, 110, 122, 144, 255}),
               .level = dice.below(256),
               .pictureOrderCount = [&](BitWriter& out) { writePictureOrderCount(out, dice); },
               .references = dice.length(10),
               .widthInMbs = dice.length(12) + 1,
               .heightInMapUnits = dice.oneIn(3) ? 68 : dice.length(12) + 1,
               .framesOnly = dice.oneIn(2),
               .cropping = dice.oneIn(2)};
    if (fields.profile >= 100 && fields.profile != 255)
        fields.highProfile = [&](BitWriter& out) { writeHighProfile(out, dice); };
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
        case 3: {
            const std::uint8_t header = dice.byte();
            return nal(header, dice.bytes(dice.below(30)), true);
        }
        default: {
            const unsigned firstMacroblock = dice.oneIn(3) ? dice.length(16) : 0;
            return sometimesCut(dice, slice(firstMacroblock, dice.below(9)));
        }
    }
}

Data randomAudioHeader(Dice& dice)
{
    const std::uint8_t rate = dice.of({1, 4, 5, 2});
    const Data lpcm{0, 0, static_cast<std::uint8_t>(dice.below(12) << 4 | rate),
                    static_cast<std::uint8_t>(dice.below(4) << 6)};
    const std::array<Data, 3> syncs{
        {{0x0B, 0x77}, {0x77, 0x0B}, {0xFF, static_cast<std::uint8_t>(0xF0 | dice.below(16))}}};
    const Data searched = join({dice.bytes(dice.below(4)), dice.of(syncs), dice.bytes(2 + dice.below(12))});
    return sometimesCut(dice, dice.oneIn(3) ? lpcm : searched);
}

Data randomPacket(Dice& dice)
{
    const std::uint16_t pid = randomPid(dice);
    const Header header = randomPacketHeader(dice, pid, !dice.oneIn(3));
    return packet(header, randomPes(dice));
}

Data randomTable(Dice& dice)
{
    return dice.oneIn(4) ? randomPat(dice) : randomPmt(dice);
}

Data randomPackets(Dice& dice)
{
    return dice.oneIn(4) ? randomTable(dice) : randomPacket(dice);
}

Data randomStream(Dice& dice, std::size_t packets, bool withPrefixes)
{
    const unsigned rarity = 1 + dice.below(dice.oneIn(4) ? 60 : 4);  // one packet in so many is no null packet
    const bool withTables = !dice.oneIn(8);
    Data content(dice.oneIn(3) ? dice.below(dice.oneIn(4) ? 3000 : 300) : 0);
    std::fill(content.begin(), content.end(), dice.oneIn(2) ? 0x47 : 0x11);
    const auto lay = [&](const Data& whole) { append(content, withPrefixes ? timed(whole) : whole); };
    if (withTables)
        lay(randomPat(dice));
    for (std::size_t left = dice.below(static_cast<unsigned>(packets)) + 20; left > 0; --left) {
        if (!dice.oneIn(rarity))
            lay(nullPackets(1));
        else
            lay(withTables ? randomPackets(dice) : randomPacket(dice));
        if (dice.oneIn(300))
            content.resize(content.size() + dice.below(400), 0x47);
    }
    content.resize(content.size() - dice.below(180));
    return content;
}

}  // namespace zarnow::test
