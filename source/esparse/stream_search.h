/// @file
/// How the probes come by the outcome of a search; for their source files only.
#pragma once

#include "esparse/stream_probe.h"

namespace zarnow {

/// The search with these arguments. All that the tables list come with it, so that they share one pass; one that they
/// do not list begins a new pass.
template <class Search, class... Arguments>
Search& CStreamProbe::searchFor(CSearchPass<Search>& pass, Arguments... arguments)
{
    const std::uint32_t key = Search::keyOf(arguments...);
    if (pass.find(key) == nullptr) {
        if (pass.begun())
            pass.clear();
        addListedStreams(pass);
        pass.add(arguments...);
    }
    return *pass.find(key);
}

/// @return false when the stop flag is set
template <class Search>
bool CStreamProbe::readUntilEnded(CSearchPass<Search>& pass, const Search& search)
{
    if (search.ended())
        return !abortScan;
    if (pass.begun()) {
        file.resumeAt(pass.position());
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
            pass.look({.parser = *this, .bytes = block.bytes, .scratch = unescaped}, !block.full);
        else
            pass.end();
    }
    return true;
}

}  // namespace zarnow
