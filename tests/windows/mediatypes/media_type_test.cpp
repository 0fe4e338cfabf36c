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

constexpr GUID kLpcm = {0x525f0058, 0x522f, 0x4312, {0xb4, 0x0f, 0x11, 0xac, 0x41, 0x58, 0xe0, 0x2b}};

struct Number
{
    std::size_t offset;
    std::uint64_t value;
    std::size_t size = 4;
};

/// Little-endian, at offsets from `at`.
void put(Block& block, std::size_t at, std::span<const Number> numbers)
{
    for (const Number& number : numbers)
        for (std::size_t i = 0; i < number.size; ++i)
            block.at(at + number.offset + i) = static_cast<std::uint8_t>(number.value >> (8 * i));
}

/// Zeros with numbers put in.
Block block(std::size_t size, std::span<const Number> numbers)
{
    Block result(size);
    put(result, 0, numbers);
    return result;
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

AudioProbeRecord audioRecord(std::uint8_t streamType, std::uint8_t layer, std::uint8_t channels = 2)
{
    AudioProbeRecord record;
    record.streamType = streamType;
    record.layer = layer;
    record.sampleRate = 48000;
    record.avgBytesPerSec = 24000;
    record.channels = channels;
    record.bitsPerSample = 16;
    return record;
}

/// WAVEFORMATEX: tag 0, channels, rate, bytes per second, block align, bits, size 0.
Block waveBlock(std::uint32_t channels, std::uint32_t bytesPerSecond, std::uint32_t align)
{
    const Number numbers[] = {{2, channels, 2}, {4, 48000}, {8, bytesPerSecond}, {12, align, 2}, {14, 16, 2}};
    return block(18, numbers);
}

void expectType(const GUID& major, const GUID& subtype, const GUID& format, const Block& block, const CMediaType& type)
{
    const bool audio = format == FORMAT_WaveFormatEx;
    EXPECT_EQ(major, type.majortype);
    EXPECT_EQ(subtype, type.subtype);
    EXPECT_EQ(format, type.formattype);
    EXPECT_EQ(audio, type.bFixedSizeSamples != FALSE);
    EXPECT_EQ(nullptr, type.pUnk);
    EXPECT_EQ(block, Block(type.Format(), type.Format() + type.FormatLength()));
    // Only LPCM has whole packets.
    const bool compressed = type.bTemporalCompression != FALSE;
    EXPECT_EQ(compressed ? 1U : 188U, type.lSampleSize);
    EXPECT_EQ(subtype != kLpcm, compressed);
}

GUID fourccGuid(DWORD data1)
{
    return {data1, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};
}

// Source rectangle, bit rate and frame time lie at the same place in all blocks.
constexpr Number kMpegHeader[] = {{8, 720}, {12, 576}, {32, 6000000}, {40, 400000, 8}};

// BITMAPINFOHEADER of MPEG video.
constexpr Number kMpegBitmap[] = {{0, 40},    {4, 720},   {8, 576}, {12, 1, 2}, {20, 720 * 576 * 2},
                                  {24, 2000}, {28, 53031}};

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
        const Number own[] = {{48, c.interlaceFlags}, {56, 16}, {60, 9}, {116, c.headerLength}, {120, 2}, {124, 2}};
        Block expected = block(c.headerLength + 146, own);
        put(expected, 0, kMpegHeader);
        put(expected, 72, kMpegBitmap);
        std::copy_n(record.sequenceHeader.begin(), c.headerLength, expected.begin() + 132);
        CMediaType type;
        ASSERT_TRUE(describeMpeg2Video(record, type));
        expectType(MEDIATYPE_Video, MEDIASUBTYPE_MPEG2_VIDEO, FORMAT_MPEG2Video, expected, type);
    }
}

TEST(VideoMediaTypes, Mpeg1FormatBlockHasNoAspectRatio)
{
    const VideoProbeRecord record = mpegRecord(12);
    const Number own[] = {{92, 12}};
    Block expected = block(12 + 114, own);
    put(expected, 0, kMpegHeader);
    put(expected, 48, kMpegBitmap);
    std::copy_n(record.sequenceHeader.begin(), 12, expected.begin() + 96);
    CMediaType type;
    ASSERT_TRUE(describeMpeg1Video(record, type));
    expectType(MEDIATYPE_Video, MEDIASUBTYPE_MPEG1Payload, FORMAT_MPEGVideo, expected, type);
}

TEST(VideoMediaTypes, AvcFormatBlockRoundsTheHeightAndKeepsItsOwnFrameRate)
{
    VideoProbeRecord record = mpegRecord(0);
    record.codedWidth = 1920;
    record.codedHeight = 1080;
    record.bitRate = 77;
    const Number header[] = {{8, 1920}, {12, 1072}, {40, 333667, 8}, {48, 1}, {56, 16}, {60, 9}};
    const Number bitmap[] = {{0, 40}, {4, 1920}, {8, 1080}, {12, 1, 2}, {16, 0x34363248}, {20, 77}};
    Block expected = block(212, header);
    put(expected, 72, bitmap);
    CMediaType type;
    ASSERT_TRUE(describeAvcVideo(record, type));
    expectType(MEDIATYPE_MPEG2_PES, fourccGuid(0x31435641), FORMAT_VideoInfo2, expected, type);  // 'AVC1'
}

TEST(AudioMediaTypes, ByStreamTypeLayerAndVideo)
{
    constexpr auto mpeg1 = [](const auto& record, CMediaType& type) {
        return describeMpegAudio(record, false, false, type);
    };
    constexpr auto mpeg1BesideAvc = [](const auto& record, CMediaType& type) {
        return describeMpegAudio(record, false, true, type);
    };
    constexpr auto mpeg2 = [](const auto& record, CMediaType& type) {
        return describeMpegAudio(record, true, false, type);
    };
    constexpr auto ac3BesideAvc = [](const auto& record, CMediaType& type) { return describeAc3(record, true, type); };
    const GUID rawAac = fourccGuid(0xFF);
    const GUID latm = fourccGuid(0x4D54414C);
    const struct
    {
        const char* fault;
        bool (*describe)(const AudioProbeRecord&, CMediaType&);
        AudioProbeRecord record;
        GUID major;
        GUID subtype;
        Block wave;
    } cases[] = {
        {"stream_type 3 not taken for MPEG-1 audio", mpeg1, audioRecord(3, 2), MEDIATYPE_Audio,
         MEDIASUBTYPE_MPEG1AudioPayload, waveBlock(2, 24000, 32)},
        {"PES data not announced beside AVC", mpeg1BesideAvc, audioRecord(3, 3), MEDIATYPE_MPEG2_PES,
         MEDIASUBTYPE_MPEG1AudioPayload, waveBlock(2, 24000, 32)},
        {"layer II of stream_type 4 relabelled", mpeg2, audioRecord(4, 2), MEDIATYPE_Audio, MEDIASUBTYPE_MPEG2_AUDIO,
         waveBlock(2, 24000, 32)},
        {"AAC under stream_type 4 not recognised", mpeg2, audioRecord(4, 1, 1), MEDIATYPE_Audio, rawAac,
         waveBlock(1, 192000, 16)},
        {"defaults of a relabelled stream left out", mpeg2, {}, MEDIATYPE_Audio, rawAac, waveBlock(2, 192000, 32)},
        {"AAC described by its header", describeAac, audioRecord(0x0F, 3, 1), MEDIATYPE_Audio, rawAac,
         waveBlock(2, 28000, 32)},
        {"LATM taken for plain AAC", describeAac, audioRecord(0x11, 3, 1), MEDIATYPE_Audio, latm,
         waveBlock(2, 28000, 32)},
        {"AAC of no known stream_type has a subtype",
         describeAac,
         audioRecord(4, 3, 1),
         MEDIATYPE_Audio,
         {},
         waveBlock(2, 28000, 32)},
        {"the block align of AC-3 in bytes", ac3BesideAvc, audioRecord(0x81, 0, 5), MEDIATYPE_MPEG2_PES,
         MEDIASUBTYPE_DOLBY_AC3, waveBlock(5, 24000, 80)},
        {"LPCM in frames, or temporally compressed", describeLpcm, audioRecord(0x81, 0, 5), MEDIATYPE_MPEG2_PES, kLpcm,
         waveBlock(5, 24000, 80)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fault);
        CMediaType type;
        ASSERT_TRUE(c.describe(c.record, type));
        expectType(c.major, c.subtype, FORMAT_WaveFormatEx, c.wave, type);
    }
}

}  // namespace zarnow
