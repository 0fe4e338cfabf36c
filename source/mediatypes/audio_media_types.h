/// @file
/// Media types of the demultiplexer's audio pins, made from what probing found.
///
/// All carry a plain 18-byte WAVEFORMATEX with wFormatTag 0; nBlockAlign is channels x bits, not divided by 8. Fixed
/// size samples of 1 byte, temporal compression, except for LPCM.
#pragma once

#include <streams.h>

#include "esparse/probe_records.h"

namespace zarnow {

// Each sets the whole media type. false: no memory for the format block.

/// @param mpeg2       stream_type 0x04; a layer other than II is then taken for AAC
/// @param avcPresent  the program's last video stream is AVC: the pin then carries PES data
bool describeMpegAudio(const AudioProbeRecord& stream, bool mpeg2, bool avcPresent, CMediaType& type);

/// The same fixed format for every AAC stream; only the subtype tells ADTS from LATM.
bool describeAac(const AudioProbeRecord& stream, CMediaType& type);

bool describeAc3(const AudioProbeRecord& stream, bool avcPresent, CMediaType& type);

/// PES data in samples of one transport packet.
bool describeLpcm(const AudioProbeRecord& stream, CMediaType& type);

}  // namespace zarnow
