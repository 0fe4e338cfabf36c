// Program tables in a block of memory.

#include <gtest/gtest.h>

#include "analysis/psi_parser.h"
#include "tests/support/transport_stream.h"

namespace zarnow {

bool operator==(const PsiEntry& a, const PsiEntry& b)
{
    return a.pid == b.pid && a.pmtPid == b.pmtPid && a.streamType == b.streamType && a.programNumber == b.programNumber;
}

void PrintTo(const PsiEntry& entry, std::ostream* out)
{
    *out << std::hex << "{pid " << entry.pid << ", pmt " << entry.pmtPid << ", type " << int{entry.streamType}
         << ", program " << entry.programNumber << "}";
}

namespace test {
namespace {

using Entries = std::vector<PsiEntry>;

PsiEntry program(std::uint16_t pid, std::uint16_t number)
{
    return {.pid = pid, .pmtPid = pid, .programNumber = number};
}

PsiEntry stream(std::uint16_t pid, std::uint16_t pmtPid, std::uint8_t type, std::uint16_t number)
{
    return {.pid = pid, .pmtPid = pmtPid, .streamType = type, .programNumber = number};
}

/// A packet with enough behind it for a walk that has to find its footing anew.
Data followed(const Data& packets)
{
    return join({packets, nullPackets(6)});
}

std::vector<Program> programs(std::size_t count)
{
    std::vector<Program> all;
    for (std::size_t i = 0; i < count; ++i)
        all.push_back({static_cast<std::uint16_t>(1 + i), static_cast<std::uint16_t>(0x100 + i)});
    return all;
}

TEST(ParsePat, ProgramsTaken)
{
    const Data later = patPacket({{5, 0x500}});
    const Data noPayload = packet({.pid = 0, .control = 2, .adaptation = 183});
    const PsiEntry first = program(0x100, 1), fifth = program(0x500, 5);
    const struct
    {
        const char* fault;
        Data block;
        Entries expected;
    } cases[] = {
        {"a network PID in the first place becomes a program", patPacket({{0, 0x10}, {1, 0x100}}), {first}},
        {"a network PID in a later place is dropped", patPacket({{1, 0x100}, {0, 0x10}}), {first, program(0x10, 0)}},
        {"a null PID becomes a program", patPacket({{1, 0x1FFF}, {2, 0x1FFF}, {5, 0x500}}), {fifth}},
        {"the section is looked for in the adaptation field",
         packet({.pid = 0, .control = 3, .adaptation = 20}, pointed(patSection({{1, 0x100}}))),
         {first}},
        {"pointer_field is not followed", packet({.pid = 0}, pointed(patSection({{1, 0x100}}), 9)), {first}},
        {"a section with another table_id is taken, or ends the search",
         join({pmtPacket(0, 1, {{2, 0x200}}), nullPackets(1), later}),
         {fifth}},
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
        const ExactBuffer block(followed(test.block));
        bool stillSearching = false;
        EXPECT_EQ(parser.parsePat(block.data(), block.length(), stillSearching), !test.expected.empty());
        EXPECT_EQ(stillSearching, test.expected.empty());
        EXPECT_EQ(parser.programList, test.expected);
    }
}

TEST(ParsePat, ReadsOnlyTheLowLengthByteAndStraightThroughTheBlock)
{
    const auto parse = [](const Data& content) {
        CPSIParser parser;
        const ExactBuffer block(content);
        bool stillSearching = false;
        parser.parsePat(block.data(), block.length(), stillSearching);
        return parser.programList;
    };
    // 70 entries: section_length 289 is 0x121, and (0x21 - 9) / 4 - 1 = 5 follow the first.
    EXPECT_EQ(parse(followed(patPacket(programs(70)))).size(), 6U);
    // 45 entries end 17 bytes into the next packet; the 44th (offset 5 + 8 + 43 * 4 = 185) straddles both.
    const Data two = join({patPacket(programs(45)), packet({.pid = 0x0ABC})});
    const Entries all = parse(followed(two));
    ASSERT_EQ(all.size(), 45U);
    EXPECT_EQ(all[43], program(0x0147, 44)) << "the sync byte stands where the PID's low byte would be";
    EXPECT_EQ(parse(firstBytes(two, 192)).size(), 44U) << "an entry that is not whole in the block";
}

TEST(ParsePat, WhatBecomesOfTheTables)
{
    CPSIParser parser;
    const Data block = followed(patPacket({{7, 0}, {8, 0x800}, {9, 0x900}}));
    const auto length = static_cast<std::int32_t>(block.size());
    bool stillSearching = false;
    parser.streamList = {stream(0x33, 0x100, 2, 1)};
    parser.parsePat(block.data(), length, stillSearching);
    EXPECT_EQ(parser.streamList, (Entries{{}, stream(0, 0, 0, 7)})) << "a zero entry and the first program";
    EXPECT_EQ(parser.countStreams(0, 0), 1U);
    EXPECT_EQ(parser.currentPmtPid, 0x800) << "PMT PID 0 does not count as selected";
    EXPECT_EQ(parser.currentProgramNumber, 8);

    parser.parsePat(block.data(), length, stillSearching);
    EXPECT_EQ(parser.programList.size(), 6U) << "the program table is only appended to";

    const Data noPayload = followed(packet({.pid = 0, .control = 2, .adaptation = 183}));
    parser.streamList = {stream(0x33, 0x100, 2, 1)};
    parser.parsePat(noPayload.data(), length, stillSearching);
    EXPECT_EQ(parser.streamList, Entries{{}}) << "any PAT packet makes the streams void";
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
        entries.push_back(stream(one.pid, kPmtPid, one.type, 3));
    return entries;
}

struct PmtResult
{
    bool taken;
    bool stillSearching = false;
    Entries streams;
};

/// @param programNumber  less than 0: by PID alone
PmtResult parsePmt(const Data& content, int programNumber = -1)
{
    CPSIParser parser;
    const ExactBuffer block(content);
    PmtResult result;
    result.taken = programNumber < 0
                       ? parser.parsePmt(block.data(), block.length(), kPmtKey, result.stillSearching)
                       : parser.parsePmtForProgram(block.data(), block.length(), kPmtKey,
                                                   static_cast<std::uint16_t>(programNumber), result.stillSearching);
    result.streams = parser.streamList;
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
    shifted.push_back(stream(0x04E4, kPmtPid, 35, 3));
    // One long descriptor from 12 + 5 on ends 16 bytes into the second packet; another entry follows.
    const std::vector<Stream> longInfo{{2, 0x200, 182}, {3, 0x300}};
    const Header onward{.pid = kPmtPid, .unitStart = false}, noPayload{.pid = kPmtPid, .control = 2, .adaptation = 100};
    const Header adapted{.pid = kPmtPid, .control = 3, .adaptation = 7, .stuffing = 0xE4};
    const struct
    {
        const char* fault;
        Data block;
        int programNumber;  ///< less than 0: by PID alone
        Entries expected;
        bool taken = true;
    } cases[] = {
        {"program numbers are mixed up", plain, -1, both},
        {"another program's section is taken", join({pmtPacket(kPmtPid, 2, streams(1)), plain}), 3, both},
        {"descriptors are taken for entries", packet({.pid = kPmtPid}, pointed(described)), -1,
         entriesOf({{2, 0x200}, {3, 0x300}})},
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
        const PmtResult result = parsePmt(followed(test.block), test.programNumber);
        EXPECT_EQ(result.taken, test.taken);
        EXPECT_EQ(result.stillSearching, !test.taken);
        EXPECT_EQ(result.streams, test.expected);
    }
}

TEST(ParsePmt, EmptySectionEndsTheSearch)
{
    for (const int number : {-1, 3}) {
        const PmtResult result =
            parsePmt(followed(join({pmtPacket(kPmtPid, 3, {}), pmtPacket(kPmtPid, 3, {{2, 9}})})), number);
        EXPECT_TRUE(result.taken && !result.stillSearching && result.streams.empty()) << number;
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
}

TEST(ParsePmt, EndsWithTheBlock)
{
    const Data block = join({split(pmtSection(3, streams(40))), nullPackets(1)});
    for (std::size_t size = 0; size < block.size(); ++size) {
        parsePmt(firstBytes(block, size));
        parsePmt(firstBytes(block, size), 3);
    }
    // By number the section is read on through whatever follows: from 17 on, five bytes each, while they are whole.
    EXPECT_EQ(parsePmt(firstBytes(block, 192), 3).streams.size(), 35U);
    EXPECT_EQ(parsePmt(firstBytes(block, 191), 3).streams.size(), 34U);
}

TEST(Tables, FindStreamByType)
{
    CPSIParser parser;
    parser.currentPmtPid = 0x100;
    parser.currentProgramNumber = 1;
    parser.streamList = {{},
                         stream(0x40, 0x100, 2, 2),
                         stream(0x41, 0x100, 0x81, 1),
                         stream(0x42, 0x100, 0x80, 1),
                         stream(0x43, 0x200, 0, 2)};
    const struct
    {
        const char* fault;
        std::uint32_t index;
        std::uint8_t type;
        int pid;
        int foundType;
    } cases[] = {
        {"another program's stream is found", 0, 2, -1, 0},
        {"0x80 finds only itself, or is reported instead of the type", 0, 0x80, 0x41, 0x81},
        {"the index is ignored", 1, 0x80, 0x42, 0x80},
        {"0x81 stands for every private type", 1, 0x81, -1, 0},
        {"type 0 is looked for in the selected program only", 1, 0, 0x43, 0},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.fault);
        std::uint16_t pid = 0;
        std::uint8_t type = 0;
        ASSERT_EQ(parser.findStreamByType(test.index, test.type, pid, type), test.pid >= 0);
        if (test.pid < 0)
            continue;
        EXPECT_EQ(std::pair(int{pid}, int{type}), std::pair(test.pid, test.foundType));
    }
}

TEST(Tables, Removal)
{
    CPSIParser parser;
    const Entries own{stream(0x41, 0x100, 2, 1), stream(0x42, 0x100, 3, 1)};
    const PsiEntry other = stream(0x41, 0x100, 2, 2);
    parser.streamList = {own[0], other, stream(0x41, 0x100, 3, 1), own[1], other, stream(0x42, 0x100, 4, 1), own[0]};
    EXPECT_TRUE(parser.removeDuplicateStreams(0x100, 1));
    EXPECT_EQ(parser.streamList, (Entries{own[0], other, own[1], other})) << "first occurrences, of this program only";

    parser.programList = {program(0x100, 1), program(0x100, 2)};
    EXPECT_FALSE(parser.removeProgram(0, 0x100, 2)) << "the position has to hold that very program";
    EXPECT_FALSE(parser.removeProgram(2, 0x100, 2));
    EXPECT_TRUE(parser.removeProgram(1, 0x100, 2));
    EXPECT_EQ(parser.programList, Entries{program(0x100, 1)});
}

}  // namespace
}  // namespace test
}  // namespace zarnow
