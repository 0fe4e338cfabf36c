/// @file
/// Bytes that tests are made of.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <ranges>
#include <span>
#include <vector>

namespace zarnow::test {

using Data = std::vector<std::uint8_t>;

inline void append(Data& whole, std::span<const std::uint8_t> part)
{
    whole.insert(whole.end(), part.begin(), part.end());
}

/// What a number or a record is in memory; of a table or a text what it holds.
template <class Value>
std::span<const std::uint8_t> rawBytes(const Value& value)
{
    if constexpr (std::ranges::contiguous_range<Value>)
        return {reinterpret_cast<const std::uint8_t*>(std::data(value)), std::size(value) * sizeof(*std::data(value))};
    else
        return {reinterpret_cast<const std::uint8_t*>(&value), sizeof(Value)};
}

inline Data join(std::initializer_list<Data> parts)
{
    Data whole;
    for (const Data& part : parts)
        append(whole, part);
    return whole;
}

inline Data repeat(const Data& part, std::size_t count)
{
    Data whole;
    whole.reserve(part.size() * count);
    for (std::size_t i = 0; i < count; ++i)
        append(whole, part);
    return whole;
}

inline Data filled(std::size_t size, std::uint8_t value = 0)
{
    return Data(size, value);
}

inline Data firstBytes(Data data, std::size_t size)
{
    data.resize(std::min(size, data.size()));
    return data;
}

/// Up to the end unless a size is given.
inline Data bytesFrom(std::span<const std::uint8_t> data, std::size_t from, std::size_t size = std::dynamic_extent)
{
    const auto part = data.subspan(from, size);
    return {part.begin(), part.end()};
}

inline Data withByte(Data data, std::size_t offset, std::uint8_t value)
{
    data.at(offset) = value;
    return data;
}

/// A copy on the heap with not a byte behind it, so that AddressSanitizer sees every read past the end.
struct ExactBuffer : std::vector<std::uint8_t>
{
    explicit ExactBuffer(std::span<const std::uint8_t> data) : vector(data.begin(), data.end()) {}

    std::int32_t length() const noexcept { return static_cast<std::int32_t>(size()); }
};

}  // namespace zarnow::test
