/// @file
/// Searches for short patterns of bytes. They are led by memchr where it is quick; that of Windows may take a byte at a
/// time.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

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
#ifdef __GLIBC__
        if (!advanceToLastByte(bytes, from))
            return bytes.size();
#endif
        return findInWindows(bytes, from);
    }

    /// Looks at 64 places at a time.
    static std::size_t findInWindows(Bytes bytes, std::size_t from) noexcept
    {
        const std::size_t places = bytes.size() - std::min(bytes.size(), kLength - 1);
        if (from >= places)
            return bytes.size();
        const std::uint8_t* const data = bytes.data();
        if (standsAt(data + from))
            return from;
#ifdef ZARNOW_HAVE_SSE2
        for (std::size_t window = from; places >= kWindow; window += kWindow) {
            window = std::min(window, places - kWindow);  // the last one overlaps
            if (mayStandInWindow(data + window)) {
                const std::uint64_t found = placesInWindow(data + window) >> (std::max(from, window) - window);
                if (found != 0)
                    return std::max(from, window) + static_cast<std::size_t>(std::countr_zero(found));
            }
            if (window == places - kWindow)
                return bytes.size();
        }
#endif
        while (from < places && !standsAt(data + from))
            ++from;
        return from < places ? from : bytes.size();
    }

    static bool standsIn(Bytes bytes) noexcept
    {
        return find(bytes) != bytes.size();
    }

private:
    static constexpr std::array<std::uint8_t, kLength> kPattern = {kBytes...};

    /// Goes on to the first place that has the last byte, of those here the rarest. Only to the first: where that byte
    /// is everywhere, a call for each would be slow.
    static bool advanceToLastByte(Bytes bytes, std::size_t& from) noexcept
    {
        const std::size_t last = from + kLength - 1;
        if (last >= bytes.size())
            return false;
        const void* found = std::memchr(bytes.data() + last, kPattern.back(), bytes.size() - last);
        if (found != nullptr)
            from += static_cast<std::size_t>(static_cast<const std::uint8_t*>(found) - (bytes.data() + last));
        return found != nullptr;
    }

    static bool standsAt(const std::uint8_t* at) noexcept
    {
        return ((*at++ == kBytes) && ...);
    }

#ifdef ZARNOW_HAVE_SSE2
    static constexpr std::size_t kGroup = sizeof(__m128i);
    static constexpr std::size_t kWindow = 4 * kGroup;  // places looked at together

    /// A zero byte for each place in a group where the pattern stands, at least from its byte `first` on.
    static __m128i differences(const std::uint8_t* at, std::size_t first) noexcept
    {
        __m128i sum = _mm_setzero_si128();
        for (std::size_t i = first; i < kLength; ++i) {
            const __m128i here = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at + i));
            sum = _mm_or_si128(sum, _mm_xor_si128(here, _mm_set1_epi8(static_cast<char>(kPattern[i]))));
        }
        return sum;
    }

    /// A bit for each zero byte.
    static std::uint64_t zeros(__m128i group) noexcept
    {
        const int mask = _mm_movemask_epi8(_mm_cmpeq_epi8(group, _mm_setzero_si128()));
        return static_cast<std::uint64_t>(mask);
    }

    /// Goes by the last two bytes, which are hardly ever there without the others.
    static bool mayStandInWindow(const std::uint8_t* at) noexcept
    {
        constexpr std::size_t kFirst = kLength - std::min<std::size_t>(kLength, 2);
        __m128i least = differences(at, kFirst);
        for (std::size_t offset = kGroup; offset < kWindow; offset += kGroup)
            least = _mm_min_epu8(least, differences(at + offset, kFirst));
        return zeros(least) != 0;
    }

    static std::uint64_t placesInWindow(const std::uint8_t* at) noexcept
    {
        std::uint64_t places = 0;
        for (std::size_t offset = 0; offset < kWindow; offset += kGroup)
            places |= zeros(differences(at + offset, 0)) << offset;
        return places;
    }
#endif
};

using CZeroPair = CBytePattern<0, 0>;  ///< no start code and no emulation-prevention byte does without
using CStartCode = CBytePattern<0, 0, 1>;
using CEmulationPrevention = CBytePattern<0, 0, 3>;

}  // namespace zarnow
