/// @file
/// One output pin of the demultiplexer downstream: its creation with a media type, and the PID it carries.
#pragma once

#include <streams.h>
#include <bdaiface.h>

#include <cstdint>

namespace zarnow {

/// Prefixes of the pins' names; a name is a prefix and one digit.
namespace pin_prefix {
inline constexpr const wchar_t* kMpeg2 = L"MPEG2_";
inline constexpr const wchar_t* kMpeg1 = L"MPEG1_";
inline constexpr const wchar_t* kH264 = L"H264_";
inline constexpr const wchar_t* kAudio = L"AUDIO_";
inline constexpr const wchar_t* kAc3 = L"AC3_";
inline constexpr const wchar_t* kLpcm = L"LPCM_";
}  // namespace pin_prefix

struct DemultiplexerPin
{
    const wchar_t* prefix;
    std::size_t index;  ///< of the stream in its own list, the name's digit
    std::uint16_t pid;
    MEDIA_SAMPLE_CONTENT content;
};

/// Removes the pin of that name, if there is one.
void deleteDemultiplexerPin(IMpeg2Demultiplexer& demultiplexer, const wchar_t* prefix, std::size_t index);

/// Replaces the pin of that name and maps the PID to it.
/// @return E_FAIL when no pin comes back or it cannot map PIDs (it is then left unmapped), else MapPID's result
HRESULT createDemultiplexerPin(IMpeg2Demultiplexer& demultiplexer, const DemultiplexerPin& plan, CMediaType& type);

}  // namespace zarnow
