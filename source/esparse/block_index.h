/// @file
/// Which packets the walk over each block of the file meets, so that no search reads a block in vain.
#pragma once

#include <cstdint>
#include <optional>
#include <unordered_map>
#include <vector>

#include "analysis/packet_walk.h"

namespace zarnow {

/// Grows block by block as the file is read for the first time.
class CBlockIndex
{
public:
    void clear() noexcept { *this = {}; }

    /// Takes note of the next block. @param last  nothing is read behind it
    void add(const CPSIParser& parser, Bytes block, bool last);

    std::uint32_t blockCount() const noexcept { return count_; }
    bool complete() const noexcept { return complete_; }

    /// Nothing more can be read; the file ends with the last block noted.
    void end() noexcept { complete_ = true; }

    /// The first block from `from` on in which a search for the key finds a packet; none among those noted.
    std::optional<std::uint32_t> find(std::uint16_t headerKey, std::uint32_t from) const;

private:
    std::uint32_t nextWith(std::uint16_t word, std::uint32_t from) const;

    std::unordered_map<std::uint16_t, std::vector<std::uint32_t>> blocks_;  // by masked header word, ascending
    std::uint32_t count_ = 0;
    bool complete_ = false;
};

}  // namespace zarnow
