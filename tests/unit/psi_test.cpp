// Program tables in a block of memory.

#include <gtest/gtest.h>

#include "analysis/psi_parser.h"
#include "tests/support/transport_stream.h"

namespace zarnow::test {
namespace {

/// Of an association table program_number and PID, of a map stream_type and PID.
using Entries = std::vector<std::pair<unsigned, unsigned>>;

constexpr std::uint16_t kPmtPid = 0x0123;

/// A section in two packets: as much as the first holds, then the rest behind the second one's header.
Data split(const Data& section, const Header& second = {.pid = kPmtPid})
{
    const Data whole = pointed(section);
    return join(
        {packet({.pid = kPmtPid}, bytesFrom(whole, 0, 184)), nullPackets(1), packet(second, bytesFrom(whole, 184))});
}

TEST(ProgramTables, EntriesTaken)
{
    const Data section = patSection({{1, 0x100}}), pat = patPacket({{1, 0x100}}), later = patPacket({{5, 0x500}});
    const Header noPayload{.pid = 0, .control = 2, .adaptation = 183};
    const Header adapted{.pid = 0, .control = 3, .adaptation = 20}, full{.pid = 0, .control = 3, .adaptation = 183};

    std::vector<Stream> most;
    Entries all;
    for (std::uint8_t i = 0; i < 34; ++i) {  // (183 - 12) / 5 are whole in one packet
        most.push_back({static_cast<std::uint8_t>(1 + i), static_cast<std::uint16_t>(0x400 + i)});
        all.emplace_back(most.back().type, most.back().pid);
    }
    std::vector<Stream> oneMore = most;
    oneMore.push_back({35, 0x423});
    Entries allAndOne = all;
    allAndOne.emplace_back(35, 0x423);
    const Data over = pmtSection(3, oneMore), map = pmtPacket(kPmtPid, 3, {{2, 0x200}, {3, 0x300}});
    const Data empty = pmtPacket(kPmtPid, 3, {}), other = pmtPacket(kPmtPid, 2, {{1, 0x100}});
    const Data shortened = withByte(map, 7, 12 + 5 * 2 - 3);
    const auto behind = [&](std::uint16_t programInfo) {  // entries begin at 17 bytes more
        return packet({.pid = kPmtPid}, pointed(pmtSection(9, {{2, 0x200}}, programInfo)));
    };
    // One long descriptor from 12 + 5 on ends 16 bytes into the second packet; another entry follows.
    const Data longInfo = pmtSection(3, {{2, 0x200, 182}, {3, 0x300}});
    const Header onward{.pid = kPmtPid, .unitStart = false}, nothing{.pid = kPmtPid, .control = 2, .adaptation = 100};
    const Entries two{{2, 0x200}, {3, 0x300}};
    enum { kPat, kByPid, kByNumber };
    const struct
    {
        int table;
        const char* fault;
        Data packets;
        Entries expected;
        bool taken = true;
    } cases[] = {
        {kPat, "a network PID in the first place becomes a program", patPacket({{0, 0x10}, {1, 0x100}}), {{1, 0x100}}},
        {kPat, "one in a later place is dropped", patPacket({{1, 0x100}, {0, 0x10}}), {{1, 0x100}, {0, 0x10}}},
        {kPat, "a null PID becomes a program", patPacket({{1, kNoPid}, {2, kNoPid}, {5, 0x500}}), {{5, 0x500}}},
        {kPat, "it is looked for in the adaptation field", packet(adapted, pointed(section)), {{1, 0x100}}},
        {kPat, "pointer_field is not followed", packet({.pid = 0}, pointed(section, 9)), {{1, 0x100}}},
        {kPat, "another table_id ends the search", join({pmtPacket(0, 1, {{2, 0x200}}), later}), {{5, 0x500}}},
        {kPat, "a pointer out of the packet ends it", join({packet({.pid = 0}, {188}), later}), {{5, 0x500}}},
        {kPat, "an adaptation field out of the packet ends it", join({packet(full), later}), {{5, 0x500}}},
        {kPat, "a packet without payload is passed over", join({packet(noPayload), later}), {}, false},
        {kPat, "sections after the first are taken as well", join({pat, later}), {{1, 0x100}}},

        {kByNumber, "another program's section is taken", join({other, map}), two},
        {kByPid, "an empty section is passed over", join({empty, map}), {}},
        {kByNumber, "an empty section is passed over", join({empty, map}), {}},
        {kByPid, "descriptors are entries", pmtPacket(kPmtPid, 3, {{2, 0x200, 7}, {3, 0x300, 3}}), two},
        {kByPid, "entries outside the packet are followed", join({behind(172), nullPackets(1), map}), two},
        {kByPid, "entries that begin at the packet's end reject it", behind(171), {}},
        // section_length 2 + 12 + 5 * 2 counts from byte 3 on: two entries by the number, one by the PID alone
        {kByPid, "the section's end is three bytes off", shortened, {{2, 0x200}}},
        {kByNumber, "the section's end is three bytes off", shortened, two},
        {kByPid, "the section does not go on in a further packet", split(over), allAndOne},
        {kByPid, "an entry that begins with it is split", split(pmtSection(3, oneMore, 1)), allAndOne},
        {kByPid, "a packet that starts no unit is read on", split(over, onward), all},
        {kByPid, "one without payload is passed over", split(over, nothing), all, false},
        {kByPid, "descriptors over the packet's end are entries", split(longInfo), two},
    };
    for (const auto& [table, fault, packets, expected, taken] : cases) {
        SCOPED_TRACE(fault);
        const ExactBuffer block(join({packets, nullPackets(6)}));  // enough for a walk to find its footing anew
        const std::uint16_t key = headerKeyOfPid(kPmtPid);
        CPSIParser parser;
        bool searching = false;
        EXPECT_EQ(table == kPat     ? parser.parsePat(block.data(), block.length(), searching)
                  : table == kByPid ? parser.parsePmt(block.data(), block.length(), key, searching)
                                    : parser.parsePmtForProgram(block.data(), block.length(), key, 3, searching),
                  taken);
        EXPECT_NE(searching, taken);
        Entries found;
        for (const PsiEntry& entry : table == kPat ? parser.programList : parser.streamList) {
            found.emplace_back(table == kPat ? entry.programNumber : entry.streamType, entry.pid);
            EXPECT_EQ(entry.pmtPid, table == kPat ? entry.pid : kPmtPid);
            EXPECT_TRUE(table == kPat || entry.programNumber == 3);
        }
        EXPECT_EQ(found, expected);
    }
}

}  // namespace
}  // namespace zarnow::test
