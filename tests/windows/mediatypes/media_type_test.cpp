// The format blocks byte for byte: expected values are laid out by the structures' documented offsets.

#include <gtest/gtest.h>

#include <streams.h>

#include <numeric>
#include <span>

#include "mediatypes/audio_media_types.h"
#include "mediatypes/video_media_types.h"

namespace zarnow {

namespace {

/// A block of zeros with little-endian numbers put in by offset.
class BlockBuilder
{
public:
    explicit BlockBuilder(std::size_t size) : bytes_(size) {}

    BlockBuilder& put(std::size_t offset, std::uint64_t value, std::size_t size = 4)
    {
        for (std::size_t i = 0; i < size; ++i)
            bytes_.at(offset + i) = static_cast<std::uint8_t>(value >> (8 * i));
        return *this;
    }

    BlockBuilder& putBytes(std::size_t offset, std::span<const std::uint8_t> data)
    {
        std::copy(data.begin(), data.end(), bytes_.begin() + static_cast<std::ptrdiff_t>(offset));
        return *this;
    }

    const std::vector<std::uint8_t>& bytes() const { return bytes_; }

private:
    std::vector<std::uint8_t> bytes_;
};

std::vector<std::uint8_t> formatOf(const CMediaType& type)
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
std::vector<std::uint8_t> waveBlock(std::uint32_t channels, std::uint32_t rate, std::uint32_t bytesPerSecond,
                                    std::uint32_t align, std::uint32_t bits)
{
    return BlockBuilder(18)
        .put(2, channels, 2)
        .put(4, rate)
        .put(8, bytesPerSecond)
        .put(12, align, 2)
        .put(14, bits, 2)
        .bytes();
}

void expectSamples(const CMediaType& type, bool fixed, bool temporal, ULONG size)
{
    EXPECT_EQ(fixed, type.bFixedSizeSamples != FALSE);
    EXPECT_EQ(temporal, type.bTemporalCompression != FALSE);
    EXPECT_EQ(size, type.lSampleSize);
    EXPECT_EQ(nullptr, type.pUnk);
}

GUID fourccGuid(DWORD data1)
{
    return {data1, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};
}

}  // namespace

struct Mpeg2Case
{
    const char* fault;
    std::uint32_t headerLength;
    std::uint8_t progressive;
    std::uint32_t interlaceFlags;
};

TEST(VideoMediaTypes, Mpeg2FormatBlock)
{
    const Mpeg2Case cases[] = {
        {"an interlaced stream without its flags, or a block not 146 bytes longer than the header", 22, 0, 5},
        {"a progressive stream marked as interlaced", 22, 1, 0},
        {"a header with both matrices and the extension cut off", 150, 0, 5},
        {"a type that cannot do without a sequence header", 0, 0, 5},
    };
    for (const Mpeg2Case& c : cases) {
        SCOPED_TRACE(c.fault);
        VideoProbeRecord record = mpegRecord(c.headerLength);
        record.progressive = c.progressive;
        CMediaType type;
        ASSERT_TRUE(describeMpeg2Video(record, type));
        EXPECT_EQ(MEDIATYPE_Video, type.majortype);
        EXPECT_EQ(MEDIASUBTYPE_MPEG2_VIDEO, type.subtype);
        EXPECT_EQ(FORMAT_MPEG2Video, type.formattype);
        expectSamples(type, false, true, 1);
        const auto header = std::span(record.sequenceHeader).first(c.headerLength);
        EXPECT_EQ(BlockBuilder(c.headerLength + 146)
                      .put(8, 720)
                      .put(12, 576)
                      .put(32, 6000000)
                      .put(40, 400000, 8)
                      .put(48, c.interlaceFlags)
                      .put(56, 16)
                      .put(60, 9)
                      .put(72, 40)
                      .put(76, 720)
                      .put(80, 576)
                      .put(84, 1, 2)
                      .put(92, 720 * 576 * 2)
                      .put(96, 2000)
                      .put(100, 53031)
                      .put(116, c.headerLength)
                      .put(120, 2)
                      .put(124, 2)
                      .putBytes(132, header)
                      .bytes(),
                  formatOf(type));
    }
}

TEST(VideoMediaTypes, Mpeg1FormatBlockHasNoAspectRatio)
{
    const VideoProbeRecord record = mpegRecord(12);
    CMediaType type;
    ASSERT_TRUE(describeMpeg1Video(record, type));
    EXPECT_EQ(MEDIATYPE_Video, type.majortype);
    EXPECT_EQ(MEDIASUBTYPE_MPEG1Payload, type.subtype);
    EXPECT_EQ(FORMAT_MPEGVideo, type.formattype);
    expectSamples(type, false, true, 1);
    EXPECT_EQ(BlockBuilder(12 + 114)
                  .put(8, 720)
                  .put(12, 576)
                  .put(32, 6000000)
                  .put(40, 400000, 8)
                  .put(48, 40)
                  .put(52, 720)
                  .put(56, 576)
                  .put(60, 1, 2)
                  .put(68, 720 * 576 * 2)
                  .put(72, 2000)
                  .put(76, 53031)
                  .put(92, 12)
                  .putBytes(96, std::span(record.sequenceHeader).first(12))
                  .bytes(),
              formatOf(type));
}

TEST(VideoMediaTypes, AvcFormatBlockRoundsTheHeightAndKeepsItsOwnFrameRate)
{
    VideoProbeRecord record = mpegRecord(0);
    record.codedWidth = 1920;
    record.codedHeight = 1080;
    record.bitRate = 77;
    CMediaType type;
    ASSERT_TRUE(describeAvcVideo(record, type));
    EXPECT_EQ(MEDIATYPE_MPEG2_PES, type.majortype);
    EXPECT_EQ(fourccGuid(0x31435641), type.subtype);  // 'AVC1'
    EXPECT_EQ(FORMAT_VideoInfo2, type.formattype);
    expectSamples(type, false, true, 1);
    EXPECT_EQ(BlockBuilder(212)
                  .put(8, 1920)
                  .put(12, 1072)
                  .put(40, 333667, 8)
                  .put(48, 1)
                  .put(56, 16)
                  .put(60, 9)
                  .put(72, 40)
                  .put(76, 1920)
                  .put(80, 1080)
                  .put(84, 1, 2)
                  .put(88, 0x34363248)
                  .put(92, 77)
                  .bytes(),
              formatOf(type));
}

struct MpegAudioCase
{
    const char* fault;
    AudioProbeRecord record;
    bool mpeg2;
    bool avcPresent;
    GUID major;
    GUID subtype;
    std::vector<std::uint8_t> block;
};

TEST(AudioMediaTypes, MpegAudioByStreamTypeLayerAndVideo)
{
    const AudioProbeRecord empty;
    const MpegAudioCase cases[] = {
        {"stream_type 3 not taken for MPEG-1 audio", audioRecord(3, 2), false, false, MEDIATYPE_Audio,
         MEDIASUBTYPE_MPEG1AudioPayload, waveBlock(2, 48000, 24000, 32, 16)},
        {"PES data not announced beside AVC", audioRecord(3, 3), false, true, MEDIATYPE_MPEG2_PES,
         MEDIASUBTYPE_MPEG1AudioPayload, waveBlock(2, 48000, 24000, 32, 16)},
        {"layer II of stream_type 4 relabelled", audioRecord(4, 2), true, false, MEDIATYPE_Audio,
         MEDIASUBTYPE_MPEG2_AUDIO, waveBlock(2, 48000, 24000, 32, 16)},
        {"AAC under stream_type 4 not recognised", audioRecord(4, 1), true, false, MEDIATYPE_Audio, fourccGuid(0xFF),
         waveBlock(2, 48000, 192000, 32, 16)},
        {"defaults of a relabelled stream left out", empty, true, true, MEDIATYPE_MPEG2_PES, fourccGuid(0xFF),
         waveBlock(2, 48000, 192000, 32, 16)},
    };
    for (const MpegAudioCase& c : cases) {
        SCOPED_TRACE(c.fault);
        CMediaType type;
        ASSERT_TRUE(describeMpegAudio(c.record, c.mpeg2, c.avcPresent, type));
        EXPECT_EQ(c.major, type.majortype);
        EXPECT_EQ(c.subtype, type.subtype);
        EXPECT_EQ(FORMAT_WaveFormatEx, type.formattype);
        EXPECT_EQ(c.block, formatOf(type));
        expectSamples(type, true, true, 1);
    }
}

TEST(AudioMediaTypes, AacIsFixedWhateverTheHeaderSays)
{
    const struct
    {
        std::uint8_t streamType;
        GUID subtype;
    } cases[] = {{0x0F, fourccGuid(0xFF)}, {0x11, fourccGuid(0x4D54414C)}, {0x04, GUID_NULL}};
    for (const auto& c : cases) {
        AudioProbeRecord record = audioRecord(c.streamType, 3);
        record.channels = 1;
        CMediaType type;
        ASSERT_TRUE(describeAac(record, type));
        EXPECT_EQ(MEDIATYPE_Audio, type.majortype);
        EXPECT_EQ(c.subtype, type.subtype);
        EXPECT_EQ(waveBlock(2, 48000, 28000, 32, 16), formatOf(type));
        expectSamples(type, true, true, 1);
    }
}

TEST(AudioMediaTypes, PrivateStreams)
{
    AudioProbeRecord record = audioRecord(0x81, 0);
    record.channels = 5;
    CMediaType ac3;
    ASSERT_TRUE(describeAc3(record, true, ac3));
    EXPECT_EQ(MEDIATYPE_MPEG2_PES, ac3.majortype);
    EXPECT_EQ(MEDIASUBTYPE_DOLBY_AC3, ac3.subtype);
    EXPECT_EQ(waveBlock(5, 48000, 24000, 80, 16), formatOf(ac3));
    expectSamples(ac3, true, true, 1);

    CMediaType lpcm;
    ASSERT_TRUE(describeLpcm(record, lpcm));
    const GUID lpcmSubtype = {0x525f0058, 0x522f, 0x4312, {0xb4, 0x0f, 0x11, 0xac, 0x41, 0x58, 0xe0, 0x2b}};
    EXPECT_EQ(MEDIATYPE_MPEG2_PES, lpcm.majortype);
    EXPECT_EQ(lpcmSubtype, lpcm.subtype);
    expectSamples(lpcm, true, false, 188);
}

}  // namespace zarnow
