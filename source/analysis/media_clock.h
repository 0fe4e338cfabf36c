/// @file
/// The 90 kHz clock of time stamps, seconds, and the platform's 100-ns units; and how doubles become integers.
#pragma once

#include <cstdint>
#include <limits>

namespace zarnow {

inline constexpr double kTicksPerSecond = 90000.0;
inline constexpr double kUnitsPerSecond = 10000000.0;  ///< 100 ns units

constexpr double secondsOfTicks(std::int64_t ticks) noexcept
{
    return static_cast<double>(ticks) / kTicksPerSecond;
}

/// Truncates toward zero; what does not fit (or is no number) becomes the most negative value.
constexpr std::int64_t truncateToInt64(double value) noexcept
{
    constexpr double kLimit = 9223372036854775808.0;  // 2^63
    return value >= -kLimit && value < kLimit ? static_cast<std::int64_t>(value)
                                              : std::numeric_limits<std::int64_t>::min();
}

/// Truncates to 64 bits first and keeps the low 32 of them.
constexpr std::uint32_t truncateToUint32(double value) noexcept
{
    return static_cast<std::uint32_t>(truncateToInt64(value));
}

constexpr std::int64_t unitsOfSeconds(double seconds) noexcept
{
    return truncateToInt64(seconds * kUnitsPerSecond);
}

constexpr double secondsOfUnits(std::int64_t units) noexcept
{
    return static_cast<double>(units) / kUnitsPerSecond;
}

}  // namespace zarnow
