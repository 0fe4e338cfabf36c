/// @file
/// Searches for short patterns of bytes.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>

#include "analysis/packet.h"

#if defined(__SSE2__) || defined(_M_X64)
#define ZARNOW_HAVE_SSE2
#include <emmintrin.h>
#endif

namespace zarnow {

/// The bytes of a pattern: one, or more that begin with two zeros. The search is compiled for each.
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
        if (standsAt(data + from))
            return from;
        std::size_t found = places;
#ifdef ZARNOW_HAVE_SSE2
        if (places >= kWindow)
            found = findInSteps<kWindow>(data, from, places);
        else if (places >= kWindow / 2)
            found = findInSteps<kWindow / 2>(data, from, places);
        else
#endif
            found = findOneByOne(data, from, places);
        return found < places ? found : bytes.size();
    }

    /// The same as finding it, but quicker, most of all where it is not.
    static bool standsIn(Bytes bytes) noexcept
    {
        std::size_t from = 0;
#ifdef ZARNOW_HAVE_SSE2
        constexpr std::size_t kStretch = 4 * kWindow;
        std::size_t places = bytes.size() - std::min(bytes.size(), kLength - 1);
        for (; places > kStretch; places -= kStretch, from += kStretch) {
            if (standsInPlaces<kWindow>(bytes.data() + from, kStretch))
                return true;
        }
        if (places >= kWindow)
            return standsInPlaces<kWindow>(bytes.data() + from, places);
        if (places >= kWindow / 2)
            return standsInPlaces<kWindow / 2>(bytes.data() + from, places);
#endif
        return find(bytes, from) != bytes.size();
    }

private:
    static constexpr std::array<std::uint8_t, kLength> kPattern = {kBytes...};
    static_assert(kLength == 1 || (kPattern[0] == 0 && kPattern[1] == 0));

    static bool standsAt(const std::uint8_t* at) noexcept
    {
        return ((*at++ == kBytes) && ...);
    }

    static std::size_t findOneByOne(const std::uint8_t* data, std::size_t from, std::size_t places) noexcept
    {
        while (from < places && !standsAt(data + from))
            ++from;
        return from;
    }

#ifdef ZARNOW_HAVE_SSE2
    static constexpr std::size_t kGroup = sizeof(__m128i);
    static constexpr std::size_t kWindow = 4 * kGroup;

    /// Looks at `kStep` places together, of at least as many.
    template <std::size_t kStep>
    static std::size_t findInSteps(const std::uint8_t* data, std::size_t from, std::size_t places) noexcept
    {
        const std::size_t lastWindow = places - kStep;  // overlaps the one before
        for (std::size_t window = from; window < lastWindow; window += kStep) {
            if (mayStandIn<kStep>(data + window)) {
                if (const std::uint64_t found = placesIn<kStep>(data + window); found != 0)
                    return window + static_cast<std::size_t>(std::countr_zero(found));
            }
        }
        if (!mayStandIn<kStep>(data + lastWindow))
            return places;
        const std::size_t first = std::max(from, lastWindow);
        const std::uint64_t found = placesIn<kStep>(data + lastWindow) >> (first - lastWindow);
        return found != 0 ? first + static_cast<std::size_t>(std::countr_zero(found)) : places;
    }

    static __m128i groupAt(const std::uint8_t* at) noexcept
    {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
    }

    /// A zero byte for each place in a group where the pattern stands, at least from its byte `first` on.
    static __m128i differences(const std::uint8_t* at, std::size_t first) noexcept
    {
        __m128i sum = _mm_setzero_si128();
        for (std::size_t i = first; i < kLength; ++i)
            sum = _mm_or_si128(sum, _mm_xor_si128(groupAt(at + i), _mm_set1_epi8(static_cast<char>(kPattern[i]))));
        return sum;
    }

    /// A bit for each zero byte.
    static std::uint64_t zeros(__m128i group) noexcept
    {
        const int mask = _mm_movemask_epi8(_mm_cmpeq_epi8(group, _mm_setzero_si128()));
        return static_cast<std::uint64_t>(mask);
    }

    /// Of the two zeros that a pattern begins with, one has an odd offset; where the pattern begins in a range, that
    /// one lies in it too.
    static constexpr std::uint64_t kSignsMask = kLength == 1 ? 0xFFFF : 0xAAAA;

    /// A zero byte for each sign of the pattern in a group, at the offsets that count.
    static __m128i signs(const std::uint8_t* at) noexcept
    {
        return kLength == 1 ? differences(at, 0) : groupAt(at);
    }

    /// A zero byte where there is one for any of the groups.
    template <std::size_t kStep, class OfGroup>
    static __m128i least(const std::uint8_t* at, OfGroup ofGroup) noexcept
    {
        __m128i all = ofGroup(at);
        for (std::size_t offset = kGroup; offset < kStep; offset += kGroup)
            all = _mm_min_epu8(all, ofGroup(at + offset));
        return all;
    }

    /// The same for all the places, at least `kStep`.
    template <std::size_t kStep, class OfGroup>
    static __m128i leastInPlaces(const std::uint8_t* data, std::size_t places, OfGroup ofGroup) noexcept
    {
        __m128i all = least<kStep>(data + places - kStep, ofGroup);
        for (std::size_t window = 0; window < places - kStep; window += kStep)
            all = _mm_min_epu8(all, least<kStep>(data + window, ofGroup));
        return all;
    }

    /// Looks at all the places, at least `kStep`, before it answers.
    template <std::size_t kStep>
    static bool standsInPlaces(const std::uint8_t* data, std::size_t places) noexcept
    {
        if ((zeros(leastInPlaces<kStep>(data, places, signs)) & kSignsMask) == 0)
            return false;
        const auto wholly = [](const std::uint8_t* at) { return differences(at, 0); };
        return kLength == 1 || zeros(leastInPlaces<kStep>(data, places, wholly)) != 0;
    }

    /// Goes by the signs, which take the fewest steps to rule out, where there are some by those of each half, then by
    /// the last two bytes, which are hardly ever there without the others.
    template <std::size_t kStep>
    static bool mayStandIn(const std::uint8_t* at) noexcept
    {
        if ((zeros(least<kStep>(at, signs)) & kSignsMask) == 0)
            return false;
        if constexpr (kLength == 1)
            return true;
        else if constexpr (kStep == kWindow)
            return mayStandIn<kStep / 2>(at) || mayStandIn<kStep / 2>(at + kStep / 2);
        else
            return zeros(least<kStep>(at, [](const std::uint8_t* group) { return differences(group, kLength - 2); })) !=
                   0;
    }

    template <std::size_t kStep>
    static std::uint64_t placesIn(const std::uint8_t* at) noexcept
    {
        std::uint64_t places = 0;
        for (std::size_t offset = 0; offset < kStep; offset += kGroup)
            places |= zeros(differences(at + offset, 0)) << offset;
        return places;
    }
#endif
};

using CSyncByte = CBytePattern<kSyncByte>;
using CZeroPair = CBytePattern<0, 0>;  ///< no start code and no emulation-prevention byte does without
using CStartCode = CBytePattern<0, 0, 1>;
using CEmulationPrevention = CBytePattern<0, 0, 3>;

}  // namespace zarnow
