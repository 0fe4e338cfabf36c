/// @file
/// Codec names and numbers as people write them.
#pragma once

#include <cstdint>
#include <string>

namespace tsprobe {

std::string streamTypeName(std::uint8_t streamType);
std::string mpegProfileName(std::uint32_t profile);  ///< ISO/IEC 13818-2, table 8-2
std::string mpegLevelName(std::uint32_t level);      ///< ISO/IEC 13818-2, table 8-3
std::string avcProfileName(std::uint32_t profileIdc);
std::string avcLevelName(std::uint32_t levelIdc);

std::string withSeparators(std::uint64_t number);                       ///< 1,234,567
std::string durationText(double seconds);                               ///< h:mm:ss.mmm
std::string bitRateText(double bitsPerSecond);                          ///< 4.00 Mbit/s, 192 kbit/s
std::string frameRateText(double framesPerSecond);                      ///< 25 fps, 29.97 fps
std::string hexPid(std::uint16_t pid);                                  ///< 0x0100
std::string counted(std::uint64_t count, const std::string& singular);  ///< 1 slice, 2 slices

}  // namespace tsprobe
