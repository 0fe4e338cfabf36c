/// @file
/// What the search for a stream's header did, kept for the streams and selections that ask again.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <unordered_map>

#include "esparse/probe_records.h"

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

/// A search for a video header: also one that found none may leave fields behind.
struct VideoSearch
{
    bool found = false;
    bool looked = false;  ///< at any packet
    CWrittenBytes<VideoProbeRecord> record;
    CWrittenBytes<AvcStreamInfo> avc;

    void applyTo(VideoProbeRecord& target, AvcStreamInfo& info) const noexcept;
};

/// A search for an audio header: the record is cleared for every packet looked at.
struct AudioSearch
{
    bool found = false;
    bool looked = false;
    AudioProbeRecord record;
};

/// By what was searched for; see the keys below.
template <class Search>
using ProbeCache = std::unordered_map<std::uint32_t, Search>;

constexpr std::uint32_t videoSearchKey(std::uint16_t pid, bool avc) noexcept
{
    return pid | (avc ? 0x10000U : 0U);
}

constexpr std::uint32_t audioSearchKey(std::uint16_t pid, std::uint8_t streamType, bool lpcmMode) noexcept
{
    return pid | static_cast<std::uint32_t>(streamType) << 16 | (lpcmMode ? 0x1000000U : 0U);
}

}  // namespace zarnow
