/// @file
/// What probing finds out about one elementary stream. A PID of 0 marks an empty record; its other fields may then be
/// left over from a stream that was probed before.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace zarnow {

inline constexpr std::size_t kMaxSequenceHeaderSize = 150;  ///< header, both quantiser matrices, sequence extension

/// Field names as in ISO/IEC 13818-2, 6.2.2, and H.264, 7.3.2.1. [M] is filled for MPEG video only, [A] for AVC only.
struct VideoProbeRecord
{
    std::uint16_t pid = 0;
    std::uint8_t streamId = 0;  ///< PES stream_id
    std::uint8_t streamType = 0;
    std::uint32_t filePosition = 0;  ///< low 32 bits
    std::uint32_t profile = 0;       ///< [M] of the sequence extension
    std::uint32_t level = 0;         ///< [M] of the sequence extension
    std::uint32_t codedWidth = 0;    ///< pixels, nothing cropped
    std::uint32_t codedHeight = 0;
    std::uint32_t vbvBufferBytes = 0;  ///< [M]
    std::uint32_t frameTicks90k = 0;   ///< [M] frame duration, 90 kHz ticks
    std::int64_t avgTimePerFrame = 0;  ///< frame duration, 100 ns units
    double frameRate = 0.0;            ///< [M] frames per second
    std::uint32_t bitRate = 0;         ///< [M] bits per second, 0: variable
    std::uint32_t pelsPerMeterX = 0;   ///< [M]
    std::uint32_t pelsPerMeterY = 0;   ///< [M]
    std::uint32_t aspectX = 0;         ///< of the picture
    std::uint32_t aspectY = 0;
    std::uint32_t sequenceHeaderLength = 0;  ///< [M] bytes
    std::uint64_t firstPts = 0;              ///< [M] 90 kHz ticks of the packet with the header, as a signed number
    std::uint8_t progressive = 0;
    std::uint8_t videoFormat = 0;                                       ///< [A] video_format of the VUI
    std::array<std::uint8_t, kMaxSequenceHeaderSize> sequenceHeader{};  ///< [M]
};

struct AudioProbeRecord
{
    std::uint16_t pid = 0;
    std::uint8_t streamId = 0;       ///< PES stream_id
    std::uint8_t layer = 0;          ///< MPEG audio: 1 to 3
    std::uint32_t filePosition = 0;  ///< low 32 bits
    std::uint32_t sampleRate = 0;    ///< Hz
    std::uint32_t avgBytesPerSec = 0;
    std::uint8_t streamType = 0;
    std::uint8_t isLpcm = 0;
    std::uint8_t channels = 0;
    std::uint8_t bitsPerSample = 0;
};

/// Facts about the AVC video, as handed to clients: 52 bytes, little-endian. Filled by parseAvcSequenceHeader, except
/// where [G] names the GOP scan.
struct AvcStreamInfo
{
    std::uint32_t profile_idc = 0;
    std::uint32_t level_idc = 0;
    std::uint8_t aspect_ratio_idc = 0;
    std::uint8_t sarWidthLow = 0;   ///< low 8 bits of sar_width
    std::uint8_t sarHeightLow = 0;  ///< low 8 bits of sar_height
    std::uint8_t num_ref_frames = 0;
    std::uint8_t slicesPerPicture = 0;  ///< [G]
    std::uint8_t bFrameRun = 0;         ///< [G]
    std::uint8_t gopPictureCount = 0;   ///< [G]
    std::uint8_t frame_mbs_only_flag = 0;
    std::uint8_t mb_adaptive_frame_field_flag = 0;
    std::uint8_t entropy_coding_mode_flag = 0;  ///< [G]
    std::uint8_t nal_hrd_parameters_present_flag = 0;
    std::uint8_t vcl_hrd_parameters_present_flag = 0;
    std::uint8_t fixed_frame_rate_flag = 0;
    std::uint8_t timing_info_present_flag = 0;
    std::array<std::uint8_t, 2> reserved{};
    std::uint32_t frameRateTimes100 = 0;
    std::uint32_t estimatedAverageBitRate = 0;  ///< bits per second; completed when the facts are asked for
    std::uint32_t hrdBitRate = 0;               ///< bits per second
    std::uint32_t hrdCpbSize = 0;               ///< bits
    std::uint32_t initialCpbRemovalDelayLength = 0;
    std::uint32_t timeOffsetLength = 0;        ///< time_offset_length + 1
    std::uint32_t initialCpbRemovalDelay = 0;  ///< [G]
};

static_assert(sizeof(AvcStreamInfo) == 52);
static_assert(offsetof(AvcStreamInfo, profile_idc) == 0);
static_assert(offsetof(AvcStreamInfo, level_idc) == 4);
static_assert(offsetof(AvcStreamInfo, aspect_ratio_idc) == 8);
static_assert(offsetof(AvcStreamInfo, sarWidthLow) == 9);
static_assert(offsetof(AvcStreamInfo, sarHeightLow) == 10);
static_assert(offsetof(AvcStreamInfo, num_ref_frames) == 11);
static_assert(offsetof(AvcStreamInfo, slicesPerPicture) == 12);
static_assert(offsetof(AvcStreamInfo, bFrameRun) == 13);
static_assert(offsetof(AvcStreamInfo, gopPictureCount) == 14);
static_assert(offsetof(AvcStreamInfo, frame_mbs_only_flag) == 15);
static_assert(offsetof(AvcStreamInfo, mb_adaptive_frame_field_flag) == 16);
static_assert(offsetof(AvcStreamInfo, entropy_coding_mode_flag) == 17);
static_assert(offsetof(AvcStreamInfo, nal_hrd_parameters_present_flag) == 18);
static_assert(offsetof(AvcStreamInfo, vcl_hrd_parameters_present_flag) == 19);
static_assert(offsetof(AvcStreamInfo, fixed_frame_rate_flag) == 20);
static_assert(offsetof(AvcStreamInfo, timing_info_present_flag) == 21);
static_assert(offsetof(AvcStreamInfo, reserved) == 22);
static_assert(offsetof(AvcStreamInfo, frameRateTimes100) == 24);
static_assert(offsetof(AvcStreamInfo, estimatedAverageBitRate) == 28);
static_assert(offsetof(AvcStreamInfo, hrdBitRate) == 32);
static_assert(offsetof(AvcStreamInfo, hrdCpbSize) == 36);
static_assert(offsetof(AvcStreamInfo, initialCpbRemovalDelayLength) == 40);
static_assert(offsetof(AvcStreamInfo, timeOffsetLength) == 44);
static_assert(offsetof(AvcStreamInfo, initialCpbRemovalDelay) == 48);

}  // namespace zarnow
