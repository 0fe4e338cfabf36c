/// @file
/// A view of the bytes that a read delivered, and big-endian numbers in it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace zarnow {

using Bytes = std::span<const std::uint8_t>;

/// The view of a caller's pointer and length; empty when either says that there is nothing.
inline Bytes bytesOf(const std::uint8_t* data, std::int32_t length) noexcept
{
    return data != nullptr && length > 0 ? Bytes(data, static_cast<std::size_t>(length)) : Bytes();
}

/// 16-bit big-endian number; the caller has checked that two bytes are there.
inline std::uint32_t bigEndian16(Bytes bytes, std::size_t offset) noexcept
{
    return static_cast<std::uint32_t>((bytes[offset] << 8) | bytes[offset + 1]);
}

/// 32-bit big-endian number; the caller has checked that four bytes are there.
inline std::uint32_t bigEndian32(Bytes bytes, std::size_t offset) noexcept
{
    return (bigEndian16(bytes, offset) << 16) | bigEndian16(bytes, offset + 2);
}

}  // namespace zarnow
