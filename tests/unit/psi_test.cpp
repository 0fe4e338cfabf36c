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

Entries programs(const std::vector<Program>& all)
{
    Entries entries;
    for (const Program& one : all)
        entries.push_back({one.pmtPid, one.pmtPid, 0, one.number});
    return entries;
}

/// @param parse  called with the block, which has enough behind the packets for a walk to find its footing anew
/// @return whether something was taken, and with it the search ended
template <class Parse>
bool taken(const Data& packets, Parse parse)
{
    const ExactBuffer block(join({packets, nullPackets(6)}));
    bool searching = false;
    const bool answer = parse(block, searching);
    EXPECT_NE(answer, searching);
    return answer;
}

bool parsePat(CPSIParser& parser, const Data& packets)
{
    return taken(packets, [&](const ExactBuffer& block, bool& searching) {
        return parser.parsePat(block.data(), block.length(), searching);
    });
}

TEST(ParsePat, ProgramsTaken)
{
    const std::vector<Program> first{{1, 0x100}}, fifth{{5, 0x500}};
    const Data later = patPacket(fifth);
    const Data noPayload = packet({.pid = 0, .control = 2, .adaptation = 183});
    const Data section = patSection(first);
    std::vector<Program> many(70);
    for (std::uint16_t i = 0; i < 70; ++i)
        many[i] = {static_cast<std::uint16_t>(1 + i), static_cast<std::uint16_t>(0x100 + i)};
    const std::vector<Program> first6(many.begin(), many.begin() + 6), first45(many.begin(), many.begin() + 45);
    // 45 entries end 5 bytes into the next packet, whose header is read as the last two's bytes.
    std::vector<Program> last2InHeader = first45;
    last2InHeader[43].pmtPid = 0x147;
    last2InHeader[44] = {0x4ABC, 0x10FF};
    const struct
    {
        const char* fault;
        Data packets;
        std::vector<Program> expected;
    } cases[] = {
        {"a network PID in the first place becomes a program", patPacket({{0, 0x10}, {1, 0x100}}), first},
        {"a network PID in a later place is dropped", patPacket({{1, 0x100}, {0, 0x10}}), {{1, 0x100}, {0, 0x10}}},
        {"a null PID becomes a program", patPacket({{1, 0x1FFF}, {2, 0x1FFF}, {5, 0x500}}), fifth},
        {"it is looked for in the adaptation field",
         packet({.pid = 0, .control = 3, .adaptation = 20}, pointed(section)), first},
        {"pointer_field is not followed", packet({.pid = 0}, pointed(section, 9)), first},
        {"another table_id is taken, or ends the search", join({pmtPacket(0, 1, {{2, 0x200}}), later}), fifth},
        {"a pointer_field out of the packet ends the search", join({packet({.pid = 0}, {188}), later}), fifth},
        {"an adaptation field out of the packet ends the search",
         join({packet({.pid = 0, .control = 3, .adaptation = 183}), later}), fifth},
        {"a packet without payload is passed over", join({noPayload, later}), {}},
        {"sections after the first are taken as well", join({patPacket(first), later}), first},
        // section_length 289 is 0x121, and (0x21 - 9) / 4 - 1 = 5 follow the first.
        {"all 12 bits of section_length count", patPacket(many), first6},
        {"a header is stepped over", join({patPacket(first45), packet({.pid = 0x0ABC})}), last2InHeader},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.fault);
        CPSIParser parser;
        EXPECT_EQ(parsePat(parser, test.packets), !test.expected.empty());
        EXPECT_EQ(entriesOf(parser.programList), programs(test.expected));
    }
}

TEST(ParsePat, WhatBecomesOfTheTables)
{
    CPSIParser parser;
    parser.streamList = {{.pid = 0x33}};
    const Data packets = patPacket({{7, 0}, {8, 0x800}, {9, 0x900}});
    parsePat(parser, packets);
    EXPECT_EQ(entriesOf(parser.streamList), (Entries{{}, {0, 0, 0, 7}})) << "a zero entry and the first program";
    EXPECT_EQ(parser.currentPmtPid, 0x800) << "PMT PID 0 does not count as selected";
    EXPECT_EQ(parser.currentProgramNumber, 8);

    parsePat(parser, packets);
    EXPECT_EQ(parser.programList.size(), 6U) << "the program table is only appended to";
    parsePat(parser, packet({.pid = 0, .control = 2, .adaptation = 183}));
    EXPECT_EQ(entriesOf(parser.streamList), Entries{{}}) << "any PAT packet makes the streams void";
}

constexpr std::uint16_t kPmtPid = 0x0123;
constexpr std::uint16_t kPmtKey = 0x2301;
constexpr int kByPid = -1;

std::vector<Stream> streams(std::size_t count)
{
    std::vector<Stream> all;
    for (std::size_t i = 0; i < count; ++i)
        all.push_back({static_cast<std::uint8_t>(1 + i), static_cast<std::uint16_t>(0x400 + i)});
    return all;
}

Entries entriesOf(const std::vector<Stream>& all)
{
    Entries entries;
    for (const Stream& one : all)
        entries.push_back({one.pid, kPmtPid, one.type, 3});
    return entries;
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
    const auto two = streams(2);
    const Data plain = pmtPacket(kPmtPid, 3, two), empty = pmtPacket(kPmtPid, 3, {});
    const Data shortened = withByte(plain, 7, 12 + 5 * 2 - 3);
    const Data described = pmtSection(3, {{2, 0x200, 7}, {3, 0x300, 3}}, 11);
    const auto behind = [&](std::uint16_t programInfo) {
        return packet({.pid = kPmtPid}, pointed(pmtSection(9, two, programInfo)));  // entries begin at 17 bytes more
    };
    const Data over = pmtSection(3, streams(40));
    const auto one = streams(1), first34 = streams(34);  // (183 - 12) / 5 of them
    auto shifted = first34;
    shifted.push_back({35, 0x04E4});
    // One long descriptor from 12 + 5 on ends 16 bytes into the second packet; another entry follows.
    const std::vector<Stream> longInfo{{2, 0x200, 182}, {3, 0x300}};
    const Header onward{.pid = kPmtPid, .unitStart = false}, noPayload{.pid = kPmtPid, .control = 2, .adaptation = 100};
    const Header adapted{.pid = kPmtPid, .control = 3, .adaptation = 7, .stuffing = 0xE4};
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
        {"descriptors are taken for entries",
         packet({.pid = kPmtPid}, pointed(described)),
         kByPid,
         {{2, 0x200}, {3, 0x300}}},
        {"entries that begin outside the packet are followed", join({behind(172), nullPackets(1), plain}), kByPid, two},
        {"entries that begin at the packet's end reject it", behind(171), kByPid, {}},
        // section_length 2 + 12 + 5 * 2 counts from byte 3 on: two entries by the number, one by the PID alone
        {"the section's end is three bytes off, by PID", shortened, kByPid, one},
        {"the section's end is three bytes off, by number", shortened, 3, two},
        {"a packet that starts no unit is read on", split(over, onward), kByPid, first34},
        // The last byte of the adaptation field, 0xE4, is taken for the entry's second one.
        {"the section goes on behind the adaptation field", split(over, adapted), kByPid, shifted},
        {"a packet without payload is passed over", split(over, noPayload), kByPid, first34, false},
        {"descriptors over the packet's end are taken for entries", split(pmtSection(3, longInfo)), kByPid, longInfo},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.fault);
        CPSIParser parser;
        const auto parse = [&](const ExactBuffer& block, bool& searching) {
            return test.number == kByPid
                       ? parser.parsePmt(block.data(), block.length(), kPmtKey, searching)
                       : parser.parsePmtForProgram(block.data(), block.length(), kPmtKey,
                                                   static_cast<std::uint16_t>(test.number), searching);
        };
        EXPECT_EQ(taken(test.packets, parse), test.taken);
        EXPECT_EQ(entriesOf(parser.streamList), entriesOf(test.expected));
    }
}

TEST(ParsePmt, EntriesAtTheSplit)
{
    const auto all = streams(40);
    for (std::uint16_t programInfo = 0; programInfo < 5; ++programInfo) {
        // 183 bytes of the section are in the first packet, and its entries begin at 12 and the descriptors.
        const int left = (183 - 12 - programInfo) % 5;
        SCOPED_TRACE(testing::Message() << left << " bytes of an entry before the split");
        CPSIParser parser;
        EXPECT_TRUE(taken(split(pmtSection(3, all, programInfo)), [&](const ExactBuffer& block, bool& searching) {
            return parser.parsePmt(block.data(), block.length(), kPmtKey, searching);
        }));
        // The count lags by as many as 4 bytes: then the CRC and a byte behind it are read as one entry more.
        ASSERT_EQ(parser.streamList.size(), all.size() + (left == 4 ? 1U : 0U));
        parser.streamList.resize(all.size());
        EXPECT_EQ(entriesOf(parser.streamList), entriesOf(all));
    }
}

TEST(Tables, FindStreamByType)
{
    CPSIParser parser;
    parser.currentPmtPid = 0x100;
    for (const auto& [pid, type, number] : {std::array{0x40, 2, 2}, {0x41, 0x81, 0}, {0x42, 0x80, 0}, {0x43, 0, 2}})
        parser.streamList.push_back({.pid = static_cast<std::uint16_t>(pid),
                                     .pmtPid = 0x100,
                                     .streamType = static_cast<std::uint8_t>(type),
                                     .programNumber = static_cast<std::uint16_t>(number)});
    const auto find = [&](std::uint32_t index, std::uint8_t wanted) {
        std::uint16_t pid = 0;
        std::uint8_t type = 0;
        parser.findStreamByType(index, wanted, pid, type);
        return std::pair<int, int>(pid, type);
    };
    EXPECT_EQ(find(0, 2), std::pair(0, 0)) << "another program's";
    EXPECT_EQ(find(0, 0x80), std::pair(0x41, 0x81)) << "0x80 and above, told as it is";
    EXPECT_EQ(find(1, 0x80), std::pair(0x42, 0x80));
    EXPECT_EQ(find(1, 0x81), std::pair(0, 0));
    EXPECT_EQ(find(0, 0), std::pair(0x43, 0)) << "type 0 of any program";
}

}  // namespace
}  // namespace zarnow::test
