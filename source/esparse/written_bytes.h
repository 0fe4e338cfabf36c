/// @file
/// What a run of parsers does to a record, to be done again to another one.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace zarnow {

/// The bytes that a run of parsers wrote into a record, whatever was in it before: the run is made on two records that
/// differ in every byte, and what is equal afterwards was written. Nothing but whole bytes is ever written.
template <class Record>
class CWrittenBytes
{
public:
    CWrittenBytes() noexcept
    {
        std::memset(static_cast<void*>(&first), 0x00, sizeof(Record));
        std::memset(static_cast<void*>(&second), 0xFF, sizeof(Record));
    }

    void applyTo(Record& record) const noexcept
    {
        std::array<std::uint8_t, sizeof(Record)> bytes;
        std::array<std::uint8_t, sizeof(Record)> a;
        std::array<std::uint8_t, sizeof(Record)> b;
        std::memcpy(bytes.data(), &record, sizeof(Record));
        std::memcpy(a.data(), &first, sizeof(Record));
        std::memcpy(b.data(), &second, sizeof(Record));
        for (std::size_t i = 0; i < sizeof(Record); ++i)
            bytes[i] = a[i] == b[i] ? a[i] : bytes[i];
        std::memcpy(static_cast<void*>(&record), bytes.data(), sizeof(Record));
    }

    Record first;
    Record second;
};

}  // namespace zarnow
