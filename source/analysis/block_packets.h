/// @file
/// What there is to be found in a block, for searches that look at one block in turn.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "analysis/packet_walk.h"

namespace zarnow {

/// The packets that the walk over a block meets and that some search looks for. Most of a recording nobody looks for:
/// that is told of a packet by one look at a table.
class CBlockPackets
{
public:
    /// From the next block on, packets that a search for the key finds are noted.
    void want(std::uint16_t headerKey) noexcept
    {
        for (const std::uint16_t word : {headerKey, withUnitStart(headerKey)}) {
            if (isMasked(word) && interest_[placeOf(word)] == Interest::none)
                interest_[placeOf(word)] = Interest::wanted;
        }
    }

    /// The notes of the last block are gone, too.
    void forgetWanted() noexcept
    {
        interest_ = {};
        pids_.clear();
        packets_ = {};  // may be large
        count_ = 0;
    }

    void note(const CPSIParser& parser, Bytes block)
    {
        clear();
        step_ = parser.packetSize;
        if (const std::size_t most = block.size() / step_ + 1; packets_.size() < most)
            packets_.resize(most);
        CPacketWalk walk(parser, block);
        first_ = walk.position();
        const std::uint8_t** end = packets_.data();
        std::uint32_t lastNoted = kNoWord;
        while (const std::uint8_t* packet = walk.nextEvenInError()) {
            const std::uint32_t word = bigEndian16(Bytes(packet, kPacketHeaderSize), 1);
            if (word != lastNoted) {  // wanted packets mostly come in runs
                if (interest_[word & kPlaceMask] == Interest::none || (word & kErrorMask) != 0)
                    continue;
                lastNoted = word;
                noteKind(word & kPlaceMask);
            }
            *end++ = packet;
        }
        count_ = static_cast<std::size_t>(end - packets_.data());
        reachedEnd_ = walk.position() + step_ >= block.size();
    }

    /// The sync bytes of the packets, in order.
    std::span<const std::uint8_t* const> noted() const noexcept { return std::span(packets_).first(count_); }

    /// The PIDs of the packets, each once.
    const std::vector<std::uint16_t>& pids() const noexcept { return pids_; }

    /// Whether a search for the key, which was wanted, finds a packet.
    bool match(std::uint16_t headerKey) const noexcept { return isMet(headerKey) || isMet(withUnitStart(headerKey)); }

    std::size_t firstOffset() const noexcept { return first_; }  ///< where the walk over the block began

    /// Whether no search that begins behind the first packet comes upon a packet elsewhere, unless it begins at a sync
    /// byte. False also where that is not told quickly.
    bool areAllThereAre(Bytes block) const noexcept { return reachedEnd_ && allSyncsOnGrid(block, first_, step_); }

private:
    enum class Interest : std::uint8_t { none, wanted, met };

    // Of bytes 1 and 2 of a packet, which tell its place in the table: its header word with the bytes swapped.
    static constexpr std::uint32_t kErrorMask = kTransportErrorBit << 8;
    static constexpr std::uint32_t kStartMask = kUnitStartBit << 8;
    static constexpr std::uint32_t kPlaceMask = kStartMask | kPidMask;
    static constexpr std::uint32_t kNoWord = 0x10000;

    static std::size_t placeOf(std::uint16_t maskedWord) noexcept
    {
        return (maskedWord & 0xFFU) << 8 | maskedWord >> 8;
    }

    bool isMet(std::uint16_t word) const noexcept
    {
        return isMasked(word) && interest_[placeOf(word)] == Interest::met;
    }

    void noteKind(std::uint32_t place)
    {
        const bool pidKnown = interest_[place] == Interest::met || interest_[place ^ kStartMask] == Interest::met;
        if (!pidKnown)
            pids_.push_back(static_cast<std::uint16_t>(place & kPidMask));
        interest_[place] = Interest::met;
    }

    void clear() noexcept
    {
        for (const std::uint16_t pid : pids_) {
            for (Interest* interest : {&interest_[pid], &interest_[pid | kStartMask]})
                *interest = std::min(*interest, Interest::wanted);
        }
        pids_.clear();
        count_ = 0;
    }

    std::array<Interest, kPlaceMask + 1> interest_{};
    std::size_t first_ = 0;
    std::size_t step_ = kPacketSize;
    bool reachedEnd_ = false;                   // no sync byte was missing
    std::vector<const std::uint8_t*> packets_;  // the first `count_`; the others are left from earlier blocks
    std::size_t count_ = 0;
    std::vector<std::uint16_t> pids_;
};

}  // namespace zarnow
