#include "tests/support/random_stream.h"

#include "tests/support/random_headers.h"
#include "tests/support/transport_stream.h"

namespace zarnow::test {

namespace {

constexpr unsigned kPids = 10;
constexpr std::uint16_t kFirstPid = 0x20;
constexpr unsigned kProgramNumbers = 8;

/// Mostly the same PMT PID for a number, so that tables and maps agree; two programs share it.
Program randomProgram(Dice& dice)
{
    const auto number = static_cast<std::uint16_t>(dice.below(kProgramNumbers));
    return {number, dice.oneIn(6) ? randomPid(dice) : static_cast<std::uint16_t>(kFirstPid + number / 2)};
}

Header randomPacketHeader(Dice& dice, std::uint16_t pid, bool unitStart)
{
    Header header{.pid = pid, .unitStart = unitStart, .error = dice.oneIn(12), .priority = dice.oneIn(8)};
    header.control = static_cast<std::uint8_t>(dice.oneIn(20) ? dice.below(4) : dice.oneIn(3) ? 3 : 1);
    header.adaptation = static_cast<std::uint8_t>(dice.below(dice.oneIn(10) ? 256 : 60));
    header.stuffing = 0x47;
    return header;
}

Data randomPatSection(Dice& dice)
{
    std::vector<Program> programs(dice.oneIn(8) ? dice.below(300) : dice.below(6) + 1);
    for (Program& program : programs) {
        program = randomProgram(dice);
        if (dice.oneIn(20))
            program.pmtPid = kNoPid;
    }
    return patSection(programs);
}

Data randomPmtSection(Dice& dice, std::uint16_t programNumber)
{
    constexpr std::uint8_t kTypes[] = {1, 2, 3, 4, 6, 0x0F, 0x11, 0x1B, 0x1B, 0x80, 0x81, 0x87};
    std::vector<Stream> streams(dice.oneIn(4) ? dice.below(80) : dice.below(10));
    for (Stream& stream : streams) {
        stream = {.type = dice.oneIn(16) ? dice.byte() : dice.of(kTypes), .pid = randomPid(dice)};
        stream.infoLength = static_cast<std::uint16_t>(dice.oneIn(4) ? dice.length(8) : 0);
    }
    const unsigned infoLength = dice.oneIn(4) ? dice.length(8) : 0;
    return pmtSection(programNumber, streams, static_cast<std::uint16_t>(infoLength));
}

/// Puts a section into as many packets as it takes. Each may start a payload unit: such tables exist, and are read.
Data sectionPackets(Dice& dice, std::uint16_t pid, const Data& section)
{
    const Data bytes = pointed(section, static_cast<std::uint8_t>(dice.oneIn(8) ? dice.byte() : 0));
    Data packets;
    bool first = true;
    for (std::size_t at = 0; at < bytes.size(); first = false) {
        Header header{.pid = pid, .unitStart = first || dice.oneIn(2)};
        if (dice.oneIn(8))
            header = randomPacketHeader(dice, pid, header.unitStart);
        const std::size_t used = 4U + ((header.control & 2) != 0 ? 1U + header.adaptation : 0U);
        const std::size_t room = used < kPacket ? kPacket - used : 0;
        const std::size_t end = std::min(at + std::max(room, std::size_t{1}), bytes.size());
        append(packets, packet(header, bytesFrom(bytes, at, end - at)));
        at = end;
    }
    return packets;
}

Data tamperedHeader(Dice& dice, Data section)
{
    return dice.oneIn(6) ? withByte(std::move(section), dice.below(12), dice.byte()) : section;
}

Data randomPat(Dice& dice)
{
    return sectionPackets(dice, 0, tamperedHeader(dice, randomPatSection(dice)));
}

}  // namespace

std::uint16_t randomPid(Dice& dice)
{
    return static_cast<std::uint16_t>(kFirstPid + dice.below(kPids));
}

Data randomPacket(Dice& dice)
{
    const Header header = randomPacketHeader(dice, randomPid(dice), !dice.oneIn(3));
    return packet(header, randomPes(dice, randomHeader(dice)));
}

Data randomTable(Dice& dice)
{
    if (dice.oneIn(4))
        return randomPat(dice);
    const Program program = randomProgram(dice);
    return sectionPackets(dice, program.pmtPid, tamperedHeader(dice, randomPmtSection(dice, program.number)));
}

Data randomPackets(Dice& dice)
{
    return dice.oneIn(4) ? randomTable(dice) : randomPacket(dice);
}

Data randomStream(Dice& dice, const StreamShape& shape)
{
    const unsigned garbage = dice.oneIn(3) ? dice.below(shape.garbage + 1) : 0;
    Data content = filled(garbage, dice.oneIn(2) ? 0x47 : 0x11);
    const auto lay = [&](const Data& packets) { append(content, shape.withPrefixes ? timed(packets) : packets); };
    if (shape.withTables)
        lay(randomPat(dice));
    for (unsigned left = dice.below(shape.packets) + 20; left > 0; --left) {
        if (!dice.oneIn(shape.rarity))
            lay(nullPackets(1));
        else
            lay(shape.withTables ? randomPackets(dice) : randomPacket(dice));
        if (dice.oneIn(300))
            content.resize(content.size() + dice.below(400), 0x47);
    }
    content.resize(content.size() - dice.below(180));
    return content;
}

}  // namespace zarnow::test
