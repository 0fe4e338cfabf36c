#include "esparse/block_index.h"

#include <algorithm>

namespace zarnow {

void CBlockIndex::add(const CPSIParser& parser, Bytes block, bool last)
{
    CPacketWalk walk(parser, block);
    while (const std::uint8_t* packet = walk.next()) {
        std::vector<std::uint32_t>& blocks = blocks_[maskedHeaderWord(packet)];
        if (blocks.empty() || blocks.back() != count_)
            blocks.push_back(count_);
    }
    ++count_;
    complete_ = last;
}

std::uint32_t CBlockIndex::nextWith(std::uint16_t word, std::uint32_t from) const
{
    const auto entry = blocks_.find(word);
    if (entry == blocks_.end())
        return count_;
    const auto next = std::lower_bound(entry->second.begin(), entry->second.end(), from);
    return next != entry->second.end() ? *next : count_;
}

std::optional<std::uint32_t> CBlockIndex::find(std::uint16_t headerKey, std::uint32_t from) const
{
    const std::uint32_t block = std::min(nextWith(headerKey, from), nextWith(withUnitStart(headerKey), from));
    return block < count_ ? std::optional(block) : std::nullopt;
}

}  // namespace zarnow
