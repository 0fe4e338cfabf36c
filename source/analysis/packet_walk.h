/// @file
/// The forward walk over a block of the file, packet by packet.
#pragma once

#include "analysis/psi_parser.h"

namespace zarnow {

/// Begins at the block's first byte when that is a sync byte, else at the first confirmed one. Ends where a sync byte
/// is missing, and before a packet that ends where the block ends. Packets marked as in error are stepped over.
class CPacketWalk
{
public:
    CPacketWalk(const CPSIParser& parser, Bytes block) noexcept
        : block_(block.data()), next_(block.data()), step_(parser.packetSize)
    {
        const std::size_t size = block.size();
        end_ = block_ + (size > step_ ? size - step_ : 0);
        const bool aligned = size > 0 && block[0] == kSyncByte;
        std::uint32_t start = 0;
        if (!aligned)
            next_ += parser.findSync(block_, static_cast<std::int32_t>(size), start) ? start : size;
    }

    /// The next packet's sync byte; more than one packet size of the block is left from there. Null at the walk's end.
    const std::uint8_t* next() noexcept
    {
        const std::uint8_t* packet = nextEvenInError();
        while (packet != nullptr && isInError(packet))
            packet = nextEvenInError();
        return packet;
    }

    /// The same, but packets marked as in error are not stepped over.
    const std::uint8_t* nextEvenInError() noexcept
    {
        if (next_ >= end_ || *next_ != kSyncByte)
            return nullptr;
        const std::uint8_t* packet = next_;
        next_ += step_;
        return packet;
    }

    /// The next packet of a PID, or null.
    const std::uint8_t* nextOf(std::uint16_t headerKey) noexcept
    {
        const std::uint8_t* packet = next();
        while (packet != nullptr && !matchesKey(maskedHeaderWord(packet), headerKey))
            packet = next();
        return packet;
    }

    /// Offset in the block of the packet to be looked at next.
    std::size_t position() const noexcept { return static_cast<std::size_t>(next_ - block_); }

private:
    const std::uint8_t* block_;
    const std::uint8_t* next_;
    const std::uint8_t* end_;  // no packet from here on
    std::size_t step_;
};

/// Whether all sync bytes that confirm each other, three at packet distance, lie whole packets before or behind a given
/// one. False also where that is not told quickly.
bool allSyncsOnGrid(Bytes block, std::size_t origin, std::size_t packetSize) noexcept;

}  // namespace zarnow
