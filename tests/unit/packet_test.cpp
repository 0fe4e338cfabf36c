// Transport packets, time stamps and sync words in a block of memory.

#include <gtest/gtest.h>

#include <optional>

#include "analysis/psi_parser.h"
#include "tests/support/transport_stream.h"

namespace zarnow::test {
namespace {

/// A block of zeros with sync bytes here and there.
Data syncBytesAt(std::size_t size, std::initializer_list<std::size_t> offsets)
{
    Data block(size);
    for (const std::size_t offset : offsets)
        block.at(offset) = 0x47;
    return block;
}

TEST(DetectPacketSize, Cases)
{
    const struct
    {
        const char* fault;
        Data block;
        std::optional<std::uint32_t> expected;
    } cases[] = {
        {"2000 bytes are taken for enough", firstBytes(nullPackets(11), 2000), std::nullopt},
        {"2001 bytes are taken for too few", firstBytes(nullPackets(11), 2001), 188},
        {"4 bytes before each packet are not seen", timed(nullPackets(11)), 192},
        {"192 is tried first", syncBytesAt(2001, {7, 7 + 188, 7 + 376, 7 + 192, 7 + 384}), 188},
        {"a stray sync byte skips 185 bytes", syncBytesAt(2001, {0, 184, 184 + 188, 184 + 376}), 188},
        {"a stray sync byte skips less than 184 bytes", syncBytesAt(2001, {1, 184, 184 + 188, 184 + 376}),
         std::nullopt},
        {"the last candidate is left out", syncBytesAt(2001, {1600, 1788, 1976}), 188},
        {"a candidate within the last 400 bytes is taken", syncBytesAt(2001, {1601, 1789, 1977}), std::nullopt},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.fault);
        const ExactBuffer block(test.block);
        std::uint32_t size = 0;
        EXPECT_EQ(CPSIParser::detectPacketSize(block.data(), block.length(), size), test.expected.has_value());
        EXPECT_EQ(size, test.expected.value_or(188));
    }
}

TEST(SyncSearches, Cases)
{
    using Find = bool (*)(const std::uint8_t* buffer, std::int32_t length, std::uint32_t& offset);
    constexpr Find kPackets = [](const std::uint8_t* buffer, std::int32_t length, std::uint32_t& offset) {
        return CPSIParser().findSync(buffer, length, offset);
    };
    constexpr Find kAc3 = CPSIParser::findAc3Sync, kMpeg = CPSIParser::findMpegAudioSync;
    const struct
    {
        const char* fault;
        Find find;
        Data block;
        std::optional<std::uint32_t> expected;
    } cases[] = {
        {"five packets are taken for enough", kPackets, nullPackets(5), std::nullopt},
        {"one byte more is taken for too little", kPackets, join({nullPackets(5), {0}}), 0},
        {"a stray sync byte skips 186 bytes", kPackets, syncBytesAt(1000, {0, 185, 373, 561}), 185},
        {"a stray sync byte skips less than 185 bytes", kPackets, syncBytesAt(1000, {1, 185, 373, 561}), std::nullopt},
        {"two sync bytes in a row are taken for confirmed", kPackets, syncBytesAt(1000, {100, 288}), std::nullopt},
        {"the third sync byte is looked for behind the block", kPackets, syncBytesAt(1000, {624, 812, 999}),
         std::nullopt},
        {"half a sync word at the end matches", kAc3, {1, 2, 0x0B}, std::nullopt},
        {"a sync word at the end is left out", kAc3, {1, 0x0B, 0x77}, 1},
        {"the swapped sync word is not known", kAc3, {1, 0x77, 0x0B, 0x77}, 1},
        {"11 bits of sync are enough", kMpeg, {0xFF, 0xEF, 0xFF, 0xF0}, 2},
        {"half an audio sync at the end matches", kMpeg, {1, 0xFF}, std::nullopt},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.fault);
        const ExactBuffer block(test.block);
        std::uint32_t offset = 4711;
        EXPECT_EQ(test.find(block.data(), block.length(), offset), test.expected.has_value());
        EXPECT_EQ(offset, test.expected.value_or(4711));
    }
}

constexpr std::uint16_t kPid = 0x1234;
constexpr std::uint16_t kKey = 0x3412;
constexpr std::uint16_t kUnitStartKey = 0x3452;

struct WalkCase
{
    const char* fault;
    Data block;
    std::uint16_t key;
    std::optional<std::ptrdiff_t> expected;
};

template <class Find>
void expectWalks(std::span<const WalkCase> cases, Find find)
{
    for (const WalkCase& test : cases) {
        SCOPED_TRACE(test.fault);
        const ExactBuffer block(test.block);
        const std::uint8_t* found = nullptr;
        CPSIParser parser;
        EXPECT_EQ((parser.*find)(block.data(), block.length(), test.key, found), test.expected.has_value());
        EXPECT_EQ(found, test.expected ? block.data() + *test.expected : nullptr);
    }
}

TEST(FindNextPacket, Cases)
{
    const Data null = nullPackets(1);
    const Data start = packet({.pid = kPid});
    const Data onward = packet({.pid = kPid, .unitStart = false});
    const WalkCase cases[] = {
        {"the packet at the block's end is taken", join({null, start}), kKey, std::nullopt},
        {"a packet with one byte behind it is left out", join({null, start, {0}}), kKey, 188},
        {"a unit start is asked for and not insisted on", join({onward, start, null}), kUnitStartKey, 188},
        {"a packet that starts no unit is passed over unasked", join({onward, start, null}), kKey, 0},
        {"an error-flagged packet matches",
         join({packet({.pid = kPid, .error = true}), packet({.pid = kPid, .priority = true}), null}), kKey, 188},
        {"the walk resynchronises", join({null, {0}, repeat(start, 8)}), kKey, std::nullopt},
        {"a stray sync byte begins the walk", join({{0, 0x47}, repeat(start, 6)}), kKey, 190},
        {"the walk begins at the block's start", join({{0, 0, 0}, repeat(start, 6)}), kKey, 3},
        {"six packets are needed where the first byte is a sync byte", join({start, {0}}), kKey, 0},
        {"an empty block is read", {}, kKey, std::nullopt},
    };
    expectWalks(cases, &CPSIParser::findNextPacket);
}

TEST(FindNextPacket, KeepsTheHeaderWordOfTheLastErrorFreePacket)
{
    CPSIParser parser;
    const Data block = join({packet({.pid = kPid, .priority = true}), packet({.pid = 0x0055, .error = true}), {0}});
    const std::uint8_t* found = nullptr;
    EXPECT_FALSE(parser.findNextPacket(block.data(), static_cast<std::int32_t>(block.size()), 0, found));
    EXPECT_EQ(parser.lastHeaderWord, kUnitStartKey);
    EXPECT_FALSE(parser.findLastPacket(block.data(), static_cast<std::int32_t>(block.size()), 0, found));
    EXPECT_EQ(parser.lastHeaderWord, kUnitStartKey) << "the backward walk has no business with it";
}

TEST(FindLastPacket, Cases)
{
    const Data null = nullPackets(1);
    const Data start = packet({.pid = kPid});
    const Data onward = packet({.pid = kPid, .unitStart = false});
    const Data nulls = nullPackets(8);
    const WalkCase cases[] = {
        {"the packet at offset 0 is taken", join({start, null, null}), kKey, std::nullopt},
        {"the packet at the block's end is left out", join({null, start, start}), kKey, 376},
        {"a unit start is asked for and not insisted on", join({null, start, onward}), kUnitStartKey, 188},
        {"an error-flagged packet matches", join({null, start, packet({.pid = kPid, .error = true})}), kKey, 188},
        {"the walk goes on over a lost sync byte", join({null, start, {0}, null, null}), kKey, std::nullopt},
        {"six packets are enough to look for a footing", join({null, repeat(start, 4), firstBytes(start, 187)}), kKey,
         std::nullopt},
        // 1980 bytes: of the last 1000, from 980 on, the packets at 1128, 1316 and 1504 confirm the sync.
        {"the walk does not begin at the third sync byte", join({nulls, start, null, filled(100)}), kKey, 1504},
        {"the walk begins behind the third sync byte", join({nulls, null, start, filled(100)}), kKey, std::nullopt},
        {"a block shorter than a packet is read", firstBytes(start, 187), kKey, std::nullopt},
    };
    expectWalks(cases, &CPSIParser::findLastPacket);
}

TEST(ParsePts, Cases)
{
    const struct
    {
        const char* fault;
        Data field;
        std::optional<std::int64_t> expected;
    } cases[] = {
        {"a stamp's bits are put in the wrong places", stampField(0x0ABCDEF12), 0x0ABCDEF12},
        {"bit 32 is added instead of sign-extended", stampField(0x1ABCDEF12), 0x1ABCDEF12 - 0x200000000},
        {"the prefix of a stamp with DTS is refused", stampField(90000, 3), 90000},
        {"the prefix of a DTS is refused", stampField(90000, 1), 90000},
        {"any prefix is accepted", stampField(90000, 4), std::nullopt},
        {"prefix 0 is accepted", stampField(90000, 0), std::nullopt},
        {"the first marker bit is insisted on", withByte(stampField(0), 0, 0x20), 0},
        {"the middle marker bit is not looked at", withByte(stampField(0), 2, 0x00), std::nullopt},
        {"the last marker bit is not looked at", withByte(stampField(0), 4, 0x00), std::nullopt},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.fault);
        const ExactBuffer field(test.field);
        std::int64_t ticks = 4711;
        EXPECT_EQ(CPSIParser::parsePts(field.data(), ticks), test.expected.has_value());
        EXPECT_EQ(ticks, test.expected.value_or(4711));
    }
}

TEST(FindPesPts, Cases)
{
    const Data whole = pes(0xE0, {}, 90000);
    const struct
    {
        const char* fault;
        Data buffer;
        std::int64_t expected;
    } cases[] = {
        {"a header with its stamp at the buffer's end is refused", join({filled(5), whole}), 90000},
        {"a stamp cut off by the buffer's end is read", firstBytes(whole, 13), 0},
        {"a start code at the buffer's end is read on", join({filled(9, 1), {0, 0, 1, 0xE0}}), 0},
        {"another stream's stamp is taken", pes(0xC0, {}, 90000), 0},
        {"a later header is asked when the first has no stamp", join({pes(0xE0, {}), whole}), 0},
        {"the flag is not looked at", withByte(whole, 7, 0x40), 0},
        {"the buffer is too short for a start code", {0, 0, 1}, 0},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.fault);
        const ExactBuffer buffer(test.buffer);
        EXPECT_EQ(CPSIParser::findPesPts(buffer.data(), 0xE0, buffer.length()), test.expected);
    }
}

}  // namespace
}  // namespace zarnow::test
