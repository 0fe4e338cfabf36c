#include "esparse/bit_reader.h"

#include <algorithm>
#include <array>

namespace zarnow {

namespace {

constexpr std::array<std::uint8_t, 9> kLowBits{0x00, 0x01, 0x03, 0x07, 0x0F, 0x1F, 0x3F, 0x7F, 0xFF};
constexpr std::array<std::int32_t, 2> kSign{+1, -1};

/// Up to the rest of the current byte.
std::uint32_t readWithinByte(CBitCursor& cursor, std::int32_t& bitsLeft, std::int32_t n) noexcept
{
    const std::uint32_t masked = *cursor & kLowBits[static_cast<std::size_t>(bitsLeft)];
    bitsLeft -= n;
    const std::uint32_t value = masked >> bitsLeft;
    if (bitsLeft == 0) {
        bitsLeft = 8;
        ++cursor;
    }
    return value;
}

}  // namespace

std::uint32_t readBits(CBitCursor& cursor, std::int32_t& bitsLeft, std::uint32_t n) noexcept
{
    if (n > 32)
        return 0;
    std::uint32_t value = 0;
    for (auto missing = static_cast<std::int32_t>(n); missing > 0;) {
        const std::int32_t step = std::min(missing, bitsLeft);
        value = (value << step) | readWithinByte(cursor, bitsLeft, step);
        missing -= step;
    }
    return value;
}

std::uint32_t readUE(CBitCursor& cursor, std::int32_t& bitsLeft, std::uint32_t& bitsUsed) noexcept
{
    std::uint32_t leadingZeros = 0;
    while (readBits(cursor, bitsLeft, 1) == 0 && !cursor.overrun())
        ++leadingZeros;
    const std::uint32_t power = std::uint32_t{1} << (leadingZeros % 32);
    bitsUsed = 2 * leadingZeros + 1;
    return power + readBits(cursor, bitsLeft, leadingZeros) - 1;
}

std::int32_t readSE(CBitCursor& cursor, std::int32_t& bitsLeft, std::uint32_t& bitsUsed) noexcept
{
    const std::uint32_t code = readUE(cursor, bitsLeft, bitsUsed);
    const std::uint32_t parity = code % 2;
    const std::uint32_t magnitude = (code + parity) / 2;
    return static_cast<std::int32_t>(0U - magnitude * static_cast<std::uint32_t>(kSign[parity]));
}

void skipScalingList(CBitCursor& cursor, std::int32_t& bitsLeft, std::int32_t size) noexcept
{
    if (readBits(cursor, bitsLeft, 1) == 0)
        return;
    std::int32_t lastScale = 8;
    std::int32_t nextScale = 8;
    for (std::int32_t j = 0; j < size; ++j) {
        if (nextScale != 0) {
            std::uint32_t bitsUsed = 0;
            const auto delta = static_cast<std::uint32_t>(readSE(cursor, bitsLeft, bitsUsed));
            const auto sum = static_cast<std::int32_t>(static_cast<std::uint32_t>(lastScale) + delta + 256);
            nextScale = static_cast<std::uint8_t>(sum % 256);
        }
        lastScale = nextScale != 0 ? nextScale : lastScale;
    }
}

}  // namespace zarnow
