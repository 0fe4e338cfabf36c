/// @file
/// What a demultiplexer has been told.
#pragma once

#include <set>
#include <string>

#include "tools/common/utf8.h"
#include "tools/tsgraph/pin_facts.h"

namespace zarnow::test {

using Pins = std::set<std::string>;

/// Of every output pin: its name, its major type, and the PIDs mapped to it with what is made of each.
inline Pins demultiplexerPins(IBaseFilter& demultiplexer)
{
    Pins found;
    for (const tsgraph::PinFacts& pin : tsgraph::readPins(demultiplexer)) {
        const GUID major = *pin.type.Type();
        std::string text = toUtf8(pin.name);
        text += major == MEDIATYPE_Video ? " video" : major == MEDIATYPE_Audio ? " audio" : " PES";
        for (const PID_MAP& entry : pin.pids) {
            text += " " + std::to_string(entry.ulPID);
            text += entry.MediaSampleContent == MEDIA_ELEMENTARY_STREAM ? " elementary" : " payload";
        }
        found.insert(text);
    }
    return found;
}

}  // namespace zarnow::test
