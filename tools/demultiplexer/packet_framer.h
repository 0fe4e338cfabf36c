#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "tools/demultiplexer/transport_packet.h"

namespace demux {

/// Cuts a byte stream that arrives in chunks of any size into transport packets.
///
/// While in sync every 188 bytes that start with a sync byte are a packet. Out of sync a sync byte counts only when
/// another one follows 188 bytes later, also when that one arrives with the next chunk. A whole packet inside a chunk
/// is handed on in place; only a packet that spans two chunks is copied.
class PacketFramer
{
public:
    /// Calls onPacket(PacketBytes) for every packet that is certain by now.
    template <typename OnPacket>
    void push(std::span<const std::uint8_t> chunk, OnPacket&& onPacket)
    {
        while (carried_ > 0 && !chunk.empty())
            chunk = completeCarried(chunk, onPacket);
        while (!chunk.empty())
            chunk = takeInPlace(chunk, onPacket);
    }

    /// The stream ends: a carried packet that is whole needs no sync byte behind it any more.
    template <typename OnPacket>
    void finish(OnPacket&& onPacket)
    {
        if (carried_ == kPacketSize)
            onPacket(carriedPacket());
        reset();
    }

    /// Forgets a carried part; the next chunk is expected to start with a packet.
    void reset() noexcept
    {
        carried_ = 0;
        inSync_ = true;
    }

private:
    using Bytes = std::span<const std::uint8_t>;

    PacketBytes carriedPacket() const noexcept { return PacketBytes{carry_.data(), kPacketSize}; }

    template <typename OnPacket>
    Bytes takeInPlace(Bytes chunk, OnPacket& onPacket)
    {
        if (chunk[0] != kSyncByte || refutedBy(chunk))
            return loseSync(chunk);
        if (chunk.size() < kPacketSize || (!inSync_ && chunk.size() == kPacketSize))
            return carryAll(chunk);
        inSync_ = true;
        onPacket(PacketBytes{chunk.data(), kPacketSize});
        return chunk.subspan(kPacketSize);
    }

    template <typename OnPacket>
    Bytes completeCarried(Bytes chunk, OnPacket& onPacket)
    {
        const std::size_t count = std::min(kPacketSize - carried_, chunk.size());
        std::memcpy(carry_.data() + carried_, chunk.data(), count);
        carried_ += count;
        chunk = chunk.subspan(count);
        if (carried_ < kPacketSize || (!inSync_ && chunk.empty()))
            return chunk;
        if (!inSync_ && chunk[0] != kSyncByte) {
            dropFalseSync();
            return chunk;
        }
        inSync_ = true;
        carried_ = 0;
        onPacket(carriedPacket());
        return chunk;
    }

    bool refutedBy(Bytes chunk) const noexcept;
    Bytes loseSync(Bytes chunk) noexcept;
    Bytes carryAll(Bytes chunk) noexcept;
    void dropFalseSync() noexcept;

    std::array<std::uint8_t, kPacketSize> carry_{};
    std::size_t carried_ = 0;
    bool inSync_ = true;
};

}  // namespace demux
