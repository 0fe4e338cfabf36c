/// @file
/// Most-significant-bit-first reading with the Exp-Golomb codes of H.264 (clause 9.1). The buffer has been freed of
/// emulation-prevention bytes.
///
/// The state is two variables of the caller: the cursor, a pointer to the current byte that knows where the data ends,
/// and `bitsLeft`, how many bits of that byte are not yet consumed (1 to 8). Start with 8.
#pragma once

#include <cstdint>

#include "analysis/bytes.h"

namespace zarnow {

/// Pointer to the current byte. Behind the end it reads as zeros and remembers that it was asked.
class CBitCursor
{
public:
    explicit CBitCursor(Bytes bytes) noexcept : position_(bytes.data()), end_(bytes.data() + bytes.size()) {}

    std::uint8_t operator*() noexcept
    {
        if (position_ != end_)
            return *position_;
        overrun_ = true;
        return 0;
    }

    CBitCursor& operator++() noexcept
    {
        if (position_ != end_)
            ++position_;
        return *this;
    }

    /// Whether a bit behind the end was asked for; stays so.
    bool overrun() const noexcept { return overrun_; }
    const std::uint8_t* position() const noexcept { return position_; }

private:
    const std::uint8_t* position_;
    const std::uint8_t* end_;
    bool overrun_ = false;
};

/// The next n bits, 1 to 32. Any other n gives 0 and consumes nothing.
std::uint32_t readBits(CBitCursor& cursor, std::int32_t& bitsLeft, std::uint32_t n) noexcept;

/// ue(v). @param bitsUsed  out: the code's length in bits
std::uint32_t readUE(CBitCursor& cursor, std::int32_t& bitsLeft, std::uint32_t& bitsUsed) noexcept;

/// se(v)
std::int32_t readSE(CBitCursor& cursor, std::int32_t& bitsLeft, std::uint32_t& bitsUsed) noexcept;

/// One scaling list of a sequence parameter set, its present flag included (7.3.2.1.1.1). @param size  16 or 64
void skipScalingList(CBitCursor& cursor, std::int32_t& bitsLeft, std::int32_t size) noexcept;

}  // namespace zarnow
