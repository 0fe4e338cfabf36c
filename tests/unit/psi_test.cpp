// Program tables in a block of memory.

#include <gtest/gtest.h>

#include "analysis/psi_parser.h"
#include "tests/support/transport_stream.h"

namespace zarnow::test {
namespace {

/// PID, PMT PID, stream_type and program_number.
using Entry = std::array<unsigned, 4>;
using Entries = std::vector<Entry>;

Entries entriesOf(const std::vector<PsiEntry>& table)
{
    Entries all;
    for (const PsiEntry& one : table)
        all.push_back({one.pid, one.pmtPid, one.streamType, one.programNumber});
    return all;
}

Entry program(unsigned pid, unsigned number)
{
    return {pid, pid, 0, number};
}

/// A packet with enough behind it for a walk that has to find its footing anew.
Data followed(const Data& packets)
{
    return join({packets, nullPackets(6)});
}

/// @return whether a program was taken, and whether the search goes on
std::pair<bool, bool> parsePat(CPSIParser& parser, const Data& content)
{
    const ExactBuffer block(content);
    bool searching = false;
    const bool taken = parser.parsePat(block.data(), block.length(), searching);
    return {taken, searching};
}

TEST(ParsePat, ProgramsTaken)
{
    const Data later = patPacket({{5, 0x500}});
    const Data noPayload = packet({.pid = 0, .control = 2, .adaptation = 183});
    const Data section = patSection({{1, 0x100}});
    const Entry first = program(0x100, 1), fifth = program(0x500, 5);
    const struct
    {
        const char* fault;
        Data block;
        Entries expected;
    } cases[] = {
        {"a network PID in the first place becomes a program", patPacket({{0, 0x10}, {1, 0x100}}), {first}},
        {"a network PID in a later place is dropped", patPacket({{1, 0x100}, {0, 0x10}}), {first, program(0x10, 0)}},
        {"a null PID becomes a program", patPacket({{1, 0x1FFF}, {2, 0x1FFF}, {5, 0x500}}), {fifth}},
        {"it is looked for in the adaptation field",
         packet({.pid = 0, .control = 3, .adaptation = 20}, pointed(section)),
         {first}},
        {"pointer_field is not followed", packet({.pid = 0}, pointed(section, 9)), {first}},
        {"another table_id is taken, or ends the search", join({pmtPacket(0, 1, {{2, 0x200}}), later}), {fifth}},
        {"a pointer_field out of the packet ends the search", join({packet({.pid = 0}, {188}), later}), {fifth}},
        {"an adaptation field out of the packet ends the search",
         join({packet({.pid = 0, .control = 3, .adaptation = 183}), later}),
         {fifth}},
        {"a packet without payload is passed over", join({noPayload, later}), {}},
        {"sections after the first are taken as well", join({patPacket({{1, 0x100}}), later}), {first}},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.fault);
        CPSIParser parser;
        EXPECT_EQ(parsePat(parser, followed(test.block)), std::pair(!test.expected.empty(), test.expected.empty()));
        EXPECT_EQ(entriesOf(parser.programList), test.expected);
    }
}

TEST(ParsePat, ReadsOnlyTheLowLengthByteAndStraightThroughTheBlock)
{
    const auto parse = [](const Data& content) {
        CPSIParser parser;
        parsePat(parser, content);
        return entriesOf(parser.programList);
    };
    std::vector<Program> programs(70);
    for (std::uint16_t i = 0; i < 70; ++i)
        programs[i] = {static_cast<std::uint16_t>(1 + i), static_cast<std::uint16_t>(0x100 + i)};
    // section_length 289 is 0x121, and (0x21 - 9) / 4 - 1 = 5 follow the first.
    EXPECT_EQ(parse(followed(patPacket(programs))).size(), 6U);
    // 45 entries end 17 bytes into the next packet; the 44th (offset 5 + 8 + 43 * 4 = 185) straddles both.
    programs.resize(45);
    const Data two = join({patPacket(programs), packet({.pid = 0x0ABC})});
    const Entries all = parse(followed(two));
    ASSERT_EQ(all.size(), 45U);
    EXPECT_EQ(all[43], program(0x0147, 44)) << "the sync byte stands where the PID's low byte would be";
    EXPECT_EQ(parse(firstBytes(two, 192)).size(), 44U) << "an entry that is not whole in the block";
}

TEST(ParsePat, WhatBecomesOfTheTables)
{
    CPSIParser parser;
    parser.streamList = {{.pid = 0x33}};
    const Data block = followed(patPacket({{7, 0}, {8, 0x800}, {9, 0x900}}));
    parsePat(parser, block);
    EXPECT_EQ(entriesOf(parser.streamList), (Entries{{}, {0, 0, 0, 7}})) << "a zero entry and the first program";
    EXPECT_EQ(parser.countStreams(0, 0), 1U);
    EXPECT_EQ(parser.currentPmtPid, 0x800) << "PMT PID 0 does not count as selected";
    EXPECT_EQ(parser.currentProgramNumber, 8);

    parsePat(parser, block);
    EXPECT_EQ(parser.programList.size(), 6U) << "the program table is only appended to";
    parsePat(parser, followed(packet({.pid = 0, .control = 2, .adaptation = 183})));
    EXPECT_EQ(entriesOf(parser.streamList), Entries{{}}) << "any PAT packet makes the streams void";
}

constexpr std::uint16_t kPmtPid = 0x0123;
constexpr std::uint16_t kPmtKey = 0x2301;

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

struct PmtResult
{
    bool taken;
    bool searching = false;
    Entries streams;
};

/// @param number  of the program; less than 0: by PID alone
PmtResult parsePmt(const Data& content, int number = -1)
{
    CPSIParser parser;
    const ExactBuffer block(content);
    PmtResult result;
    result.taken = number < 0 ? parser.parsePmt(block.data(), block.length(), kPmtKey, result.searching)
                              : parser.parsePmtForProgram(block.data(), block.length(), kPmtKey,
                                                          static_cast<std::uint16_t>(number), result.searching);
    result.streams = entriesOf(parser.streamList);
    return result;
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
    const Data plain = pmtPacket(kPmtPid, 3, two);
    const Data shortened = withByte(plain, 7, 12 + 5 * 2 - 3);
    const Data described = pmtSection(3, {{2, 0x200, 7}, {3, 0x300, 3}}, 11);
    const auto behind = [&](std::uint16_t programInfo) {
        return packet({.pid = kPmtPid}, pointed(pmtSection(9, two, programInfo)));  // entries begin at 17 bytes more
    };
    const Data over = pmtSection(3, streams(40));
    const Entries one = entriesOf(streams(1)), both = entriesOf(two), first34 = entriesOf(streams(34));
    Entries shifted = first34;  // (183 - 12) / 5 of them
    shifted.push_back({0x04E4, kPmtPid, 35, 3});
    // One long descriptor from 12 + 5 on ends 16 bytes into the second packet; another entry follows.
    const std::vector<Stream> longInfo{{2, 0x200, 182}, {3, 0x300}};
    const Header onward{.pid = kPmtPid, .unitStart = false}, noPayload{.pid = kPmtPid, .control = 2, .adaptation = 100};
    const Header adapted{.pid = kPmtPid, .control = 3, .adaptation = 7, .stuffing = 0xE4};
    const struct
    {
        const char* fault;
        Data block;
        int number;  ///< less than 0: by PID alone
        Entries expected;
        bool taken = true;
    } cases[] = {
        {"program numbers are mixed up", plain, -1, both},
        {"another program's section is taken", join({pmtPacket(kPmtPid, 2, streams(1)), plain}), 3, both},
        {"descriptors are taken for entries", packet({.pid = kPmtPid}, pointed(described)), -1,
         entriesOf(std::vector<Stream>{{2, 0x200}, {3, 0x300}})},
        {"entries that begin outside the packet are followed", join({behind(172), nullPackets(1), plain}), -1, both},
        {"entries that begin at the packet's end reject it", behind(171), -1, {}},
        // section_length 2 + 12 + 5 * 2 counts from byte 3 on: two entries by the number, one by the PID alone
        {"the section's end is three bytes off, by PID", shortened, -1, one},
        {"the section's end is three bytes off, by number", shortened, 3, both},
        {"a packet that starts no unit is read on", split(over, onward), -1, first34},
        {"another PID's packet is read on", split(over, {.pid = kPmtPid + 1}), -1, first34},
        // The last byte of the adaptation field, 0xE4, is taken for the entry's second one.
        {"the section goes on behind the adaptation field", split(over, adapted), -1, shifted},
        {"a packet without payload is passed over", split(over, noPayload), -1, first34, false},
        {"descriptors over the packet's end are taken for entries", split(pmtSection(3, longInfo)), -1,
         entriesOf(longInfo)},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.fault);
        const PmtResult result = parsePmt(followed(test.block), test.number);
        EXPECT_EQ(result.taken, test.taken);
        EXPECT_EQ(result.searching, !test.taken);
        EXPECT_EQ(result.streams, test.expected);
    }
}

TEST(ParsePmt, EmptySectionEndsTheSearch)
{
    for (const int number : {-1, 3}) {
        const PmtResult result =
            parsePmt(followed(join({pmtPacket(kPmtPid, 3, {}), pmtPacket(kPmtPid, 3, {{2, 9}})})), number);
        EXPECT_TRUE(result.taken && !result.searching && result.streams.empty()) << number;
    }
}

TEST(ParsePmt, EntriesAtTheSplit)
{
    const auto all = streams(40);
    for (std::uint16_t programInfo = 0; programInfo < 5; ++programInfo) {
        // 183 bytes of the section are in the first packet, and its entries begin at 12 and the descriptors.
        const int left = (183 - 12 - programInfo) % 5;
        SCOPED_TRACE(testing::Message() << left << " bytes of an entry before the split");
        PmtResult result = parsePmt(followed(split(pmtSection(3, all, programInfo))));
        EXPECT_TRUE(result.taken);
        // The count lags by as many as 4 bytes: then the CRC and a byte behind it are read as one entry more.
        ASSERT_EQ(result.streams.size(), all.size() + (left == 4 ? 1U : 0U));
        result.streams.resize(all.size());
        EXPECT_EQ(result.streams, entriesOf(all));
    }
    // By number it is read on through the block, from 17 on, five bytes each, while they are whole.
    const Data block = split(pmtSection(3, all));
    EXPECT_EQ(parsePmt(firstBytes(block, 192), 3).streams.size(), 35U);
    EXPECT_EQ(parsePmt(firstBytes(block, 191), 3).streams.size(), 34U);
}

PsiEntry stream(std::uint16_t pid, std::uint8_t type, std::uint16_t number)
{
    return {.pid = pid, .pmtPid = 0x100, .streamType = type, .programNumber = number};
}

TEST(Tables, FindStreamByType)
{
    CPSIParser parser;
    parser.currentPmtPid = 0x100;
    parser.currentProgramNumber = 1;
    parser.streamList = {{}, stream(0x40, 2, 2), stream(0x41, 0x81, 1), stream(0x42, 0x80, 1), stream(0x43, 0, 2)};
    const struct
    {
        const char* fault;
        std::uint32_t index;
        std::uint8_t type;
        std::pair<int, int> expected;  ///< PID and type; 0 when there is none
    } cases[] = {
        {"another program's stream is found", 0, 2, {}},
        {"0x80 finds only itself, or is reported instead of the type", 0, 0x80, {0x41, 0x81}},
        {"the index is ignored", 1, 0x80, {0x42, 0x80}},
        {"0x81 stands for every private type", 1, 0x81, {}},
        {"type 0 is looked for in the selected program only", 1, 0, {0x43, 0}},
    };
    for (const auto& test : cases) {
        std::uint16_t pid = 0;
        std::uint8_t type = 0;
        EXPECT_EQ(parser.findStreamByType(test.index, test.type, pid, type), test.expected.first != 0) << test.fault;
        EXPECT_EQ(std::pair(int{pid}, int{type}), test.expected) << test.fault;
    }
}

TEST(Tables, Removal)
{
    CPSIParser parser;
    const PsiEntry first = stream(0x41, 2, 1), second = stream(0x42, 3, 1), other = stream(0x41, 2, 2);
    parser.streamList = {first, other, stream(0x41, 3, 1), second, other, stream(0x42, 4, 1), first};
    EXPECT_TRUE(parser.removeDuplicateStreams(0x100, 1));
    EXPECT_EQ(entriesOf(parser.streamList), entriesOf(std::vector<PsiEntry>{first, other, second, other}))
        << "of this program only";

    parser.programList = {{.pmtPid = 0x100, .programNumber = 1}, {.pmtPid = 0x100, .programNumber = 2}};
    EXPECT_FALSE(parser.removeProgram(0, 0x100, 2)) << "the position has to hold that very program";
    EXPECT_FALSE(parser.removeProgram(2, 0x100, 2));
    EXPECT_TRUE(parser.removeProgram(1, 0x100, 2));
    ASSERT_EQ(parser.programList.size(), 1U);
    EXPECT_EQ(parser.programList[0].programNumber, 1);
}

}  // namespace
}  // namespace zarnow::test
