// The format blocks of video byte for byte: expected values are laid out by the structures' documented offsets.

#include <gtest/gtest.h>

#include <streams.h>

#include <cstring>
#include <map>
#include <numeric>

#include "mediatypes/video_media_types.h"

namespace zarnow {

namespace {

using Block = std::vector<std::uint8_t>;
using Words = std::map<std::size_t, std::uint32_t>;  // by their offsets

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

Block blockOf(bool (*describe)(const VideoProbeRecord&, CMediaType&), const VideoProbeRecord& record)
{
    CMediaType type;
    EXPECT_TRUE(describe(record, type));
    return {type.Format(), type.Format() + type.FormatLength()};
}

}  // namespace

TEST(FormatBlocks, OfMpegVideo)
{
    const struct
    {
        const char* fault;
        bool (*describe)(const VideoProbeRecord&, CMediaType&);
        VideoProbeRecord record;
        std::size_t size;
        std::size_t bitmapHeader;
        std::size_t sequenceHeader;
        Words own;
    } cases[] = {
        {"an interlaced stream without its flags, or a block not 146 bytes longer than the header", describeMpeg2Video,
         videoRecord(720, 576, 22, false), 22 + 146, 72, 132,
         Words{{48, 5}, {56, 16}, {60, 9}, {116, 22}, {120, 2}, {124, 2}}},
        {"a progressive stream with flags, or its header with both matrices and the extension cut off",
         describeMpeg2Video, videoRecord(720, 576, 150, true), 150 + 146, 72, 132,
         Words{{56, 16}, {60, 9}, {116, 150}, {120, 2}, {124, 2}}},
        {"MPEG-1 video with an aspect ratio", describeMpeg1Video, videoRecord(720, 576, 12, false), 12 + 114, 48, 96,
         Words{{92, 12}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fault);
        const std::size_t at = c.bitmapHeader;
        Words words = {{8, 720}, {12, 576}, {32, 6000000}, {40, 400000}};
        words.merge(Words{{at, 40}, {at + 4, 720}, {at + 8, 576}, {at + 12, 1}, {at + 20, 720 * 576 * 2}});
        words.merge(Words{{at + 24, 2000}, {at + 28, 53031}});
        words.insert(c.own.begin(), c.own.end());
        Block expected = block(c.size, words);
        std::copy_n(c.record.sequenceHeader.begin(), c.record.sequenceHeaderLength, &expected[c.sequenceHeader]);
        EXPECT_EQ(expected, blockOf(c.describe, c.record));
    }
}

TEST(FormatBlocks, OfAvcRoundTheHeightAndKeepTheirOwnFrameRate)
{
    for (const bool progressive : {false, true}) {
        Words words = {{8, 1920}, {12, 1072}, {40, 333667}, {48, progressive ? 0 : 1}, {56, 16}, {60, 9}};
        words.merge(Words{{72, 40}, {76, 1920}, {80, 1080}, {84, 1}, {88, 0x34363248}, {92, 6000000}});
        EXPECT_EQ(block(212, words), blockOf(describeAvcVideo, videoRecord(1920, 1080, 0, progressive)));
    }
}

}  // namespace zarnow
