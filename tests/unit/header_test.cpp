// Bits, MPEG video and audio headers in one transport packet's payload.

#include <gtest/gtest.h>

#include <array>
#include <string>

#include "esparse/audio_header.h"
#include "esparse/bit_reader.h"
#include "esparse/mpeg_video_header.h"
#include "tests/support/transport_stream.h"
#include "tests/support/video_headers.h"

namespace zarnow::test {
namespace {

struct Reader
{
    explicit Reader(const Data& data) : buffer(data), cursor(bytesOf(buffer.data(), buffer.length())) {}

    std::uint32_t ue() { return readUE(cursor, bitsLeft, bitsUsed); }
    std::int32_t se() { return readSE(cursor, bitsLeft, bitsUsed); }
    std::ptrdiff_t consumed() const { return (cursor.position() - buffer.data()) * 8 + 8 - bitsLeft; }

    ExactBuffer buffer;
    CBitCursor cursor;
    std::int32_t bitsLeft = 8;
    std::uint32_t bitsUsed = 0;
};

TEST(BitReader, ExpGolombCodes)
{
    const struct
    {
        Data code;
        std::uint32_t ue;
        std::int32_t se;
        std::uint32_t bitsUsed;
    } cases[] = {
        {{0x80}, 0, 0, 1},
        {{0x40}, 1, 1, 3},
        {{0x60}, 2, -1, 3},
        {{0x20}, 3, 2, 5},
        {{0x28}, 4, -2, 5},
        // 31 and 32 leading zeros; the power of two wraps at 32
        {join({{0, 0, 0, 0x01}, {0xFF, 0xFF, 0xFF, 0xFE}}), 0xFFFFFFFE, -0x7FFFFFFF, 63},
        {join({{0, 0, 0, 0, 0x80}, {0, 0, 0x03, 0x80}}), 7, 4, 65},
        // 33: 2^1 + nothing, as more than 32 bits cannot be asked for, - 1
        {join({{0, 0, 0, 0, 0x40}, filled(8, 0xFF)}), 1, 1, 67},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.bitsUsed);
        Reader unsignedReader(test.code);
        EXPECT_EQ(unsignedReader.ue(), test.ue);
        EXPECT_EQ(unsignedReader.bitsUsed, test.bitsUsed);
        EXPECT_EQ(Reader(test.code).se(), test.se);
    }
    Reader zeros(filled(20));
    zeros.ue();
    EXPECT_TRUE(zeros.cursor.overrun()) << "a code without end ends with the data";
}

TEST(BitReader, ScalingLists)
{
    const auto consumed = [](const BitWriter& out, std::int32_t size) {
        Reader reader(join({out.bytes(), filled(80, 0xFF)}));
        skipScalingList(reader.cursor, reader.bitsLeft, size);
        return reader.consumed();
    };
    EXPECT_EQ(consumed(BitWriter().flag(false), 16), 1);
    EXPECT_EQ(consumed(BitWriter().bits(0xFF, 8), 16), 1 + 16) << "deltas of 0";
    EXPECT_EQ(consumed(BitWriter().bits(0xFF, 8), 64), 1 + 64);
    EXPECT_EQ(consumed(BitWriter().flag(true).se(-8), 16), 1 + 9) << "a next scale of 0 ends the reading";
    // 8 - 300 + 256 = -36, kept as 220; 220 + 36 + 256 = 512 gives 0
    EXPECT_EQ(consumed(BitWriter().flag(true).se(-300).se(36), 16), 1 + 19 + 13);
}

/// Frame rate, picture duration in 100 ns and in ticks, aspect, bit rate, VBV bytes, pels per metre.
using Figures = std::vector<double>;

TEST(SequenceHeader, Fields)
{
    const struct
    {
        const char* fault;
        SequenceHeader header;
        Figures expected;
    } cases[] = {
        {"a variable bit rate is multiplied", {.bitRate = 0x3FFFF}, {25.0, 400000, 3600, 16, 0, 229376, 55362}},
        {"23.976 is taken for 24000/1001", {.rate = 1}, {23.976, 417083, 3753, 16, 4000000, 229376, 55362}},
        {"29.97 is taken for 30000/1001", {.rate = 4}, {29.97, 333667, 3003, 16, 4000000, 229376, 55362}},
        {"code 8 is cleared to 0", {.rate = 8}, {60.0, 166666, 1500, 16, 4000000, 229376, 55362}},
        {"code 12 is not read as 4", {.rate = 12}, {29.97, 333667, 3003, 16, 4000000, 229376, 55362}},
        {"code 15 is not read as 7", {.rate = 15}, {59.94, 166833, 1501, 16, 4000000, 229376, 55362}},
        {"2.21:1 is no 4:3", {.aspect = 4}, {25.0, 400000, 3600, 4, 4000000, 229376, 59960}},
        // 2000 * 442912 / 10000 = 88582.4; 399 ... is rounded by MulDiv's rule
        {"the pel aspect is not rounded", {.aspect = 12}, {25.0, 400000, 3600, 4, 4000000, 229376, 88582}},
        {"reserved aspect 15 is refused", {.aspect = 15}, {25.0, 400000, 3600, 4, 4000000, 229376, 0}},
        {"a small buffer is not raised", {.vbvSize = 5}, {25.0, 400000, 3600, 16, 4000000, 40960, 55362}},
        {"a buffer of 20480 bytes is raised", {.vbvSize = 10}, {25.0, 400000, 3600, 16, 4000000, 20480, 55362}},
        {"a constrained buffer is not cut",
         {.vbvSize = 46, .constrained = true},
         {25.0, 400000, 3600, 16, 4000000, 40960, 55362}},
        {"a buffer that is not constrained is cut", {.vbvSize = 46}, {25.0, 400000, 3600, 16, 4000000, 94208, 55362}},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.fault);
        const ExactBuffer payload(join({pes(0xE0, {}), filled(3, 0x42), sequenceHeader(test.header)}));
        VideoProbeRecord record{.firstPts = 99, .progressive = 1};
        ASSERT_TRUE(findSequenceHeader(payload.data(), payload.length(), record));
        const auto number = [](auto value) { return static_cast<double>(value); };
        EXPECT_EQ((Figures{record.frameRate, number(record.avgTimePerFrame), number(record.frameTicks90k),
                           number(record.aspectX), number(record.bitRate), number(record.vbvBufferBytes),
                           number(record.pelsPerMeterY)}),
                  test.expected);
        EXPECT_EQ(std::pair(record.codedWidth, record.codedHeight), std::pair(720U, 576U));
        EXPECT_EQ(record.aspectY, record.aspectX == 16 ? 9U : 3U);
        EXPECT_EQ(record.pelsPerMeterX, 2000U);
        EXPECT_EQ(record.firstPts, 0U);
        EXPECT_EQ(record.progressive, 0);
    }
}

TEST(SequenceHeader, BytesKeptAndNeeded)
{
    const Data extension = sequenceExtension(4, 8, true);
    const Data userData{0, 0, 1, 0xB2, 1, 2, 3, 4, 5, 6};
    const auto header = [](bool intra, bool nonIntra) {
        return sequenceHeader({.intraMatrix = intra, .nonIntraMatrix = nonIntra});
    };
    const struct
    {
        const char* fault;
        Data bytes;
        std::uint32_t kept;  ///< 0: refused
        std::uint32_t level;
    } cases[] = {
        {"a plain header needs more than it has", header(false, false), 12, 99},
        {"a header cut by a byte is accepted", firstBytes(header(false, false), 11), 0, 99},
        {"the non-intra matrix is not kept", header(false, true), 76, 99},
        {"the intra matrix is not kept", header(true, false), 76, 99},
        {"both matrices are not kept", header(true, true), 140, 99},
        {"a header cut before the second matrix's flag is accepted", firstBytes(header(true, false), 75), 0, 99},
        {"a header cut in its second matrix is accepted", firstBytes(header(true, true), 139), 0, 99},
        {"the extension is not kept", join({header(true, true), extension}), 150, 8},
        {"user data is taken for the extension", join({header(false, false), userData}), 12, 99},
        {"a display extension is taken for a sequence extension",
         join({header(false, false), withByte(extension, 4, 0x2C)}), 12, 99},
        {"nothing behind a start code is an extension", join({header(true, false), firstBytes(extension, 4)}), 76, 99},
        {"one cut in its second byte is passed over", join({header(true, false), firstBytes(extension, 5)}), 0, 99},
        {"an extension cut in its last byte is accepted", join({header(true, false), firstBytes(extension, 9)}), 0, 8},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.fault);
        const ExactBuffer payload(test.bytes);
        VideoProbeRecord record{.profile = 99, .level = 99};
        ASSERT_EQ(findSequenceHeader(payload.data(), payload.length(), record), test.kept != 0);
        EXPECT_EQ(record.level, test.level) << "without an extension what an earlier stream left stays";
        if (test.kept == 0)
            continue;
        EXPECT_EQ(record.sequenceHeaderLength, test.kept);
        EXPECT_TRUE(std::equal(test.bytes.begin(), test.bytes.begin() + test.kept, record.sequenceHeader.begin()));
        EXPECT_EQ(record.progressive, test.level == 8 ? 1 : 0);
    }
}

TEST(SequenceHeader, WhatRefusalLeavesBehind)
{
    const struct
    {
        const char* fault;
        Data bytes;
        std::uint32_t width;
        std::uint32_t aspect;
    } cases[] = {
        {"a missing marker bit is accepted, or fields are written before it", sequenceHeader({.marker = false}), 0, 0},
        {"aspect ratio 0 is accepted, or size and aspect are not written", sequenceHeader({.aspect = 0}), 720, 4},
        {"frame rate 0 is accepted, or size and aspect are not written", sequenceHeader({.rate = 0}), 720, 16},
        {"a second header is looked for behind a refused one",
         join({sequenceHeader({.width = 352, .aspect = 0}), sequenceHeader()}), 352, 4},
        {"a start code at the payload's end is read on", {0, 0, 1, 0xB3}, 0, 0},
        {"three bytes of a start code are read on", {9, 0, 0, 1}, 0, 0},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.fault);
        const ExactBuffer payload(test.bytes);
        VideoProbeRecord record;
        EXPECT_FALSE(findSequenceHeader(payload.data(), payload.length(), record));
        EXPECT_EQ(record.codedWidth, test.width);
        EXPECT_EQ(record.aspectX, test.aspect);
        EXPECT_EQ(record.frameRate, 0.0);
    }
}

/// Sample rate, channels, bytes per second, bits and layer; nothing of a header that is refused.
using Audio = std::vector<unsigned>;

TEST(AudioHeader, Fields)
{
    const Data ac3{0x0B, 0x77, 1, 2, 0x1C, 5, 0xE0};
    const auto bd = [](const Data& data) { return pes(0xBD, data); };
    const auto c0 = [](const Data& data) { return pes(0xC0, data); };
    const auto lpcm = [](std::uint8_t rate, std::uint8_t bits) { return pes(0xFD, {0, 0, rate, bits}); };
    constexpr bool kLpcm = true;
    const struct
    {
        const char* fault;
        std::uint8_t type;
        Data payload;
        Audio expected;
        bool lpcmMode = false;
    } cases[] = {
        {"AC-3: 384 kbit/s or 5 channels are not seen", 6, bd(ac3), {48000, 5, 48000, 16, 0}},
        {"AC-3: the stream_id of VC-1 and DTS streams is refused", 0x81, pes(0xFD, ac3), {48000, 5, 48000, 16, 0}},
        {"AC-3: a reserved frmsizecod is refused", 6, bd(withByte(ac3, 4, 40)), {48000, 5, 0, 16, 0}},
        {"AC-3: codes 36 and 37 are not 640 kbit/s", 6, bd(withByte(ac3, 4, 37)), {48000, 5, 80000, 16, 0}},
        {"AC-3: fscod 3 is refused", 6, bd(withByte(ac3, 4, 0xC0)), {0, 5, 4000, 16, 0}},
        {"AC-3: acmod 0 is not dual mono", 6, bd(withByte(ac3, 6, 0)), {48000, 2, 48000, 16, 0}},
        {"AC-3: fields are swapped behind a swapped sync word",
         6,
         bd({0x77, 0x0B, 1, 2, 0x41, 5, 0x20}),
         {44100, 1, 4000, 16, 0}},
        {"AC-3: the sync word has to come first", 6, bd(join({filled(4), ac3})), {48000, 5, 48000, 16, 0}},
        {"AC-3: 6 bytes from the sync word are enough", 6, bd(firstBytes(ac3, 6)), {}},
        {"AC-3: a payload without PES header is refused", 6, join({ac3, filled(4)}), {48000, 5, 48000, 16, 0}},
        {"AC-3: the search without PES header reaches the last 9 bytes", 6, join({filled(6), ac3}), {}},
        {"AC-3: the search without PES header ends 10 bytes early",
         6,
         join({filled(2), ac3, filled(4)}),
         {48000, 5, 48000, 16, 0}},
        {"AC-3: a PES header that leaves two bytes is accepted", 6, withByte(bd(join({ac3, filled(3)})), 8, 8), {}},
        {"AC-3: an audio stream_id counts as a PES header", 6, join({c0({}), ac3}), {}},
        {"MPEG: mono is read from the mode bits", 3, c0({0xFF, 0xFD, 0x84, 0x04, 0xC0}), {48000, 1, 16000, 16, 2}},
        {"MPEG: the mode bits are looked at", 4, c0({0xFF, 0xFD, 0x84, 0xC4, 0x80}), {48000, 2, 16000, 16, 2}},
        {"MPEG: layer III has a bit rate", 3, c0({0xFF, 0xFB, 0x80, 0x04, 0}), {44100, 2, 0, 16, 3}},
        {"MPEG: the half rates are not doubled", 4, c0({0xFF, 0xF5, 0x84, 0x04, 0}), {48000, 2, 16000, 16, 2}},
        {"MPEG: reserved layer and rate are refused", 3, c0({0xFF, 0xF9, 0x8C, 0, 0}), {0, 2, 0, 16, 0}},
        {"MPEG: stream_id 0xDF is refused", 3, pes(0xDF, {0xFF, 0xFD, 0x84, 0, 0}), {48000, 2, 16000, 16, 2}},
        {"MPEG: stream_id 0xE0 is accepted", 3, pes(0xE0, {0xFF, 0xFD, 0x84, 0, 0}), {}},
        {"MPEG: 4 bytes from the sync word are enough", 3, c0({0xFF, 0xFD, 0x84, 0}), {}},
        {"MPEG: the next packet is asked for the fifth byte", 3, c0({0, 0xFF}), {}},
        {"ADTS: rate or bit rate are set", 0x0F, c0({0xFF, 0xF1, 0x4C, 0x80, 0x40}), {0, 2, 0, 16, 0}},
        {"ADTS: the fifth byte's top bits do not mean mono",
         0x0F,
         c0({0xFF, 0xF1, 0x4C, 0x80, 0xC0}),
         {0, 1, 0, 16, 0}},
        {"LATM is parsed", 0x11, c0({0xFF, 0xF1, 0x4C, 0x80, 0x40}), {}},
        {"LPCM: 16 bits, 2 channels", 0x80, lpcm(0x31, 0x40), {48000, 2, 192000, 16, 0}, kLpcm},
        {"LPCM: 20 bits take 2 bytes", 0xFF, lpcm(0xB5, 0x80), {192000, 8, 4608000, 20, 0}, kLpcm},
        {"LPCM: sample rate code 2 is accepted", 0x80, lpcm(0x32, 0x40), {}, kLpcm},
        {"LPCM: 0 channels are accepted", 0x80, lpcm(0xC1, 0x40), {}, kLpcm},
        {"LPCM: 3 of its 4 header bytes are enough", 0x80, pes(0xBD, {0, 0, 0x31}), {}, kLpcm},
        {"LPCM: tried for stream type 6", 6, lpcm(0x31, 0x40), {}, kLpcm},
        {"LPCM: tried without lpcmMode", 0x80, lpcm(0x31, 0x40), {}},
        {"MPEG-2 video is parsed as audio", 2, c0({0xFF, 0xFD, 0x84, 0x04, 0xC0}), {}},
        {"0x7F counts as private", 0x7F, bd(ac3), {}},
        {"an empty payload is read", 6, {}, {}},
        {"a payload of 8 bytes is read on", 3, firstBytes(c0({}), 8), {}},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.fault);
        const ExactBuffer payload(test.payload);
        AudioProbeRecord record;
        const bool parsed = parseAudioHeader(payload.data(), payload.length(), test.type, record, test.lpcmMode);
        EXPECT_EQ(record.streamType, test.type);
        const Audio found{record.sampleRate, record.channels, record.avgBytesPerSec, record.bitsPerSample,
                          record.layer};
        EXPECT_EQ(parsed ? found : Audio{}, test.expected);
        if (!parsed)
            continue;
        EXPECT_EQ(record.isLpcm, test.lpcmMode ? 1 : 0);
        const bool fromMpegHeader = test.type == 3 || test.type == 4 || test.type == 0x0F;
        EXPECT_EQ(record.streamId, fromMpegHeader ? test.payload[3] : 0);
    }
}

/// The standards' tables, code by code (A/52, tables 5.6, 5.8 and 5.18; ISO/IEC 11172-3, 2.4.2.3).
TEST(AudioHeader, EveryCode)
{
    const auto parse = [](std::uint8_t type, const Data& data) {
        AudioProbeRecord record;
        EXPECT_TRUE(parseAudioHeader(data.data(), static_cast<std::int32_t>(data.size()), type, record, false));
        return record;
    };
    constexpr std::array<unsigned, 19> kAc3Rates{32,  40,  48,  56,  64,  80,  96,  112, 128, 160,
                                                 192, 224, 256, 320, 384, 448, 512, 576, 640};
    for (std::uint8_t code = 0; code < 38; ++code)
        EXPECT_EQ(parse(6, pes(0xBD, {0x0B, 0x77, 0, 0, code, 0, 0})).avgBytesPerSec, kAc3Rates[code / 2U] * 125);
    std::string channels;
    for (unsigned mode = 0; mode < 8; ++mode)
        channels += std::to_string(
            parse(6, pes(0xBD, {0x0B, 0x77, 0, 0, 0, 0, static_cast<std::uint8_t>(mode << 5)})).channels);
    EXPECT_EQ(channels, "21233445");
    constexpr std::array<unsigned, 16> kLayer2Rates{0,   32,  48,  56,  64,  80,  96,  112,
                                                    128, 160, 192, 224, 256, 320, 384, 0};
    for (unsigned code = 0; code < 16; ++code)
        EXPECT_EQ(parse(3, pes(0xC0, {0xFF, 0xFD, static_cast<std::uint8_t>(code << 4), 0, 0})).avgBytesPerSec,
                  kLayer2Rates[code] * 125);
}

}  // namespace
}  // namespace zarnow::test
