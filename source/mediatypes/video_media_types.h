/// @file
/// Media types of the demultiplexer's video pins, made from what probing found.
///
/// All three: variable-size samples of nominal size 1, temporal compression; the bytes of the format block behind the
/// filled ones are zero. Header fields are used as they stand.
#pragma once

#include <streams.h>

#include "esparse/probe_records.h"

namespace zarnow {

// Each sets the whole media type. false: no memory for the format block.

/// MPEG2VIDEOINFO with the sequence header; the block is 14 bytes longer than that.
bool describeMpeg2Video(const VideoProbeRecord& stream, CMediaType& type);

/// MPEG1VIDEOINFO with the sequence header; the block is 18 bytes longer than the header and the 96 bytes before it.
bool describeMpeg1Video(const VideoProbeRecord& stream, CMediaType& type);

/// PES data with a VIDEOINFOHEADER2 of 29.97 frames per second, in a block of 212 bytes, without parameter sets.
bool describeAvcVideo(const VideoProbeRecord& stream, CMediaType& type);

}  // namespace zarnow
