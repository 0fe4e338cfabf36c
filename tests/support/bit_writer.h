/// @file
/// Most-significant-bit-first writing with the Exp-Golomb codes of H.264 (clause 9.1).
#pragma once

#include "tests/support/data.h"

namespace zarnow::test {

class BitWriter
{
public:
    BitWriter& bits(std::uint64_t value, unsigned count);
    BitWriter& flag(bool value) { return bits(value ? 1 : 0, 1); }
    BitWriter& ue(std::uint32_t value);
    BitWriter& se(std::int32_t value);

    /// rbsp_trailing_bits: a 1 and zeros up to the next byte.
    BitWriter& trailing();

    /// Zero bits up to the next byte are added.
    const Data& bytes() const noexcept { return bytes_; }

private:
    Data bytes_;
    unsigned used_ = 8;  // bits of the last byte
};

}  // namespace zarnow::test
