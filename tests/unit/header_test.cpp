// Bits, MPEG video and audio headers in one transport packet's payload.

#include <gtest/gtest.h>

#include <array>
#include <sstream>

#include "esparse/audio_header.h"
#include "esparse/bit_reader.h"
#include "esparse/mpeg_video_header.h"
#include "tests/support/transport_stream.h"
#include "tests/support/video_headers.h"

namespace zarnow::test {
namespace {

constexpr const char* kRefused = "refused";

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
        {{0, 0, 0, 0x01, 0xFF, 0xFF, 0xFF, 0xFE}, 0xFFFFFFFE, -0x7FFFFFFF, 63},
        {{0, 0, 0, 0, 0x80, 0, 0, 0x03, 0x80}, 7, 4, 65},
        // 33: 2^1 + nothing, as more than 32 bits cannot be asked for, - 1
        {join({{0, 0, 0, 0, 0x40}, filled(8, 0xFF)}), 1, 1, 67},
    };
    for (const auto& test : cases) {
        const ExactBuffer code(test.code);
        CBitCursor forUe(bytesOf(code.data(), code.length())), forSe = forUe;
        std::int32_t left = 8, leftForSe = 8;
        std::uint32_t bitsUsed = 0;
        EXPECT_EQ(readUE(forUe, left, bitsUsed), test.ue);
        EXPECT_EQ(bitsUsed, test.bitsUsed);
        EXPECT_EQ(readSE(forSe, leftForSe, bitsUsed), test.se);
    }
}

std::string factsOfSequence(const Data& bytes)
{
    const ExactBuffer payload(bytes);
    VideoProbeRecord record{.level = 99, .firstPts = 99, .progressive = 1};
    if (!findSequenceHeader(payload.data(), payload.length(), record))
        return kRefused;
    EXPECT_TRUE(std::search(bytes.begin(), bytes.end(), record.sequenceHeader.begin(),
                            record.sequenceHeader.begin() + record.sequenceHeaderLength) != bytes.end());
    EXPECT_EQ(record.firstPts, 0U);
    std::ostringstream text;
    text << "rate " << record.frameRate << " " << record.avgTimePerFrame << " " << record.frameTicks90k << " aspect "
         << record.aspectX << ":" << record.aspectY << " pels " << record.pelsPerMeterX << "/" << record.pelsPerMeterY
         << " bits " << record.bitRate << " buffer " << record.vbvBufferBytes << " size " << record.codedWidth << "x"
         << record.codedHeight << " kept " << record.sequenceHeaderLength << " level " << record.level
         << (record.progressive != 0 ? " frames" : " fields");
    return text.str();
}

TEST(SequenceHeader, Fields)
{
    const Data extension = sequenceExtension(4, 8, true);
    const Data plain = sequenceHeader(), intra = sequenceHeader({.intraMatrix = true});
    const Data both = sequenceHeader({.intraMatrix = true, .nonIntraMatrix = true});
    const struct
    {
        const char* fault;
        Data bytes;
        const char* expected;
    } cases[] = {
        {"it has to come first", join({pes(0xE0, {}), plain}), "rate 25 400000 3600 aspect 16:9 pels 2000/55362"},
        {"size, bit rate and buffer are misread", plain, "bits 4000000 buffer 229376 size 720x576"},
        {"a variable bit rate is multiplied", sequenceHeader({.bitRate = 0x3FFFF}), "bits 0"},
        {"23.976 is taken for 24000/1001", sequenceHeader({.rate = 1}), "rate 23.976 417083 3753"},
        {"29.97 is taken for 30000/1001", sequenceHeader({.rate = 4}), "rate 29.97 333667 3003"},
        {"code 8 is cleared to 0", sequenceHeader({.rate = 8}), "rate 60 166666 1500"},
        {"code 15 is not read as 7", sequenceHeader({.rate = 15}), "rate 59.94 166833 1501"},
        {"2.21:1 is no 4:3", sequenceHeader({.aspect = 4}), "aspect 4:3 pels 2000/59960"},
        // 2000 * 442912 / 10000 = 88582.4; 399 ... is rounded by MulDiv's rule
        {"the pel aspect is not rounded", sequenceHeader({.aspect = 12}), "aspect 4:3 pels 2000/88582"},
        {"reserved aspect 15 is refused", sequenceHeader({.aspect = 15}), "aspect 4:3 pels 2000/0"},
        {"a small buffer is not raised", sequenceHeader({.vbvSize = 5}), "buffer 40960"},
        {"a buffer of 20480 bytes is raised", sequenceHeader({.vbvSize = 10}), "buffer 20480"},
        {"a constrained buffer is not cut", sequenceHeader({.vbvSize = 46, .constrained = true}), "buffer 40960"},
        {"a buffer that is not constrained is cut", sequenceHeader({.vbvSize = 46}), "buffer 94208"},

        {"what an earlier stream left does not stay", plain, "kept 12 level 99 fields"},
        {"the non-intra matrix is not kept", sequenceHeader({.nonIntraMatrix = true}), "kept 76 level 99"},
        {"the intra matrix is not kept", intra, "kept 76 level 99"},
        {"the extension is not kept", join({both, extension}), "kept 150 level 8 frames"},
        {"user data is taken for the extension", join({plain, {0, 0, 1, 0xB2}, filled(6, 0x1F)}), "kept 12 level 99"},
        {"a display extension is taken for it", join({plain, withByte(extension, 4, 0x2C)}), "kept 12 level 99"},
        {"one cut in its last byte is accepted", join({intra, firstBytes(extension, 9)}), kRefused},
        {"a header cut by a byte is accepted", firstBytes(plain, 11), kRefused},
        {"a missing marker bit is accepted", sequenceHeader({.marker = false}), kRefused},
        {"frame rate 0 is accepted", sequenceHeader({.rate = 0}), kRefused},
        {"a second header is looked for", join({sequenceHeader({.aspect = 0}), plain}), kRefused},
    };
    for (const auto& test : cases) {
        const std::string whole = ' ' + std::string(test.expected) + ' ';  // no figure's first digits alone
        EXPECT_PRED_FORMAT2(testing::IsSubstring, whole, ' ' + factsOfSequence(test.bytes) + ' ') << test.fault;
    }
}

/// Sample rate, channels, bytes per second, bits and layer; nothing of a header that is refused.
using Audio = std::vector<unsigned>;

Audio parseAudio(std::uint8_t type, const Data& data, bool lpcmMode = false)
{
    const ExactBuffer payload(data);
    AudioProbeRecord record;
    const bool parsed = parseAudioHeader(payload.data(), payload.length(), type, record, lpcmMode);
    EXPECT_EQ(record.streamType, type);
    if (!parsed)
        return {};
    EXPECT_EQ(record.isLpcm != 0, lpcmMode);
    return {record.sampleRate, record.channels, record.avgBytesPerSec, record.bitsPerSample, record.layer};
}

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
        {"AC-3: fscod 3 is refused", 6, bd(withByte(ac3, 4, 0xC0)), {0, 5, 4000, 16, 0}},
        // The bytes of the fields are not swapped.
        {"AC-3: a swapped sync word is none", 6, bd({0x77, 0x0B, 1, 2, 0x41, 5, 0x20}), {44100, 1, 4000, 16, 0}},
        {"AC-3: the sync word has to come first", 6, bd(join({filled(4), ac3})), {48000, 5, 48000, 16, 0}},
        {"AC-3: 6 bytes from the sync word are enough", 6, bd(firstBytes(ac3, 6)), {}},
        {"AC-3: without PES header 10 are not", 6, join({filled(2), ac3, filled(4)}), {48000, 5, 48000, 16, 0}},
        {"MPEG: mono is read from the mode bits", 3, c0({0xFF, 0xFD, 0x84, 0x04, 0xC0}), {48000, 1, 16000, 16, 2}},
        {"MPEG: the mode bits are looked at", 4, c0({0xFF, 0xFD, 0x84, 0xC4, 0x80}), {48000, 2, 16000, 16, 2}},
        {"MPEG: layer III has a bit rate", 3, c0({0xFF, 0xFB, 0x80, 0x04, 0}), {44100, 2, 0, 16, 3}},
        {"MPEG: the half rates are not doubled", 4, c0({0xFF, 0xF5, 0x84, 0x04, 0}), {48000, 2, 16000, 16, 2}},
        {"MPEG: stream_id 0xDF is refused", 3, pes(0xDF, {0xFF, 0xFD, 0x84, 0, 0}), {48000, 2, 16000, 16, 2}},
        {"MPEG: stream_id 0xE0 is accepted", 3, pes(0xE0, {0xFF, 0xFD, 0x84, 0, 0}), {}},
        {"MPEG: 4 bytes from the sync word are enough", 3, c0({0xFF, 0xFD, 0x84, 0}), {}},
        {"ADTS: rate or bit rate are set", 0x0F, c0({0xFF, 0xF1, 0x4C, 0x80, 0x40}), {0, 2, 0, 16, 0}},
        {"LATM is parsed", 0x11, c0({0xFF, 0xF1, 0x4C, 0x80, 0x40}), {}},
        {"LPCM: 16 bits, 2 channels", 0x80, lpcm(0x31, 0x40), {48000, 2, 192000, 16, 0}, kLpcm},
        {"LPCM: 20 bits take 2 bytes", 0xFF, lpcm(0xB5, 0x80), {192000, 8, 4608000, 20, 0}, kLpcm},
        {"LPCM: sample rate code 2 is accepted", 0x80, lpcm(0x32, 0x40), {}, kLpcm},
        {"LPCM: tried without lpcmMode", 0x80, lpcm(0x31, 0x40), {}},
        {"MPEG-2 video is parsed as audio", 2, c0({0xFF, 0xFD, 0x84, 0x04, 0xC0}), {}},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.fault);
        EXPECT_EQ(parseAudio(test.type, test.payload, test.lpcmMode), test.expected);
    }
}

/// The standards' tables, code by code (A/52, tables 5.6, 5.8 and 5.18; ISO/IEC 11172-3, 2.4.2.3).
TEST(AudioHeader, EveryCode)
{
    constexpr std::array<unsigned, 19> kAc3Rates{32,  40,  48,  56,  64,  80,  96,  112, 128, 160,
                                                 192, 224, 256, 320, 384, 448, 512, 576, 640};
    for (std::uint8_t code = 0; code < 38; ++code)
        EXPECT_EQ(parseAudio(6, pes(0xBD, {0x0B, 0x77, 0, 0, code, 0, 0})).at(2), kAc3Rates[code / 2U] * 125);
    constexpr std::array<unsigned, 8> kAc3Channels{2, 1, 2, 3, 3, 4, 4, 5};
    for (std::uint8_t mode = 0; mode < 8; ++mode)
        EXPECT_EQ(parseAudio(6, pes(0xBD, {0x0B, 0x77, 0, 0, 0, 0, static_cast<std::uint8_t>(mode << 5)})).at(1),
                  kAc3Channels[mode]);
    constexpr std::array<unsigned, 16> kLayer2Rates{0,   32,  48,  56,  64,  80,  96,  112,
                                                    128, 160, 192, 224, 256, 320, 384, 0};
    for (unsigned code = 0; code < 16; ++code)
        EXPECT_EQ(parseAudio(3, pes(0xC0, {0xFF, 0xFD, static_cast<std::uint8_t>(code << 4), 0, 0})).at(2),
                  kLayer2Rates[code] * 125);
}

}  // namespace
}  // namespace zarnow::test
