/// @file
/// How the probes come by the outcome of a search; for their source files only.
#pragma once

#include <utility>

#include "esparse/stream_probe.h"

namespace zarnow {

/// The search with these arguments. All that the tables list come with it, so that they share one pass; one that they
/// do not list begins a new pass.
template <class Search, class... Arguments>
Search& CStreamProbe::searchFor(CSearchPass<Search>& pass, Arguments... arguments)
{
    const std::uint32_t key = Search::keyOf(arguments...);
    if (pass.find(key) == nullptr) {
        const bool failedBefore = std::exchange(searchFailed, true);  // should there be no memory for all of it
        if (pass.begun())
            pass.clear();
        addListedStreams(pass);
        pass.add(arguments...);
        searchFailed = failedBefore;
    }
    return *pass.find(key);
}

/// @return false when the stop flag is set
template <class Search>
bool CStreamProbe::readUntilEnded(CSearchPass<Search>& pass, const Search& search)
{
    if (search.ended() || abortScan)
        return !abortScan;
    bool failed = std::exchange(searchFailed, true);
    if (pass.begun()) {
        failed = !file.resumeAt(pass.position()) || failed;
    } else {
        seekToFirstPacket();
        pass.setPosition(file.position());
    }
    while (!search.ended()) {
        Block block;
        const bool read = !abortScan && readBlock(probeBlockSize(), block);
        if (abortScan)
            return false;
        if (read)
            pass.look(*this, block.bytes, !block.full);
        else
            pass.end();
        failed = failed || !read;
    }
    searchFailed = failed;
    return true;
}

}  // namespace zarnow
