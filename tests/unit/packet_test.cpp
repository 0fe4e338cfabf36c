// Transport packets, time stamps and sync words in a block of memory.

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

#include "analysis/block_packets.h"
#include "tests/support/dice.h"
#include "tests/support/transport_stream.h"

namespace zarnow::test {
namespace {

constexpr std::uint16_t kPid = 0x1234;
constexpr std::uint16_t kKey = 0x3412;
constexpr std::uint16_t kUnitStartKey = 0x3452;

/// A packet size, an offset, or a time stamp; nothing where the search fails.
using Found = std::optional<std::int64_t>;
using Search = Found (*)(const ExactBuffer& block);

template <auto kFind>
Found valueOf(const ExactBuffer& block)
{
    std::uint32_t value = 0;
    return kFind(block.data(), block.length(), value) ? Found(value) : Found();
}

template <auto kFind, std::uint16_t kHeaderKey>
Found packetOf(const ExactBuffer& block)
{
    CPSIParser parser;
    const std::uint8_t* packet = nullptr;
    const bool found = (parser.*kFind)(block.data(), block.length(), kHeaderKey, packet);
    return found ? Found(packet - block.data()) : Found();
}

Found stamp(const ExactBuffer& field)
{
    std::int64_t ticks = 0;
    return CPSIParser::parsePts(field.data(), ticks) ? Found(ticks) : Found();
}

Found pesStamp(const ExactBuffer& block)
{
    return CPSIParser::findPesPts(block.data(), 0xE0, block.length());
}

/// A block of zeros with sync bytes here and there.
Data syncBytesAt(std::size_t size, std::initializer_list<std::size_t> offsets)
{
    Data block(size);
    for (const std::size_t offset : offsets)
        block.at(offset) = 0x47;
    return block;
}

TEST(Packets, SearchesOfABlock)
{
    constexpr auto kFindSync = [](const std::uint8_t* buffer, std::int32_t length, std::uint32_t& offset) {
        return CPSIParser().findSync(buffer, length, offset);
    };
    constexpr Search kSize = valueOf<CPSIParser::detectPacketSize>, kSync = valueOf<kFindSync>;
    constexpr Search kAc3 = valueOf<CPSIParser::findAc3Sync>, kMpeg = valueOf<CPSIParser::findMpegAudioSync>;
    constexpr Search kNext = packetOf<&CPSIParser::findNextPacket, kKey>;
    constexpr Search kNextStart = packetOf<&CPSIParser::findNextPacket, kUnitStartKey>;
    constexpr Search kLast = packetOf<&CPSIParser::findLastPacket, kKey>;
    const Data null = nullPackets(1), nulls = nullPackets(8);
    const Data start = packet({.pid = kPid}), onward = packet({.pid = kPid, .unitStart = false});
    const Data inError = packet({.pid = kPid, .error = true}), priority = packet({.pid = kPid, .priority = true});
    const Data withStamp = pes(0xE0, {}, 90000);
    const struct
    {
        const char* fault;
        Search search;
        Data block;
        Found expected;
    } cases[] = {
        {"2000 bytes are taken for enough", kSize, firstBytes(nullPackets(11), 2000), {}},
        {"2001 bytes are taken for too few", kSize, firstBytes(nullPackets(11), 2001), 188},
        {"4 bytes before each packet are not seen", kSize, timed(nullPackets(11)), 192},
        {"192 is tried first", kSize, syncBytesAt(2001, {7, 195, 383, 199, 391}), 188},
        {"a stray sync byte skips 185 bytes", kSize, syncBytesAt(2001, {0, 184, 372, 560}), 188},
        {"a stray sync byte skips less than 184 bytes", kSize, syncBytesAt(2001, {1, 184, 372, 560}), {}},
        {"the last candidate is left out", kSize, syncBytesAt(2001, {1600, 1788, 1976}), 188},
        {"a candidate in the last 400 bytes is taken", kSize, syncBytesAt(2001, {1601, 1789, 1977}), {}},

        {"five packets are taken for enough", kSync, nullPackets(5), {}},
        {"a stray sync byte skips 186 bytes", kSync, syncBytesAt(1000, {0, 185, 373, 561}), 185},
        {"two sync bytes in a row are taken for confirmed", kSync, syncBytesAt(1000, {100, 288}), {}},
        {"the swapped sync word is not known", kAc3, {1, 0x77, 0x0B}, 1},
        {"11 bits of sync are enough", kMpeg, {0xFF, 0xEF, 0xFF, 0xF0}, 2},

        {"the packet at the block's end is taken", kNext, join({null, start}), {}},
        {"a packet with one byte behind it is left out", kNext, join({null, start, {0}}), 188},
        {"a unit start is asked for and not insisted on", kNextStart, join({onward, start, null}), 188},
        {"a packet that starts no unit is passed over unasked", kNext, join({onward, start, null}), 0},
        {"an error-flagged packet matches", kNext, join({inError, priority, null}), 188},
        {"the walk resynchronises", kNext, join({null, {0}, repeat(start, 8)}), {}},

        {"the packet at offset 0 is taken", kLast, join({start, null, null}), {}},
        {"the packet at the block's end is left out", kLast, join({null, start, start}), 376},
        {"backward an error-flagged packet matches", kLast, join({null, start, inError}), 188},
        {"the walk goes on over a lost sync byte", kLast, join({null, start, {0}, null, null}), {}},
        {"six packets are enough for a footing", kLast, join({null, repeat(start, 4), firstBytes(start, 187)}), {}},
        // 1980 bytes: of the last 1000, from 980 on, the packets at 1128, 1316 and 1504 confirm the sync.
        {"the walk does not begin at the third sync byte", kLast, join({nulls, start, null, filled(100)}), 1504},
        {"the walk begins behind the third sync byte", kLast, join({nulls, null, start, filled(100)}), {}},

        {"a stamp's bits are put in the wrong places", stamp, stampField(0x0ABCDEF12), 0x0ABCDEF12},
        {"bit 32 is not sign-extended", stamp, stampField(0x1ABCDEF12), 0x1ABCDEF12 - 0x200000000},
        {"the prefix of a stamp with DTS is refused", stamp, stampField(90000, 3), 90000},
        {"the prefix of a DTS is refused", stamp, stampField(90000, 1), 90000},
        {"the first marker bit is insisted on", stamp, withByte(stampField(0), 0, 0x20), 0},
        {"the middle marker bit is not looked at", stamp, withByte(stampField(0), 2, 0x00), {}},

        {"a stamp at the buffer's end is refused", pesStamp, join({filled(5), withStamp}), 90000},
        {"a stamp cut off by the buffer's end is read", pesStamp, firstBytes(withStamp, 13), 0},
        {"another stream's stamp is taken", pesStamp, pes(0xC0, {}, 90000), 0},
        {"a later header is asked", pesStamp, join({pes(0xE0, {}), withStamp}), 0},
        {"the flag is not looked at", pesStamp, withByte(withStamp, 7, 0x40), 0},
    };
    for (const auto& test : cases)
        EXPECT_EQ(test.search(ExactBuffer(test.block)), test.expected) << test.fault;
}

// With keys of any 16 bits, as PIDs given by a client make them, and all that bytes 1 and 2 of a packet may be.
TEST(Packets, TheNotesOfABlockTellWhatAWalkMeets)
{
    const Data bytes = {0x00, 0x01, 0x20, 0x40, 0x41, 0x80, 0xC0, 0xFF};
    Dice dice(1);
    const CPSIParser parser;
    CBlockPackets notes;
    std::vector<std::uint16_t> keys;
    for (int round = 0; round < 10'000 && !HasFailure(); ++round) {
        if (dice.oneIn(4)) {
            notes.forgetWanted();
            keys.clear();
        }
        keys.push_back(static_cast<std::uint16_t>(dice.of(bytes) << 8 | dice.of(bytes)));
        notes.want(keys.back());
        Data block = nullPackets(1 + dice.below(30));
        for (std::size_t at = 0; at < block.size(); at += kPacket) {
            block[at] = dice.oneIn(60) ? 0x46 : 0x47;
            block[at + 1] = dice.of(bytes);
            block[at + 2] = dice.of(bytes);
        }
        notes.note(parser, block);
        std::vector<const std::uint8_t*> met;
        CPacketWalk walk(parser, block);
        while (const std::uint8_t* packet = walk.next()) {
            const auto matches = [packet](std::uint16_t key) { return matchesKey(maskedHeaderWord(packet), key); };
            if (std::ranges::any_of(keys, matches))
                met.push_back(packet);
        }
        EXPECT_TRUE(std::ranges::equal(notes.noted(), met)) << "round " << round;
        const std::uint8_t* first = nullptr;
        CPSIParser search;
        EXPECT_EQ(notes.match(keys[0]),
                  search.findNextPacket(block.data(), static_cast<std::int32_t>(block.size()), keys[0], first));
    }
}

}  // namespace
}  // namespace zarnow::test
