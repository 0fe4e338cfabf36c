/// @file
/// What there is to be found in a block, for searches that look at one block in turn.
#pragma once

#include <bitset>
#include <cstdint>
#include <vector>

#include "analysis/packet_walk.h"

namespace zarnow {

/// The packets that the walk over a block meets, by their masked header words.
class CBlockPackets
{
public:
    void note(const CPSIParser& parser, Bytes block)
    {
        clear();
        step_ = parser.packetSize;
        words_.resize(block.size() / step_ + 1);
        std::uint16_t* place = words_.data();
        CPacketWalk walk(parser, block);
        first_ = walk.position();
        std::uint16_t word = kInError;
        while (const std::uint8_t* packet = walk.nextEvenInError()) {
            const std::uint16_t next = headerWordWithError(packet);
            if (next != word) {  // packets of a stream mostly come in runs
                word = (next & kTransportErrorBit) != 0 ? kInError : next;
                noteDistinct(word);
            }
            *place++ = word;
        }
        words_.resize(static_cast<std::size_t>(place - words_.data()));
        reachedEnd_ = walk.position() + step_ >= block.size();
    }

    const std::vector<std::uint16_t>& distinctWords() const noexcept { return distinctWords_; }

    /// Whether a search for the key finds a packet.
    bool match(std::uint16_t headerKey) const noexcept { return seen_[headerKey] || seen_[withUnitStart(headerKey)]; }

    bool has(std::uint16_t word) const noexcept { return seen_[word]; }

    /// Where the packet lies in the block that the walk met in that place.
    std::size_t offsetOf(std::size_t place) const noexcept { return first_ + place * step_; }

    /// The first place from `place` on with a packet for the key, or behind the last one.
    std::size_t findPlace(std::size_t place, std::uint16_t headerKey) const noexcept
    {
        while (place < words_.size() && !matchesKey(words_[place], headerKey))
            ++place;
        return place;
    }

    std::size_t placeCount() const noexcept { return words_.size(); }

    /// Whether the test holds for any packet.
    template <class Test>
    bool any(Bytes block, Test test) const
    {
        const std::uint8_t* packet = block.data() + first_;
        for (std::size_t left = words_.size(); left > 0; --left, packet += step_) {
            if (test(packet))
                return true;
        }
        return false;
    }

    /// Whether no search that begins behind the first packet comes upon a packet elsewhere, unless it begins at a sync
    /// byte. False also where that is not told quickly.
    bool areAllThereAre(Bytes block) const noexcept { return reachedEnd_ && allSyncsOnGrid(block, first_, step_); }

private:
    static constexpr std::uint16_t kInError = 0xFFFF;  // no masked word has all bits set

    void noteDistinct(std::uint16_t word)
    {
        if (seen_[word] || word == kInError)
            return;
        seen_.set(word);
        distinctWords_.push_back(word);
    }

    void clear()
    {
        for (const std::uint16_t word : distinctWords_)
            seen_.reset(word);
        distinctWords_.clear();
        words_.clear();
    }

    std::size_t first_ = 0;
    std::size_t step_ = kPacketSize;
    bool reachedEnd_ = false;           // no sync byte was missing
    std::vector<std::uint16_t> words_;  // of the packets in the places one step apart
    std::vector<std::uint16_t> distinctWords_;
    std::bitset<0x10000> seen_;
};

}  // namespace zarnow
