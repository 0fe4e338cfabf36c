/// @file
/// What there is to be found in a block, for searches that look at one block in turn.
#pragma once

#include <bitset>
#include <cstdint>
#include <vector>

#include "analysis/packet_walk.h"

namespace zarnow {

/// Which packets the walk over a block meets, by their masked header words.
class CBlockWords
{
public:
    void note(const CPSIParser& parser, Bytes block)
    {
        for (const std::uint16_t word : words_)
            seen_.reset(word);
        words_.clear();
        CPacketWalk walk(parser, block);
        while (const std::uint8_t* packet = walk.next()) {
            const std::uint16_t word = maskedHeaderWord(packet);
            if (seen_[word])
                continue;
            seen_.set(word);
            words_.push_back(word);
        }
    }

    /// Every PID once.
    template <class Function>
    void forEachPid(Function function) const
    {
        for (const std::uint16_t word : words_) {
            const bool again = (word & kUnitStartBit) != 0 && seen_[word & ~kUnitStartBit];
            if (!again)
                function(pidOfHeaderKey(word));
        }
    }

    /// Whether a search for the key finds a packet.
    bool match(std::uint16_t headerKey) const noexcept { return seen_[headerKey] || seen_[withUnitStart(headerKey)]; }

private:
    std::vector<std::uint16_t> words_;
    std::bitset<0x10000> seen_;
};

}  // namespace zarnow
