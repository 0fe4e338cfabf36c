#include "mediatypes/audio_media_types.h"

#include "analysis/packet.h"
#include "analysis/stream_type.h"

namespace zarnow {

namespace {

/// A subtype on the common base of FourCCs and wave format tags.
constexpr GUID tagSubtype(DWORD tag) noexcept
{
    return {tag, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};
}

constexpr GUID kSubtypeRawAac = tagSubtype(0x00FF);
constexpr GUID kSubtypeLatm = tagSubtype(MAKEFOURCC('L', 'A', 'T', 'M'));
// Kept as it stands: the decoder that takes this stream knows it by this subtype.
constexpr GUID kSubtypeLpcm = {0x525f0058, 0x522f, 0x4312, {0xb4, 0x0f, 0x11, 0xac, 0x41, 0x58, 0xe0, 0x2b}};

constexpr std::uint8_t kLayer2 = 2;
constexpr WORD kDefaultChannels = 2;
constexpr WORD kDefaultBits = 16;
constexpr DWORD kDefaultSampleRate = 48000;
constexpr DWORD kAacBytesPerSecond = 28000;
constexpr DWORD kRelabelledAacBytesPerSecond = 192000;  // AAC under the stream_type of MPEG-2 audio

WAVEFORMATEX waveFormat(DWORD channels, DWORD bits, DWORD sampleRate, DWORD bytesPerSecond) noexcept
{
    WAVEFORMATEX format = {};
    format.nChannels = static_cast<WORD>(channels);
    format.wBitsPerSample = static_cast<WORD>(bits);
    format.nSamplesPerSec = sampleRate;
    format.nAvgBytesPerSec = bytesPerSecond;
    format.nBlockAlign = static_cast<WORD>(channels * bits);  // kept: not divided by 8
    return format;
}

WAVEFORMATEX waveFormat(const AudioProbeRecord& stream) noexcept
{
    return waveFormat(stream.channels, stream.bitsPerSample, stream.sampleRate, stream.avgBytesPerSec);
}

/// The format that stands in for an AAC stream's: what its header did not tell is assumed.
WAVEFORMATEX relabelledAacFormat(const AudioProbeRecord& stream) noexcept
{
    return waveFormat(stream.channels != 0 ? stream.channels : kDefaultChannels,
                      stream.bitsPerSample != 0 ? stream.bitsPerSample : kDefaultBits,
                      stream.sampleRate != 0 ? stream.sampleRate : kDefaultSampleRate, kRelabelledAacBytesPerSecond);
}

bool setAudioType(CMediaType& type, const WAVEFORMATEX& format, const GUID& subtype, bool pes)
{
    type.ResetFormatBuffer();
    if (FAILED(CreateAudioMediaType(&format, &type, TRUE)))
        return false;
    type.SetType(pes ? &MEDIATYPE_MPEG2_PES : &MEDIATYPE_Audio);
    type.SetSubtype(&subtype);
    type.SetTemporalCompression(TRUE);
    type.SetSampleSize(1);
    return true;
}

}  // namespace

bool describeMpegAudio(const AudioProbeRecord& stream, bool mpeg2, bool avcPresent, CMediaType& type)
{
    if (!mpeg2)
        return setAudioType(type, waveFormat(stream), MEDIASUBTYPE_MPEG1AudioPayload, avcPresent);
    if (stream.layer == kLayer2)
        return setAudioType(type, waveFormat(stream), MEDIASUBTYPE_MPEG2_AUDIO, avcPresent);
    return setAudioType(type, relabelledAacFormat(stream), kSubtypeRawAac, avcPresent);
}

bool describeAac(const AudioProbeRecord& stream, CMediaType& type)
{
    const WAVEFORMATEX format = waveFormat(kDefaultChannels, kDefaultBits, kDefaultSampleRate, kAacBytesPerSecond);
    const bool adts = stream.streamType == stream_type::kAdts;
    const bool latm = stream.streamType == stream_type::kLatm;
    return setAudioType(type, format, adts ? kSubtypeRawAac : latm ? kSubtypeLatm : GUID_NULL, false);
}

bool describeAc3(const AudioProbeRecord& stream, bool avcPresent, CMediaType& type)
{
    return setAudioType(type, waveFormat(stream), MEDIASUBTYPE_DOLBY_AC3, avcPresent);
}

bool describeLpcm(const AudioProbeRecord& stream, CMediaType& type)
{
    if (!setAudioType(type, waveFormat(stream), kSubtypeLpcm, true))
        return false;
    type.SetTemporalCompression(FALSE);
    type.SetSampleSize(kPacketSize);
    return true;
}

}  // namespace zarnow
