/// @file
/// One pass over the file for all searches of a kind.
#pragma once

#include <cstdint>
#include <limits>
#include <unordered_map>
#include <utility>
#include <vector>

#include "analysis/block_packets.h"
#include "esparse/header_search.h"

namespace zarnow {

/// The searches advance together, so that the file is read once for all of them, and only as far as somebody asks for
/// the outcome of one of them.
template <class Search>
class CSearchPass
{
public:
    /// @param blockLimit  what has not come by then is not waited for
    explicit CSearchPass(std::uint32_t blockLimit = std::numeric_limits<std::uint32_t>::max()) : blockLimit_(blockLimit)
    {
    }

    void clear() noexcept
    {
        searches_.clear();
        pending_.clear();
        widePids_.clear();
        packets_.forgetWanted();
        blockCount_ = 0;
    }

    Search* find(std::uint32_t key) noexcept
    {
        const auto entry = searches_.find(key);
        return entry != searches_.end() ? &entry->second : nullptr;
    }

    /// Adds a search unless it is there. Only possible before the first block.
    template <class... Arguments>
    void add(Arguments... arguments)
    {
        const auto [entry, added] = searches_.try_emplace(Search::keyOf(arguments...), arguments...);
        if (added) {
            Search& search = entry->second;
            std::vector<Search*>& ofItsPid = pending_[search.pid()];
            if (search.pid() > kNullPid && ofItsPid.empty())
                widePids_.push_back(search.pid());
            ofItsPid.push_back(&search);
            packets_.want(search.headerKey());
        }
    }

    bool begun() const noexcept { return blockCount_ > 0; }
    std::int64_t position() const noexcept { return position_; }  ///< file offset of the next block
    void setPosition(std::int64_t position) noexcept { position_ = position; }

    /// Shows the next block to every search that has not ended.
    /// @param last  nothing is read behind it
    void look(CPSIParser& parser, Bytes bytes, bool last)
    {
        packets_.note(parser, bytes);
        position_ += static_cast<std::int64_t>(bytes.size());
        const ProbeBlock block{
            .parser = parser, .bytes = bytes, .packets = packets_, .scratch = scratch_, .end = position_};
        for (const std::uint16_t pid : widePids_)
            lookFor(pid, block);
        for (const std::uint16_t pid : packets_.pids())
            lookFor(pid, block);
        if (++blockCount_ == blockLimit_ || last)
            end();
    }

    /// Nothing more can be read.
    void end() noexcept
    {
        for (auto& [pid, searches] : pending_) {
            for (Search* search : searches)
                search->end();
        }
        pending_.clear();
    }

private:
    void lookFor(std::uint16_t pid, const ProbeBlock& block)
    {
        const auto entry = pending_.find(pid);
        if (entry == pending_.end())
            return;
        for (Search* search : entry->second) {
            if (!search->ended() && packets_.match(search->headerKey()))
                search->look(block);
        }
        std::erase_if(entry->second, [](const Search* search) { return search->ended(); });
        for (const Search* search : entry->second)
            packets_.want(search->headerKey());  // it may have changed
    }

    std::unordered_map<std::uint32_t, Search> searches_;
    std::unordered_map<std::uint16_t, std::vector<Search*>> pending_;  // those that have not ended, by PID
    std::vector<std::uint16_t> widePids_;  // of more than 13 bits, as a client may give: they match packets of others
    CBlockPackets packets_;
    std::vector<std::uint8_t> scratch_;
    std::int64_t position_ = 0;
    std::uint32_t blockCount_ = 0;
    std::uint32_t blockLimit_;
};

}  // namespace zarnow
