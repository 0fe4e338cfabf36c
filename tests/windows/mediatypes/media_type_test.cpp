// The format blocks byte for byte: expected values are laid out by the structures' documented offsets.

#include <gtest/gtest.h>

#include <streams.h>

#include <algorithm>
#include <numeric>
#include <span>

#include "mediatypes/audio_media_types.h"
#include "mediatypes/video_media_types.h"

namespace zarnow {

namespace {

using Block = std::vector<std::uint8_t>;

struct Number
{
    std::size_t offset;
    std::uint64_t value;
    std::size_t size = 4;
};

/// Zeros with little-endian numbers put in, and bytes at the end of a structure.
Block block(std::size_t size, std::initializer_list<Number> numbers, std::size_t at = 0,
            std::span<const std::uint8_t> bytes = {})
{
    Block result(size);
    for (const Number& number : numbers)
        for (std::size_t i = 0; i < number.size; ++i)
            result.at(number.offset + i) = static_cast<std::uint8_t>(number.value >> (8 * i));
    std::ranges::copy(bytes, result.begin() + static_cast<std::ptrdiff_t>(at));
    return result;
}

Block formatOf(const CMediaType& type)
{
    return {type.Format(), type.Format() + type.FormatLength()};
}

VideoProbeRecord mpegRecord(std::uint32_t headerLength)
{
    VideoProbeRecord record;
    record.profile = 4;
    record.level = 8;
    record.codedWidth = 720;
    record.codedHeight = 576;
    record.avgTimePerFrame = 400000;
    record.bitRate = 6000000;
    record.pelsPerMeterX = 2000;
    record.pelsPerMeterY = 53031;
    record.aspectX = 16;
    record.aspectY = 9;
    record.sequenceHeaderLength = headerLength;
    std::iota(record.sequenceHeader.begin(), record.sequenceHeader.end(), std::uint8_t{1});
    return record;
}

AudioProbeRecord audioRecord(std::uint8_t streamType, std::uint8_t layer)
{
    AudioProbeRecord record;
    record.streamType = streamType;
    record.layer = layer;
    record.sampleRate = 48000;
    record.avgBytesPerSec = 24000;
    record.channels = 2;
    record.bitsPerSample = 16;
    return record;
}

/// WAVEFORMATEX: tag 0, channels, rate, bytes per second, block align, bits, size 0.
Block waveBlock(std::uint32_t channels, std::uint32_t bytesPerSecond, std::uint32_t align)
{
    return block(18, {{2, channels, 2}, {4, 48000}, {8, bytesPerSecond}, {12, align, 2}, {14, 16, 2}});
}

struct Expected
{
    GUID major;
    GUID subtype;
    GUID format;
    bool fixedSize;
    bool temporal;
    ULONG sampleSize;
    Block block;
};

void expectType(const Expected& expected, const CMediaType& type)
{
    EXPECT_EQ(expected.major, type.majortype);
    EXPECT_EQ(expected.subtype, type.subtype);
    EXPECT_EQ(expected.format, type.formattype);
    EXPECT_EQ(expected.fixedSize, type.bFixedSizeSamples != FALSE);
    EXPECT_EQ(expected.temporal, type.bTemporalCompression != FALSE);
    EXPECT_EQ(expected.sampleSize, type.lSampleSize);
    EXPECT_EQ(nullptr, type.pUnk);
    EXPECT_EQ(expected.block, formatOf(type));
}

void expectVideo(const GUID& major, const GUID& subtype, const GUID& format, const Block& block, const CMediaType& type)
{
    expectType({major, subtype, format, false, true, 1, block}, type);
}

void expectAudio(const GUID& major, const GUID& subtype, const Block& block, const CMediaType& type)
{
    expectType({major, subtype, FORMAT_WaveFormatEx, true, true, 1, block}, type);
}

GUID fourccGuid(DWORD data1)
{
    return {data1, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};
}

}  // namespace

TEST(VideoMediaTypes, Mpeg2FormatBlock)
{
    const struct
    {
        const char* fault;
        std::uint32_t headerLength;
        std::uint8_t progressive;
        std::uint32_t interlaceFlags;
    } cases[] = {
        {"an interlaced stream without its flags, or a block not 146 bytes longer than the header", 22, 0, 5},
        {"a progressive stream marked as interlaced", 22, 1, 0},
        {"a header with both matrices and the extension cut off", 150, 0, 5},
        {"a type that cannot do without a sequence header", 0, 0, 5},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fault);
        VideoProbeRecord record = mpegRecord(c.headerLength);
        record.progressive = c.progressive;
        CMediaType type;
        ASSERT_TRUE(describeMpeg2Video(record, type));
        expectVideo(MEDIATYPE_Video, MEDIASUBTYPE_MPEG2_VIDEO, FORMAT_MPEG2Video,
                    block(c.headerLength + 146,
                          {{8, 720},
                           {12, 576},
                           {32, 6000000},
                           {40, 400000, 8},
                           {48, c.interlaceFlags},
                           {56, 16},
                           {60, 9},
                           {72, 40},
                           {76, 720},
                           {80, 576},
                           {84, 1, 2},
                           {92, 720 * 576 * 2},
                           {96, 2000},
                           {100, 53031},
                           {116, c.headerLength},
                           {120, 2},
                           {124, 2}},
                          132, std::span(record.sequenceHeader).first(c.headerLength)),
                    type);
    }
}

TEST(VideoMediaTypes, Mpeg1FormatBlockHasNoAspectRatio)
{
    const VideoProbeRecord record = mpegRecord(12);
    CMediaType type;
    ASSERT_TRUE(describeMpeg1Video(record, type));
    expectVideo(MEDIATYPE_Video, MEDIASUBTYPE_MPEG1Payload, FORMAT_MPEGVideo,
                block(12 + 114,
                      {{8, 720},
                       {12, 576},
                       {32, 6000000},
                       {40, 400000, 8},
                       {48, 40},
                       {52, 720},
                       {56, 576},
                       {60, 1, 2},
                       {68, 720 * 576 * 2},
                       {72, 2000},
                       {76, 53031},
                       {92, 12}},
                      96, std::span(record.sequenceHeader).first(12)),
                type);
}

TEST(VideoMediaTypes, AvcFormatBlockRoundsTheHeightAndKeepsItsOwnFrameRate)
{
    VideoProbeRecord record = mpegRecord(0);
    record.codedWidth = 1920;
    record.codedHeight = 1080;
    record.bitRate = 77;
    CMediaType type;
    ASSERT_TRUE(describeAvcVideo(record, type));
    expectVideo(MEDIATYPE_MPEG2_PES, fourccGuid(0x31435641), FORMAT_VideoInfo2,  // 'AVC1'
                block(212, {{8, 1920},
                            {12, 1072},
                            {40, 333667, 8},
                            {48, 1},
                            {56, 16},
                            {60, 9},
                            {72, 40},
                            {76, 1920},
                            {80, 1080},
                            {84, 1, 2},
                            {88, 0x34363248},
                            {92, 77}}),
                type);
}

TEST(AudioMediaTypes, MpegAudioByStreamTypeLayerAndVideo)
{
    const GUID rawAac = fourccGuid(0xFF);
    const struct
    {
        const char* fault;
        AudioProbeRecord record;
        bool mpeg2;
        bool avcPresent;
        GUID major;
        GUID subtype;
        std::uint32_t bytesPerSecond;
    } cases[] = {
        {"stream_type 3 not taken for MPEG-1 audio", audioRecord(3, 2), false, false, MEDIATYPE_Audio,
         MEDIASUBTYPE_MPEG1AudioPayload, 24000},
        {"PES data not announced beside AVC", audioRecord(3, 3), false, true, MEDIATYPE_MPEG2_PES,
         MEDIASUBTYPE_MPEG1AudioPayload, 24000},
        {"layer II of stream_type 4 relabelled", audioRecord(4, 2), true, false, MEDIATYPE_Audio,
         MEDIASUBTYPE_MPEG2_AUDIO, 24000},
        {"AAC under stream_type 4 not recognised", audioRecord(4, 1), true, false, MEDIATYPE_Audio, rawAac, 192000},
        {"defaults of a relabelled stream left out", {}, true, true, MEDIATYPE_MPEG2_PES, rawAac, 192000},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fault);
        CMediaType type;
        ASSERT_TRUE(describeMpegAudio(c.record, c.mpeg2, c.avcPresent, type));
        expectAudio(c.major, c.subtype, waveBlock(2, c.bytesPerSecond, 32), type);
    }
}

TEST(AudioMediaTypes, AacIsFixedWhateverTheHeaderSays)
{
    const std::pair<std::uint8_t, GUID> cases[] = {
        {std::uint8_t{0x0F}, fourccGuid(0xFF)}, {std::uint8_t{0x11}, fourccGuid(0x4D54414C)}, {std::uint8_t{4}, {}}};
    for (const auto& [streamType, subtype] : cases) {
        AudioProbeRecord record = audioRecord(streamType, 3);
        record.channels = 1;
        CMediaType type;
        ASSERT_TRUE(describeAac(record, type));
        expectAudio(MEDIATYPE_Audio, subtype, waveBlock(2, 28000, 32), type);
    }
}

TEST(AudioMediaTypes, PrivateStreams)
{
    AudioProbeRecord record = audioRecord(0x81, 0);
    record.channels = 5;
    CMediaType ac3;
    ASSERT_TRUE(describeAc3(record, true, ac3));
    expectAudio(MEDIATYPE_MPEG2_PES, MEDIASUBTYPE_DOLBY_AC3, waveBlock(5, 24000, 80), ac3);

    CMediaType lpcm;
    ASSERT_TRUE(describeLpcm(record, lpcm));
    const GUID lpcmSubtype = {0x525f0058, 0x522f, 0x4312, {0xb4, 0x0f, 0x11, 0xac, 0x41, 0x58, 0xe0, 0x2b}};
    expectType({MEDIATYPE_MPEG2_PES, lpcmSubtype, FORMAT_WaveFormatEx, true, false, 188, waveBlock(5, 24000, 80)},
               lpcm);
}

}  // namespace zarnow
