/// @file
/// Searches for short patterns of bytes. The C library's memchr is no help here: that of Windows may take a byte at a
/// time, and it cannot look for two zeros.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>

#include "analysis/bytes.h"

#if defined(__SSE2__) || defined(_M_X64)
#define ZARNOW_HAVE_SSE2
#include <emmintrin.h>
#endif

namespace zarnow {

/// The bytes of a pattern; the search is compiled for each.
template <std::uint8_t... kBytes>
class CBytePattern
{
public:
    static constexpr std::size_t kLength = sizeof...(kBytes);

    /// Offset of the first place at or after `from` where the whole pattern stands, or the range's end.
    static std::size_t find(Bytes bytes, std::size_t from = 0) noexcept
    {
        const std::size_t places = bytes.size() - std::min(bytes.size(), kLength - 1);
        if (from >= places)
            return bytes.size();
        const std::uint8_t* const data = bytes.data();
#ifdef ZARNOW_HAVE_SSE2
        while (from + 4 * kGroup <= places && !standsInFourGroups(data + from))
            from += 4 * kGroup;
        for (; from + kGroup <= places; from += kGroup) {
            if (const std::uint32_t found = placesInGroup(data + from); found != 0)
                return from + static_cast<std::size_t>(std::countr_zero(found));
        }
        if (places >= kGroup) {  // the rest, in a group that overlaps the last one
            const std::size_t at = places - kGroup;
            const std::uint32_t found = placesInGroup(data + at) >> (from - at);
            return found != 0 ? from + static_cast<std::size_t>(std::countr_zero(found)) : bytes.size();
        }
#endif
        while (from < places && !std::equal(kPattern.begin(), kPattern.end(), data + from))
            ++from;
        return from < places ? from : bytes.size();
    }

    static bool standsIn(Bytes bytes) noexcept
    {
        return find(bytes) != bytes.size();
    }

private:
    static constexpr std::array<std::uint8_t, kLength> kPattern = {kBytes...};

#ifdef ZARNOW_HAVE_SSE2
    static constexpr std::size_t kGroup = sizeof(__m128i);  // places looked at together

    /// A zero byte for each place where the pattern stands.
    static __m128i differences(const std::uint8_t* at) noexcept
    {
        __m128i sum = _mm_setzero_si128();
        std::size_t offset = 0;
        const auto add = [&](std::uint8_t byte) {
            const __m128i here = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at + offset++));
            sum = _mm_or_si128(sum, _mm_xor_si128(here, _mm_set1_epi8(static_cast<char>(byte))));
        };
        (add(kBytes), ...);
        return sum;
    }

    /// A bit for each zero byte.
    static std::uint32_t zeros(__m128i group) noexcept
    {
        return static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(group, _mm_setzero_si128())));
    }

    static std::uint32_t placesInGroup(const std::uint8_t* at) noexcept
    {
        return zeros(differences(at));
    }

    static bool standsInFourGroups(const std::uint8_t* at) noexcept
    {
        const __m128i first = _mm_min_epu8(differences(at), differences(at + kGroup));
        const __m128i second = _mm_min_epu8(differences(at + 2 * kGroup), differences(at + 3 * kGroup));
        return zeros(_mm_min_epu8(first, second)) != 0;
    }
#endif
};

using CZeroPair = CBytePattern<0, 0>;  ///< no start code and no emulation-prevention byte does without
using CStartCode = CBytePattern<0, 0, 1>;
using CEmulationPrevention = CBytePattern<0, 0, 3>;

}  // namespace zarnow
