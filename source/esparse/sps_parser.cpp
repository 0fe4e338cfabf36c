#include "esparse/sps_parser.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "analysis/media_clock.h"

namespace zarnow {

namespace {

constexpr std::array<std::uint32_t, 4> kHighProfiles{100, 110, 122, 144};  // the later ones are parsed as if without
constexpr std::uint32_t kExtendedSar = 255;
constexpr std::uint32_t kMacroblockSize = 16;
constexpr std::int64_t kNtscFrameTime = 333667;            // 100 ns units
constexpr std::int64_t kShortestFrameTime = 333333;        // shorter ones are taken for field durations
constexpr std::uint32_t kHighestFrameRateTimes100 = 3100;  // higher ones are taken for field rates

}  // namespace

std::uint32_t CSpsParser::ue() noexcept
{
    std::uint32_t bitsUsed = 0;
    return readUE(cursor_, bitsLeft_, bitsUsed);
}

bool CSpsParser::store(std::uint8_t& field) noexcept
{
    const std::uint8_t value = flag();
    if (inData())
        field = value;
    return inData();
}

bool CSpsParser::store(std::uint32_t& field, std::uint32_t value) noexcept
{
    if (inData())
        field = value;
    return inData();
}

bool CSpsParser::parse() noexcept
{
    if (!parseProfile() || !parsePictureSize())
        return false;
    skip(1);  // direct_8x8_inference_flag
    if (flag() != 0) {
        for (int side = 0; side < 4; ++side)
            ue();  // frame_crop_*_offset: the coded size is reported
    }
    const bool hasUsability = flag() != 0;
    return inData() && (!hasUsability || parseUsability());
}

bool CSpsParser::parseProfile() noexcept
{
    const std::uint32_t profile = bits(8);
    if (!store(info_.profile_idc, profile))
        return false;
    skip(8);  // constraint flags
    if (!store(info_.level_idc, bits(8)))
        return false;
    ue();  // seq_parameter_set_id
    if (std::find(kHighProfiles.begin(), kHighProfiles.end(), profile) != kHighProfiles.end())
        skipHighProfileFields();
    ue();  // log2_max_frame_num_minus4
    skipPictureOrderCount();
    const std::uint32_t references = ue();
    if (!inData())
        return false;
    info_.num_ref_frames = static_cast<std::uint8_t>(references);
    skip(1);  // gaps_in_frame_num_value_allowed_flag
    return inData();
}

void CSpsParser::skipHighProfileFields() noexcept
{
    if (ue() == 3)  // chroma_format_idc
        skip(1);    // separate_colour_plane_flag
    ue();           // bit_depth_luma_minus8
    ue();           // bit_depth_chroma_minus8
    skip(1);        // qpprime_y_zero_transform_bypass_flag
    if (flag() == 0)
        return;
    // Kept: eight lists, for 4:4:4 as well.
    for (int list = 0; list < 8; ++list)
        skipScalingList(cursor_, bitsLeft_, list < 6 ? 16 : 64);
}

void CSpsParser::skipPictureOrderCount() noexcept
{
    const std::uint32_t type = ue();
    if (type == 0)
        ue();  // log2_max_pic_order_cnt_lsb_minus4
    if (type != 1)
        return;
    skip(1);  // delta_pic_order_always_zero_flag
    ue();     // offset_for_non_ref_pic: se(v), of the same length
    ue();     // offset_for_top_to_bottom_field
    for (std::uint32_t left = ue(); left > 0 && inData(); --left)
        ue();  // offset_for_ref_frame
}

bool CSpsParser::parsePictureSize() noexcept
{
    const std::uint32_t width = (ue() + 1) * kMacroblockSize;
    std::uint32_t height = (ue() + 1) * kMacroblockSize;
    const std::uint8_t framesOnly = flag();
    if (!inData())
        return false;
    stream_.progressive = 1;
    if (framesOnly == 0) {
        height *= 2;
        stream_.progressive = 0;
        if (!store(info_.mb_adaptive_frame_field_flag))
            return false;
    }
    info_.frame_mbs_only_flag = framesOnly;
    stream_.codedWidth = width;
    stream_.codedHeight = height;
    return true;
}

bool CSpsParser::parseUsability() noexcept
{
    if (!parseAspectRatio())
        return false;
    if (flag() != 0)  // overscan_info_present_flag
        skip(1);
    if (!parseVideoSignal())
        return false;
    if (flag() != 0) {  // chroma_loc_info_present_flag
        ue();
        ue();
    }
    return inData() && parseTiming() && parseBothHrd();
}

bool CSpsParser::parseAspectRatio() noexcept
{
    skip(1);
    // Kept: eight bits are taken for aspect_ratio_idc even where aspect_ratio_info_present_flag is 0, and every later
    // field is then read that much shifted.
    const std::uint32_t ratio = bits(8);
    if (!inData())
        return false;
    info_.aspect_ratio_idc = static_cast<std::uint8_t>(ratio);
    if (ratio == kExtendedSar)
        return parseExtendedAspectRatio();
    const bool sar12or10to11 = ratio == 2 || ratio == 3;
    setAspect(!sar12or10to11);
    return true;
}

bool CSpsParser::parseExtendedAspectRatio() noexcept
{
    const std::uint32_t sarWidth = bits(16);
    if (!inData())
        return false;
    info_.sarWidthLow = static_cast<std::uint8_t>(sarWidth);
    const std::uint32_t sarHeight = bits(16);
    if (!inData())
        return false;
    info_.sarHeightLow = static_cast<std::uint8_t>(sarHeight);

    const auto wide = static_cast<std::int32_t>(stream_.codedWidth * sarWidth);
    const std::uint32_t height = stream_.codedHeight == 1088 ? 1080 : stream_.codedHeight;
    const auto high = static_cast<std::int32_t>(height * sarHeight * 100);
    // 100 x 16 / (picture ratio), compared with 900 and 300 in whole numbers; 64 bits wide for the one quotient that
    // 32 do not hold.
    const auto near = [&](std::int32_t unit, std::int64_t expected) {
        const std::int64_t divisor = wide / unit;
        return divisor != 0 && std::abs(std::int64_t{high} / divisor - expected) < 10;
    };
    setAspect(near(16, 900) || !near(4, 300));
    return true;
}

void CSpsParser::setAspect(bool wide) noexcept
{
    stream_.aspectX = wide ? 16 : 4;
    stream_.aspectY = wide ? 9 : 3;
}

bool CSpsParser::parseVideoSignal() noexcept
{
    if (flag() == 0)
        return inData();
    const std::uint32_t format = bits(3);
    if (!inData())
        return false;
    stream_.videoFormat = static_cast<std::uint8_t>(format);
    skip(1);          // video_full_range_flag
    if (flag() != 0)  // colour_description_present_flag
        skip(24);
    return inData();
}

bool CSpsParser::parseTiming() noexcept
{
    if (!store(info_.timing_info_present_flag))
        return false;
    info_.fixed_frame_rate_flag = 1;
    if (info_.timing_info_present_flag == 0)
        return true;
    const std::uint32_t unitsInTick = bits(32);
    const std::uint32_t timeScale = bits(32);
    if (!inData())
        return false;
    stream_.avgTimePerFrame = kNtscFrameTime;
    if (unitsInTick != 0)
        setFrameRate(unitsInTick, timeScale);
    return store(info_.fixed_frame_rate_flag);
}

void CSpsParser::setFrameRate(std::uint32_t unitsInTick, std::uint32_t timeScale) noexcept
{
    const double rate = static_cast<double>(timeScale) / static_cast<double>(unitsInTick);
    const double scale = info_.frame_mbs_only_flag != 0 ? 100.0 : 50.0;
    info_.frameRateTimes100 = truncateToUint32(rate * scale);
    if (info_.frameRateTimes100 > kHighestFrameRateTimes100)
        info_.frameRateTimes100 /= 2;
    if (timeScale == 0)
        return;
    stream_.avgTimePerFrame = truncateToInt64(kUnitsPerSecond / rate);
    if (stream_.avgTimePerFrame < kShortestFrameTime)
        stream_.avgTimePerFrame *= 2;
}

bool CSpsParser::parseBothHrd() noexcept
{
    if (!store(info_.nal_hrd_parameters_present_flag))
        return false;
    const bool nal = info_.nal_hrd_parameters_present_flag != 0;
    if (nal && !parseHrd())
        return false;
    if (!store(info_.vcl_hrd_parameters_present_flag))
        return false;
    return nal || info_.vcl_hrd_parameters_present_flag == 0 || parseHrd();
}

bool CSpsParser::parseHrd() noexcept
{
    const std::uint32_t schedules = ue() + 1;
    const std::uint32_t bitRateShift = bits(4) + 6;
    const std::uint32_t cpbSizeShift = bits(4) + 4;
    for (std::uint32_t i = 0; i < schedules && inData(); ++i) {
        const std::uint32_t bitRate = (ue() + 1) << bitRateShift;
        if (inData() && info_.hrdBitRate == 0)
            info_.hrdBitRate = bitRate;
        const std::uint32_t cpbSize = (ue() + 1) << cpbSizeShift;
        if (inData() && info_.hrdCpbSize == 0)
            info_.hrdCpbSize = cpbSize;
        skip(1);  // cbr_flag
    }
    if (!store(info_.initialCpbRemovalDelayLength, bits(5) + 1))
        return false;
    skip(5);  // cpb_removal_delay_length_minus1
    skip(5);  // dpb_output_delay_length_minus1
    // Kept: time_offset_length is coded as it is, but counted up like the lengths before it.
    return store(info_.timeOffsetLength, bits(5) + 1);
}

}  // namespace zarnow
