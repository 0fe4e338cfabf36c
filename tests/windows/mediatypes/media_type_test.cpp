// The format blocks byte for byte: expected values are laid out by the structures' documented offsets.

#include <gtest/gtest.h>

#include <streams.h>

#include <cstring>
#include <map>
#include <numeric>

#include "mediatypes/audio_media_types.h"
#include "mediatypes/video_media_types.h"

namespace zarnow {

namespace {

using Block = std::vector<std::uint8_t>;
using Words = std::map<std::size_t, std::uint32_t>;  // by their offsets

constexpr GUID kLpcm = {0x525f0058, 0x522f, 0x4312, {0xb4, 0x0f, 0x11, 0xac, 0x41, 0x58, 0xe0, 0x2b}};

constexpr GUID fourccGuid(DWORD data1)
{
    return {data1, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};
}

constexpr GUID kRawAac = fourccGuid(0xFF);
constexpr GUID kLatm = fourccGuid(0x4D54414C);

/// Zeros with words put in.
Block block(std::size_t size, const Words& words)
{
    Block result(size);
    for (const auto& [offset, word] : words)
        std::memcpy(&result[offset], &word, sizeof(word));
    return result;
}

VideoProbeRecord videoRecord(std::uint32_t width, std::uint32_t height, std::uint32_t headerLength, bool progressive)
{
    VideoProbeRecord record = {.profile = 4,
                               .level = 8,
                               .codedWidth = width,
                               .codedHeight = height,
                               .avgTimePerFrame = 400000,
                               .bitRate = 6000000,
                               .pelsPerMeterX = 2000,
                               .pelsPerMeterY = 53031,
                               .aspectX = 16,
                               .aspectY = 9,
                               .sequenceHeaderLength = headerLength,
                               .progressive = static_cast<std::uint8_t>(progressive)};
    std::iota(record.sequenceHeader.begin(), record.sequenceHeader.end(), std::uint8_t{1});
    return record;
}

AudioProbeRecord audioRecord(std::uint8_t streamType, std::uint8_t layer, std::uint8_t channels = 2)
{
    return {.layer = layer,
            .sampleRate = 48000,
            .avgBytesPerSec = 24000,
            .streamType = streamType,
            .channels = channels,
            .bitsPerSample = 16};
}

void expectType(const GUID& major, const GUID& subtype, const GUID& format, const Block& block, const CMediaType& type)
{
    EXPECT_EQ(major, type.majortype);
    EXPECT_EQ(subtype, type.subtype);
    EXPECT_EQ(format, type.formattype);
    EXPECT_EQ(format == FORMAT_WaveFormatEx, type.bFixedSizeSamples != FALSE);
    EXPECT_EQ(nullptr, type.pUnk);
    EXPECT_EQ(block, Block(type.Format(), type.Format() + type.FormatLength()));
    // Only LPCM has whole packets.
    EXPECT_EQ(subtype == kLpcm ? 188U : 1U, type.lSampleSize);
    EXPECT_EQ(subtype != kLpcm, type.bTemporalCompression != FALSE);
}

}  // namespace

TEST(MediaTypes, OfMpegVideo)
{
    const struct
    {
        const char* fault;
        bool (*describe)(const VideoProbeRecord&, CMediaType&);
        GUID subtype;
        GUID format;
        VideoProbeRecord record;
        std::size_t size;
        std::size_t bitmapHeader;
        std::size_t sequenceHeader;
        Words own;
    } cases[] = {
        {"an interlaced stream without its flags, or a block not 146 bytes longer than the header", describeMpeg2Video,
         MEDIASUBTYPE_MPEG2_VIDEO, FORMAT_MPEG2Video, videoRecord(720, 576, 22, false), 22 + 146, 72, 132,
         Words{{48, 5}, {56, 16}, {60, 9}, {116, 22}, {120, 2}, {124, 2}}},
        {"a progressive stream with flags, or its header with both matrices and the extension cut off",
         describeMpeg2Video, MEDIASUBTYPE_MPEG2_VIDEO, FORMAT_MPEG2Video, videoRecord(720, 576, 150, true), 150 + 146,
         72, 132, Words{{56, 16}, {60, 9}, {116, 150}, {120, 2}, {124, 2}}},
        {"MPEG-1 video with an aspect ratio", describeMpeg1Video, MEDIASUBTYPE_MPEG1Payload, FORMAT_MPEGVideo,
         videoRecord(720, 576, 12, false), 12 + 114, 48, 96, Words{{92, 12}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fault);
        const std::size_t at = c.bitmapHeader;
        Words words = {{8, 720},        {12, 576},       {32, 6000000},
                       {40, 400000},    {at, 40},        {at + 4, 720},
                       {at + 8, 576},   {at + 12, 1},    {at + 20, 720 * 576 * 2},
                       {at + 24, 2000}, {at + 28, 53031}};
        words.insert(c.own.begin(), c.own.end());
        Block expected = block(c.size, words);
        std::iota(&expected[c.sequenceHeader], &expected[c.sequenceHeader + c.record.sequenceHeaderLength],
                  std::uint8_t{1});
        CMediaType type;
        ASSERT_TRUE(c.describe(c.record, type));
        expectType(MEDIATYPE_Video, c.subtype, c.format, expected, type);
    }
}

TEST(MediaTypes, OfAvcRoundTheHeightAndKeepTheirOwnFrameRate)
{
    for (const bool progressive : {false, true}) {
        const Words words = {{8, 1920},  {12, 1072}, {40, 333667},     {48, progressive ? 0 : 1},
                             {56, 16},   {60, 9},    {72, 40},         {76, 1920},
                             {80, 1080}, {84, 1},    {88, 0x34363248}, {92, 6000000}};
        CMediaType type;
        ASSERT_TRUE(describeAvcVideo(videoRecord(1920, 1080, 0, progressive), type));
        expectType(MEDIATYPE_MPEG2_PES, fourccGuid(0x31435641), FORMAT_VideoInfo2, block(212, words), type);  // 'AVC1'
    }
}

TEST(MediaTypes, OfAudioByStreamTypeLayerAndVideo)
{
    constexpr auto mpeg1BesideAvc = [](const auto& record, CMediaType& type) {
        return describeMpegAudio(record, false, true, type);
    };
    constexpr auto mpeg2 = [](const auto& record, CMediaType& type) {
        return describeMpegAudio(record, true, false, type);
    };
    const struct
    {
        const char* fault;
        bool (*describe)(const AudioProbeRecord&, CMediaType&);
        AudioProbeRecord record;
        GUID major;
        GUID subtype;
        std::uint32_t channels;
        std::uint32_t bytesPerSecond;
    } cases[] = {
        {"PES data not announced beside AVC", mpeg1BesideAvc, audioRecord(3, 3), MEDIATYPE_MPEG2_PES,
         MEDIASUBTYPE_MPEG1AudioPayload, 2, 24000},
        {"layer II of stream_type 4 relabelled", mpeg2, audioRecord(4, 2), MEDIATYPE_Audio, MEDIASUBTYPE_MPEG2_AUDIO, 2,
         24000},
        {"AAC under stream_type 4 not recognised", mpeg2, audioRecord(4, 1, 1), MEDIATYPE_Audio, kRawAac, 1, 192000},
        {"defaults of a relabelled stream left out", mpeg2, {}, MEDIATYPE_Audio, kRawAac, 2, 192000},
        {"LATM taken for plain AAC", describeAac, audioRecord(0x11, 3, 1), MEDIATYPE_Audio, kLatm, 2, 28000},
        {"AAC of no known stream_type has a subtype", describeAac, audioRecord(4, 3, 1), MEDIATYPE_Audio, GUID_NULL, 2,
         28000},
        {"LPCM in frames, or temporally compressed", describeLpcm, audioRecord(0x81, 0, 5), MEDIATYPE_MPEG2_PES, kLpcm,
         5, 24000},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fault);
        const std::uint32_t bits = 16;  // and the block align is not in bytes
        const Words words = {
            {0, c.channels << 16}, {4, 48000}, {8, c.bytesPerSecond}, {12, c.channels * bits | bits << 16}};
        CMediaType type;
        ASSERT_TRUE(c.describe(c.record, type));
        expectType(c.major, c.subtype, FORMAT_WaveFormatEx, block(18, words), type);
    }
}

}  // namespace zarnow
