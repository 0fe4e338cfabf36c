// Program tables in a block of memory.

#include <gtest/gtest.h>

#include "analysis/psi_parser.h"
#include "tests/support/transport_stream.h"

namespace zarnow::test {
namespace {

/// PID, PMT PID, stream_type and program_number.
using Entries = std::vector<std::array<unsigned, 4>>;

Entries entriesOf(const std::vector<PsiEntry>& table)
{
    Entries all;
    for (const PsiEntry& one : table)
        all.push_back({one.pid, one.pmtPid, one.streamType, one.programNumber});
    return all;
}

constexpr std::uint16_t kPmtPid = 0x0123;
constexpr std::uint16_t kPmtKey = 0x2301;

Entries entriesOf(const std::vector<Program>& programs)
{
    Entries entries;
    for (const Program& one : programs)
        entries.push_back({one.pmtPid, one.pmtPid, 0, one.number});
    return entries;
}

Entries entriesOf(const std::vector<Stream>& streams)
{
    Entries entries;
    for (const Stream& one : streams)
        entries.push_back({one.pid, kPmtPid, one.type, 3});
    return entries;
}

/// Enough behind the packets for a walk to find its footing anew.
ExactBuffer blockOf(const Data& packets)
{
    return ExactBuffer(join({packets, nullPackets(6)}));
}

TEST(ParsePat, ProgramsTaken)
{
    const std::vector<Program> first{{1, 0x100}}, fifth{{5, 0x500}}, network{{1, 0x100}, {0, 0x10}};
    const Data later = patPacket(fifth), section = patSection(first);
    const Header noPayload{.pid = 0, .control = 2, .adaptation = 183};
    const Header adapted{.pid = 0, .control = 3, .adaptation = 20}, full{.pid = 0, .control = 3, .adaptation = 183};
    const struct
    {
        const char* fault;
        Data packets;
        std::vector<Program> expected;
    } cases[] = {
        {"a network PID in the first place becomes a program", patPacket({{0, 0x10}, {1, 0x100}}), first},
        {"a network PID in a later place is dropped", patPacket(network), network},
        {"a null PID becomes a program", patPacket({{1, 0x1FFF}, {2, 0x1FFF}, {5, 0x500}}), fifth},
        {"it is looked for in the adaptation field", packet(adapted, pointed(section)), first},
        {"pointer_field is not followed", packet({.pid = 0}, pointed(section, 9)), first},
        {"another table_id is taken, or ends the search", join({pmtPacket(0, 1, {{2, 0x200}}), later}), fifth},
        {"a pointer_field out of the packet ends the search", join({packet({.pid = 0}, {188}), later}), fifth},
        {"an adaptation field out of the packet ends the search", join({packet(full), later}), fifth},
        {"a packet without payload is passed over", join({packet(noPayload), later}), {}},
        {"sections after the first are taken as well", join({patPacket(first), later}), first},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.fault);
        const ExactBuffer block = blockOf(test.packets);
        CPSIParser parser;
        bool searching = false;
        EXPECT_NE(parser.parsePat(block.data(), block.length(), searching), test.expected.empty());
        EXPECT_EQ(searching, test.expected.empty());
        EXPECT_EQ(entriesOf(parser.programList), entriesOf(test.expected));
    }
}

/// A section in two packets: as much as the first holds, then the rest behind the second one's header.
Data split(const Data& section, const Header& second = {.pid = kPmtPid})
{
    const Data whole = pointed(section);
    return join(
        {packet({.pid = kPmtPid}, bytesFrom(whole, 0, 184)), nullPackets(1), packet(second, bytesFrom(whole, 184))});
}

TEST(ParsePmt, StreamsTaken)
{
    std::vector<Stream> all;
    for (std::uint8_t i = 0; i < 34; ++i)  // (183 - 12) / 5 are whole in one packet
        all.push_back({static_cast<std::uint8_t>(1 + i), static_cast<std::uint16_t>(0x400 + i)});
    const std::vector<Stream> one{all[0]}, two{all[0], all[1]};
    const Data plain = pmtPacket(kPmtPid, 3, two), empty = pmtPacket(kPmtPid, 3, {});
    const Data shortened = withByte(plain, 7, 12 + 5 * 2 - 3);
    const std::vector<Stream> described{{2, 0x200, 7}, {3, 0x300, 3}};
    const auto behind = [&](std::uint16_t programInfo) {
        return packet({.pid = kPmtPid}, pointed(pmtSection(9, two, programInfo)));  // entries begin at 17 bytes more
    };
    auto more = all;
    more.push_back({35, 0x423});
    const Data over = pmtSection(3, more);
    // One long descriptor from 12 + 5 on ends 16 bytes into the second packet; another entry follows.
    const std::vector<Stream> longInfo{{2, 0x200, 182}, {3, 0x300}};
    const Header onward{.pid = kPmtPid, .unitStart = false}, noPayload{.pid = kPmtPid, .control = 2, .adaptation = 100};
    constexpr int kByPid = -1;
    const struct
    {
        const char* fault;
        Data packets;
        int number;
        std::vector<Stream> expected;
        bool taken = true;
    } cases[] = {
        {"program numbers are mixed up", plain, kByPid, two},
        {"another program's section is taken", join({pmtPacket(kPmtPid, 2, one), plain}), 3, two},
        {"an empty section is passed over by PID", join({empty, plain}), kByPid, {}},
        {"an empty section is passed over by number", join({empty, plain}), 3, {}},
        {"descriptors are taken for entries", pmtPacket(kPmtPid, 3, described), kByPid, described},
        {"entries that begin outside the packet are followed", join({behind(172), nullPackets(1), plain}), kByPid, two},
        {"entries that begin at the packet's end reject it", behind(171), kByPid, {}},
        // section_length 2 + 12 + 5 * 2 counts from byte 3 on: two entries by the number, one by the PID alone
        {"the section's end is three bytes off, by PID", shortened, kByPid, one},
        {"the section's end is three bytes off, by number", shortened, 3, two},
        {"the section does not go on in a further packet", split(over), kByPid, more},
        {"an entry that begins with the packet is split", split(pmtSection(3, more, 1)), kByPid, more},
        {"a packet that starts no unit is read on", split(over, onward), kByPid, all},
        {"a packet without payload is passed over", split(over, noPayload), kByPid, all, false},
        {"descriptors over the packet's end are taken for entries", split(pmtSection(3, longInfo)), kByPid, longInfo},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.fault);
        const ExactBuffer block = blockOf(test.packets);
        CPSIParser parser;
        bool searching = false;
        const auto number = static_cast<std::uint16_t>(test.number);
        EXPECT_EQ(test.number == kByPid
                      ? parser.parsePmt(block.data(), block.length(), kPmtKey, searching)
                      : parser.parsePmtForProgram(block.data(), block.length(), kPmtKey, number, searching),
                  test.taken);
        EXPECT_NE(searching, test.taken);
        EXPECT_EQ(entriesOf(parser.streamList), entriesOf(test.expected));
    }
}

}  // namespace
}  // namespace zarnow::test
