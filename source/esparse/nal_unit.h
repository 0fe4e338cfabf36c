/// @file
/// The header byte of AVC NAL units (ITU-T H.264, 7.3.1 and table 7-1), and what is ahead of it (annex B).
#pragma once

#include <cstddef>
#include <cstdint>

namespace zarnow {

namespace nal_type {
inline constexpr std::uint8_t kSlice = 1;
inline constexpr std::uint8_t kSlicePartitionA = 2;
inline constexpr std::uint8_t kIdrSlice = 5;
inline constexpr std::uint8_t kSei = 6;
inline constexpr std::uint8_t kSequenceParameterSet = 7;
inline constexpr std::uint8_t kPictureParameterSet = 8;
inline constexpr std::uint8_t kAccessUnitDelimiter = 9;
}  // namespace nal_type

inline constexpr std::size_t kLongStartCode = 4;  ///< bytes of a start code with a zero byte ahead of it

inline std::uint8_t nalUnitType(std::uint8_t header) noexcept
{
    return header & 0x1F;
}

/// Whether an access unit delimiter begins, whose nal_ref_idc is 0.
inline bool isDelimiter(std::uint8_t header) noexcept
{
    return (header & 0x7F) == nal_type::kAccessUnitDelimiter;
}

/// Whether a sequence parameter set begins, whose nal_ref_idc is not 0.
inline bool isParameterSet(std::uint8_t header) noexcept
{
    return nalUnitType(header) == nal_type::kSequenceParameterSet && (header & 0x60) != 0;
}

}  // namespace zarnow
