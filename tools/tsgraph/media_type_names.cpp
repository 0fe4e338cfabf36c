#include "tools/tsgraph/media_type_names.h"

#include <dshow.h>
#include <dvdmedia.h>
#include <mmreg.h>

#include <algorithm>
#include <iterator>

namespace tsgraph {
namespace {

// A four-character code, or the tag of a wave format, as a subtype.
constexpr GUID codeGuid(DWORD code)
{
    return {code, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xaa, 0x00, 0x38, 0x9b, 0x71}};
}

constexpr DWORD fourCc(char a, char b, char c, char d)
{
    const auto byte = [](char value, unsigned shift) { return static_cast<DWORD>(value) << shift; };
    return byte(a, 0) | byte(b, 8) | byte(c, 16) | byte(d, 24);
}

// The subtype that the filter gives LPCM pins.
constexpr GUID kTransportLpcm{0x525f0058, 0x522f, 0x4312, {0xb4, 0x0f, 0x11, 0xac, 0x41, 0x58, 0xe0, 0x2b}};

const MediaGuid kMediaGuids[] = {
    {MEDIATYPE_Video, "MEDIATYPE_Video", nullptr},
    {MEDIATYPE_Audio, "MEDIATYPE_Audio", nullptr},
    {MEDIATYPE_MPEG2_PES, "MEDIATYPE_MPEG2_PES", nullptr},
    {MEDIATYPE_Stream, "MEDIATYPE_Stream", nullptr},
    {MEDIASUBTYPE_MPEG2_TRANSPORT, "MEDIASUBTYPE_MPEG2_TRANSPORT", "ts"},
    {MEDIASUBTYPE_MPEG2_VIDEO, "MEDIASUBTYPE_MPEG2_VIDEO", "m2v"},
    {MEDIASUBTYPE_MPEG1Payload, "MEDIASUBTYPE_MPEG1Payload", "m1v"},
    {codeGuid(fourCc('A', 'V', 'C', '1')), "'AVC1'", "h264"},
    {codeGuid(fourCc('H', '2', '6', '4')), "'H264'", "h264"},
    {MEDIASUBTYPE_MPEG1AudioPayload, "MEDIASUBTYPE_MPEG1AudioPayload", "mp2"},
    {MEDIASUBTYPE_MPEG2_AUDIO, "MEDIASUBTYPE_MPEG2_AUDIO", "mp2"},
    {MEDIASUBTYPE_DOLBY_AC3, "MEDIASUBTYPE_DOLBY_AC3", "ac3"},
    {codeGuid(WAVE_FORMAT_RAW_AAC1), "MEDIASUBTYPE_RAW_AAC1", "aac"},
    {codeGuid(fourCc('L', 'A', 'T', 'M')), "'LATM'", "latm"},
    {kTransportLpcm, "LPCM", "lpcm"},
    {FORMAT_MPEG2Video, "FORMAT_MPEG2Video", nullptr},
    {FORMAT_MPEGVideo, "FORMAT_MPEGVideo", nullptr},
    {FORMAT_VideoInfo, "FORMAT_VideoInfo", nullptr},
    {FORMAT_VideoInfo2, "FORMAT_VideoInfo2", nullptr},
    {FORMAT_WaveFormatEx, "FORMAT_WaveFormatEx", nullptr},
    {GUID_NULL, "GUID_NULL", nullptr},
};

}  // namespace

const MediaGuid* findMediaGuid(const GUID& guid)
{
    const auto found = std::ranges::find_if(kMediaGuids, [&](const MediaGuid& each) { return each.guid == guid; });
    return found == std::end(kMediaGuids) ? nullptr : found;
}

}  // namespace tsgraph
