#include "tests/support/bit_writer.h"

#include <bit>

namespace zarnow::test {

BitWriter& BitWriter::bits(std::uint64_t value, unsigned count)
{
    for (unsigned left = count; left > 0; --left) {
        if (used_ == 8) {
            bytes_.push_back(0);
            used_ = 0;
        }
        const auto bit = static_cast<unsigned>((value >> (left - 1)) & 1);
        bytes_.back() = static_cast<std::uint8_t>(bytes_.back() | (bit << (7 - used_)));
        ++used_;
    }
    return *this;
}

BitWriter& BitWriter::ue(std::uint32_t value)
{
    const std::uint64_t code = std::uint64_t{value} + 1;
    const auto length = static_cast<unsigned>(std::bit_width(code));
    return bits(0, length - 1).bits(code, length);
}

BitWriter& BitWriter::se(std::int32_t value)
{
    const std::int64_t twice = std::int64_t{value} * 2;
    return ue(static_cast<std::uint32_t>(value > 0 ? twice - 1 : -twice));
}

BitWriter& BitWriter::trailing()
{
    flag(true);
    used_ = 8;
    return *this;
}

}  // namespace zarnow::test
