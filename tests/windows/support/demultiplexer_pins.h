/// @file
/// What a demultiplexer has been told.
#pragma once

#include <set>
#include <string>

#include "tools/common/formatted.h"
#include "tools/common/utf8.h"
#include "tools/tsgraph/media_type_names.h"
#include "tools/tsgraph/pin_facts.h"

namespace zarnow::test {

using Pins = std::set<std::string>;

/// "'LATM' 2 x 16 bit, 48000 Hz, 28000 byte/s", and the size of samples that are not compressed.
inline std::string audioText(const CMediaType& type)
{
    const auto& wave = *reinterpret_cast<const WAVEFORMATEX*>(type.Format());
    return formatted("%s %u x %u bit, %lu Hz, %lu byte/s%s", tsgraph::findMediaGuid(type.subtype)->name,
                     unsigned{wave.nChannels}, unsigned{wave.wBitsPerSample}, wave.nSamplesPerSec, wave.nAvgBytesPerSec,
                     type.bTemporalCompression != FALSE ? "" : formatted(", by %lu", type.lSampleSize).c_str());
}

/// Of every output pin: its name, its major type, the PIDs mapped to it with what is made of each, and audio formats.
inline Pins demultiplexerPins(IBaseFilter& demultiplexer)
{
    Pins found;
    for (const tsgraph::PinFacts& pin : tsgraph::readPins(demultiplexer)) {
        const GUID& major = pin.type.majortype;
        std::string text = toUtf8(pin.name);
        text += major == MEDIATYPE_Video ? " video" : major == MEDIATYPE_Audio ? " audio" : " PES";
        for (const PID_MAP& entry : pin.pids) {
            text += " " + std::to_string(entry.ulPID);
            text += entry.MediaSampleContent == MEDIA_ELEMENTARY_STREAM ? " elementary" : " payload";
        }
        found.insert(pin.type.formattype == FORMAT_WaveFormatEx ? text + ": " + audioText(pin.type) : text);
    }
    return found;
}

}  // namespace zarnow::test
