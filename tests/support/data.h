/// @file
/// Bytes that tests are made of.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <span>
#include <vector>

namespace zarnow::test {

using Data = std::vector<std::uint8_t>;

inline void append(Data& whole, std::span<const std::uint8_t> part)
{
    whole.insert(whole.end(), part.begin(), part.end());
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
class ExactBuffer
{
public:
    explicit ExactBuffer(std::span<const std::uint8_t> data) : bytes_(new std::uint8_t[data.size()]), size_(data.size())
    {
        std::copy(data.begin(), data.end(), bytes_.get());
    }

    const std::uint8_t* data() const noexcept { return bytes_.get(); }
    std::span<const std::uint8_t> view() const noexcept { return {bytes_.get(), size_}; }
    std::int32_t length() const noexcept { return static_cast<std::int32_t>(size_); }

private:
    std::unique_ptr<std::uint8_t[]> bytes_;
    std::size_t size_;
};

}  // namespace zarnow::test
