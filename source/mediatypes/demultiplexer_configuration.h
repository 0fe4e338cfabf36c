/// @file
/// Tells the demultiplexer downstream which streams of the selected program to split, and as what.
#pragma once

#include <streams.h>

#include <span>

#include "esparse/probe_records.h"

namespace zarnow {

/// The selected program's streams; a record with PID 0 ends its list.
struct ProgramStreams
{
    std::span<const VideoProbeRecord> video;
    std::span<const AudioProbeRecord> audio;
};

/// Removes stale pins of the demultiplexer that `outputPin` is connected to, and creates one pin for every stream.
/// A stream that fails does not keep the others from getting theirs.
/// @param avcPresent  out: whether the last video stream is AVC; untouched when there is none. Its audio pins then
///                    carry PES data.
/// @return VFW_E_NOT_CONNECTED without a connection; S_OK when the filter there is no demultiplexer; else the result
///         of the last audio pin, S_OK without one
HRESULT ConfigureDemultiplexer(IPin* outputPin, const ProgramStreams& streams, bool& avcPresent);

}  // namespace zarnow
