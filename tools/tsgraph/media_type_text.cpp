#include "tools/tsgraph/media_type_text.h"

#include <dvdmedia.h>

#include <cstring>
#include <optional>

#include "tools/common/formatted.h"
#include "tools/common/utf8.h"
#include "tools/tsgraph/media_type_names.h"

namespace tsgraph {
namespace {

std::string guidName(const GUID& guid)
{
    const MediaGuid* known = findMediaGuid(guid);
    return known != nullptr ? known->name : guidText(guid);
}

// The block may be unaligned and is only as long as it says.
template <typename Format>
std::optional<Format> readFormat(const AM_MEDIA_TYPE& type)
{
    if (type.pbFormat == nullptr || type.cbFormat < sizeof(Format))
        return std::nullopt;
    Format format;
    std::memcpy(&format, type.pbFormat, sizeof(Format));
    return format;
}

std::string sizeAndRate(const BITMAPINFOHEADER& picture, REFERENCE_TIME frameTime)
{
    const std::string size = formatted("%ld x %ld", picture.biWidth, picture.biHeight);
    return frameTime > 0 ? size + formatted(", %.3f frames/s", 1e7 / static_cast<double>(frameTime)) : size;
}

std::string bitRate(DWORD rate)
{
    return rate == 0 ? std::string{} : formatted(", %lu bit/s", rate);
}

std::string describeVideo2(const VIDEOINFOHEADER2& format)
{
    const char* scan = (format.dwInterlaceFlags & AMINTERLACE_IsInterlaced) != 0 ? "interlaced" : "progressive";
    return sizeAndRate(format.bmiHeader, format.AvgTimePerFrame) +
           formatted(", %lu:%lu, %s", format.dwPictAspectRatioX, format.dwPictAspectRatioY, scan) +
           bitRate(format.dwBitRate);
}

std::string describeVideo(const VIDEOINFOHEADER& format)
{
    return sizeAndRate(format.bmiHeader, format.AvgTimePerFrame) + bitRate(format.dwBitRate);
}

std::string describeMpeg2Video(const MPEG2VIDEOINFO& format)
{
    return describeVideo2(format.hdr) + formatted(", profile %lu, level %lu, %lu bytes of sequence header",
                                                  format.dwProfile, format.dwLevel, format.cbSequenceHeader);
}

std::string describeMpeg1Video(const MPEG1VIDEOINFO& format)
{
    return describeVideo(format.hdr) + formatted(", %lu bytes of sequence header", format.cbSequenceHeader);
}

std::string describeAudio(const WAVEFORMATEX& format)
{
    return formatted("%u channel%s, %lu Hz, %u bit, %lu byte/s", unsigned{format.nChannels},
                     format.nChannels == 1 ? "" : "s", format.nSamplesPerSec, unsigned{format.wBitsPerSample},
                     format.nAvgBytesPerSec);
}

template <typename Format>
std::string describeBlock(const AM_MEDIA_TYPE& type, std::string (*describe)(const Format&))
{
    const std::optional<Format> format = readFormat<Format>(type);
    return format ? describe(*format) : formatted("a format block of only %lu bytes", type.cbFormat);
}

std::string describeFormat(const AM_MEDIA_TYPE& type)
{
    if (type.formattype == FORMAT_MPEG2Video)
        return describeBlock(type, describeMpeg2Video);
    if (type.formattype == FORMAT_MPEGVideo)
        return describeBlock(type, describeMpeg1Video);
    if (type.formattype == FORMAT_VideoInfo2)
        return describeBlock(type, describeVideo2);
    if (type.formattype == FORMAT_VideoInfo)
        return describeBlock(type, describeVideo);
    if (type.formattype == FORMAT_WaveFormatEx)
        return describeBlock(type, describeAudio);
    return formatted("%lu bytes of format", type.cbFormat);
}

// The filter states the byte rate of Layer II only, and uses one subtype for all layers.
bool isLayer3(const AM_MEDIA_TYPE& type)
{
    if (type.subtype != MEDIASUBTYPE_MPEG1AudioPayload)
        return false;
    const std::optional<WAVEFORMATEX> format = readFormat<WAVEFORMATEX>(type);
    return format && format->nAvgBytesPerSec == 0;
}

}  // namespace

std::string guidText(const GUID& guid)
{
    wchar_t text[40];
    const int length = StringFromGUID2(guid, text, static_cast<int>(std::size(text)));
    return length > 0 ? toUtf8({text, static_cast<std::size_t>(length) - 1}) : std::string{};
}

std::string describeMediaType(const AM_MEDIA_TYPE& type)
{
    return guidName(type.majortype) + " / " + guidName(type.subtype) + " / " + guidName(type.formattype) + ": " +
           describeFormat(type);
}

std::string streamExtension(const AM_MEDIA_TYPE& type)
{
    if (isLayer3(type))
        return "mp3";
    const MediaGuid* subtype = findMediaGuid(type.subtype);
    return subtype != nullptr && subtype->extension != nullptr ? subtype->extension : "es";
}

}  // namespace tsgraph
