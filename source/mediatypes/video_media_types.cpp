#include "mediatypes/video_media_types.h"

#include <dvdmedia.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace zarnow {

namespace {

// Kept: the blocks are longer than their content needs. Receivers copy them by cbFormat and have always got these
// sizes.
constexpr ULONG kMpeg2BlockExtra = 146;
constexpr ULONG kMpeg1BlockExtra = 114;
constexpr ULONG kAvcBlockSize = 212;

constexpr REFERENCE_TIME kAvcFrameTime = 333667;  // 29.97 frames per second, whatever the stream's own rate
constexpr DWORD kInterlacedFieldOneFirst = AMINTERLACE_IsInterlaced | AMINTERLACE_Field1First;

// The fourcc subtypes' common base; Data1 is the FourCC.
constexpr GUID kSubtypeAvc1 = {
    MAKEFOURCC('A', 'V', 'C', '1'), 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};

static_assert(offsetof(MPEG2VIDEOINFO, dwSequenceHeader) == 132);
static_assert(offsetof(MPEG1VIDEOINFO, bSequenceHeader) == 96);
static_assert(sizeof(VIDEOINFOHEADER2) == 112);

/// A zeroed format block, or null without memory.
template <class Block>
Block* allocateBlock(CMediaType& type, ULONG size)
{
    BYTE* block = type.AllocFormatBuffer(size);
    if (block == nullptr)
        return nullptr;
    std::memset(block, 0, size);
    return reinterpret_cast<Block*>(block);
}

void setVideoType(CMediaType& type, const GUID& major, const GUID& subtype, const GUID& format)
{
    type.InitMediaType();
    type.SetType(&major);
    type.SetSubtype(&subtype);
    type.SetFormatType(&format);
    type.SetVariableSize();
    type.SetTemporalCompression(TRUE);
}

LONG widthOf(const VideoProbeRecord& stream) noexcept
{
    return static_cast<LONG>(stream.codedWidth);
}

LONG heightOf(const VideoProbeRecord& stream) noexcept
{
    return static_cast<LONG>(stream.codedHeight);
}

void fillBitmapHeader(BITMAPINFOHEADER& header, const VideoProbeRecord& stream) noexcept
{
    header.biSize = sizeof(BITMAPINFOHEADER);
    header.biWidth = widthOf(stream);
    header.biHeight = heightOf(stream);
    header.biPlanes = 1;
}

/// What MPEG-1 and MPEG-2 video have in common.
template <class VideoHeader>
void fillMpegHeader(VideoHeader& header, const VideoProbeRecord& stream) noexcept
{
    header.rcSource.right = widthOf(stream);
    header.rcSource.bottom = heightOf(stream);
    header.dwBitRate = stream.bitRate;
    header.AvgTimePerFrame = stream.avgTimePerFrame;
    fillBitmapHeader(header.bmiHeader, stream);
    header.bmiHeader.biSizeImage = stream.codedWidth * stream.codedHeight * 2;
    header.bmiHeader.biXPelsPerMeter = static_cast<LONG>(stream.pelsPerMeterX);
    header.bmiHeader.biYPelsPerMeter = static_cast<LONG>(stream.pelsPerMeterY);
}

}  // namespace

bool describeMpeg2Video(const VideoProbeRecord& stream, CMediaType& type)
{
    setVideoType(type, MEDIATYPE_Video, MEDIASUBTYPE_MPEG2_VIDEO, FORMAT_MPEG2Video);
    auto* block = allocateBlock<MPEG2VIDEOINFO>(type, stream.sequenceHeaderLength + kMpeg2BlockExtra);
    if (block == nullptr)
        return false;
    fillMpegHeader(block->hdr, stream);
    block->hdr.dwInterlaceFlags = stream.progressive != 0 ? 0 : kInterlacedFieldOneFirst;
    block->hdr.dwPictAspectRatioX = stream.aspectX;
    block->hdr.dwPictAspectRatioY = stream.aspectY;
    block->cbSequenceHeader = stream.sequenceHeaderLength;
    block->dwProfile = 6 - stream.profile;     // to AM_MPEG2Profile
    block->dwLevel = (12 - stream.level) / 2;  // to AM_MPEG2Level
    std::copy_n(stream.sequenceHeader.data(), stream.sequenceHeaderLength,
                type.Format() + offsetof(MPEG2VIDEOINFO, dwSequenceHeader));
    return true;
}

bool describeMpeg1Video(const VideoProbeRecord& stream, CMediaType& type)
{
    setVideoType(type, MEDIATYPE_Video, MEDIASUBTYPE_MPEG1Payload, FORMAT_MPEGVideo);
    auto* block = allocateBlock<MPEG1VIDEOINFO>(type, stream.sequenceHeaderLength + kMpeg1BlockExtra);
    if (block == nullptr)
        return false;
    fillMpegHeader(block->hdr, stream);
    block->cbSequenceHeader = stream.sequenceHeaderLength;
    std::copy_n(stream.sequenceHeader.data(), stream.sequenceHeaderLength,
                type.Format() + offsetof(MPEG1VIDEOINFO, bSequenceHeader));
    return true;
}

bool describeAvcVideo(const VideoProbeRecord& stream, CMediaType& type)
{
    setVideoType(type, MEDIATYPE_MPEG2_PES, kSubtypeAvc1, FORMAT_VideoInfo2);
    auto* block = allocateBlock<VIDEOINFOHEADER2>(type, kAvcBlockSize);
    if (block == nullptr)
        return false;
    block->rcSource.right = widthOf(stream);
    block->rcSource.bottom = heightOf(stream) / 16 * 16;  // kept: 1080 becomes 1072
    block->AvgTimePerFrame = kAvcFrameTime;
    block->dwInterlaceFlags = stream.progressive != 0 ? 0 : AMINTERLACE_IsInterlaced;
    block->dwPictAspectRatioX = stream.aspectX;
    block->dwPictAspectRatioY = stream.aspectY;
    fillBitmapHeader(block->bmiHeader, stream);
    block->bmiHeader.biCompression = MAKEFOURCC('H', '2', '6', '4');
    block->bmiHeader.biSizeImage = stream.bitRate;  // kept: not a picture size
    return true;
}

}  // namespace zarnow
