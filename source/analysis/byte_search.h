/// @file
/// Searches that leave the looking to memchr.
#pragma once

#include <cstring>

#include "analysis/bytes.h"

namespace zarnow {

/// Offset of the next 00 00 `last` at or after `from`, or the range's end: a start code, an emulation-prevention byte.
inline std::size_t findZerosAnd(Bytes bytes, std::uint8_t last, std::size_t from) noexcept
{
    std::size_t at = from + 2;
    while (at < bytes.size()) {
        const void* found = std::memchr(bytes.data() + at, last, bytes.size() - at);
        if (found == nullptr)
            break;
        at = static_cast<std::size_t>(static_cast<const std::uint8_t*>(found) - bytes.data());
        if (bytes[at - 1] == 0 && bytes[at - 2] == 0)
            return at - 2;
        ++at;
    }
    return bytes.size();
}

/// Whether two zero bytes stand side by side: no start code and no emulation-prevention byte does without.
inline bool hasZeroPair(Bytes bytes) noexcept
{
    for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
        const void* found = std::memchr(bytes.data() + at, 0, bytes.size() - 1 - at);
        if (found == nullptr)
            return false;
        at = static_cast<std::size_t>(static_cast<const std::uint8_t*>(found) - bytes.data());
        if (bytes[at + 1] == 0)
            return true;
    }
    return false;
}

}  // namespace zarnow
