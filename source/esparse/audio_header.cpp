#include "esparse/audio_header.h"

#include <algorithm>

#include "analysis/pes_header.h"
#include "analysis/psi_parser.h"
#include "analysis/stream_type.h"

namespace zarnow {

namespace {

constexpr std::array<std::uint16_t, 4> kAc3SampleRates{48000, 44100, 32000, 0};  // fscod
constexpr std::array<std::uint8_t, 8> kAc3Channels{2, 1, 2, 3, 3, 4, 4, 5};      // acmod, without the LFE channel

// kbit/s by frmsizecod / 2 (A/52, table 5.18); the codes from 38 on are reserved.
constexpr std::array<std::uint16_t, 32> kAc3BitRates{32,  40,  48,  56,  64,  80,  96,  112, 128, 160,
                                                     192, 224, 256, 320, 384, 448, 512, 576, 640};

constexpr std::array<std::uint8_t, 4> kMpegLayers{0, 3, 2, 1};
constexpr std::array<std::uint16_t, 4> kMpegSampleRates{44100, 48000, 32000,
                                                        0};  // the MPEG-1 rates, whatever the ID bit
constexpr std::array<std::uint16_t, 16> kLayer2BitRates{0,   32,  48,  56,  64,  80,  96,  112,
                                                        128, 160, 192, 224, 256, 320, 384, 0};  // kbit/s

constexpr std::array<std::uint32_t, 16> kLpcmSampleRates{0, 48000, 0, 0, 96000, 192000};
constexpr std::array<std::uint8_t, 16> kLpcmChannels{0, 2, 2, 2, 4, 4, 4, 4, 6, 6, 8, 8};
constexpr std::array<std::uint8_t, 4> kLpcmBits{0, 16, 20, 24};

constexpr std::uint8_t kSampleBits = 16;
constexpr std::uint8_t kPrivateStream1 = 0xBD;
constexpr std::uint8_t kExtendedStreamId = 0xFD;
constexpr std::size_t kAc3HeaderSize = 7;
constexpr std::size_t kMpegHeaderSize = 5;
constexpr std::size_t kLpcmHeaderSize = 4;

bool startsPrivatePes(Bytes payload) noexcept
{
    return startsPes(payload) && (payload[3] == kPrivateStream1 || payload[3] == kExtendedStreamId);
}

bool startsAudioPes(Bytes payload) noexcept
{
    return startsPes(payload) && (payload[3] & 0xE0) == 0xC0;
}

/// @param data  out: the elementary bytes behind the PES header; at least three
bool skipPesHeader(Bytes payload, Bytes& data) noexcept
{
    if (payload.size() < kPesHeaderSize || pesDataOffset(payload) + 3 > payload.size())
        return false;
    data = payload.subspan(pesDataOffset(payload));
    return true;
}

constexpr std::uint32_t bytesPerSecond(std::uint32_t kilobits) noexcept
{
    return kilobits * 1000 / 8;
}

bool parseAc3(Bytes payload, AudioProbeRecord& stream) noexcept
{
    Bytes data = payload;
    std::size_t searched = payload.size() - std::min(payload.size(), kPesHeaderSize);  // without a PES header, too
    if (startsPrivatePes(payload)) {
        if (!skipPesHeader(payload, data))
            return false;
        searched = data.size();
    }
    std::uint32_t sync = 0;
    if (!CPSIParser::findAc3Sync(data.data(), static_cast<std::int32_t>(searched), sync) ||
        data.size() - sync < kAc3HeaderSize)
        return false;
    // Kept: read in the normal byte order behind a byte-swapped sync word as well.
    const Bytes header = data.subspan(sync);
    stream.sampleRate = kAc3SampleRates[header[4] >> 6];
    stream.channels = kAc3Channels[header[6] >> 5];
    stream.bitsPerSample = kSampleBits;
    stream.avgBytesPerSec = bytesPerSecond(kAc3BitRates[(header[4] & 0x3F) / 2]);
    return true;
}

/// What MPEG audio and ADTS have in common: an audio PES header, the 12-bit sync, five bytes.
bool findMpegHeader(Bytes payload, Bytes& header) noexcept
{
    Bytes data;
    std::uint32_t sync = 0;
    if (!startsAudioPes(payload) || !skipPesHeader(payload, data) ||
        !CPSIParser::findMpegAudioSync(data.data(), static_cast<std::int32_t>(data.size()), sync) ||
        data.size() - sync < kMpegHeaderSize)
        return false;
    header = data.subspan(sync);
    return true;
}

/// Kept: the mode is looked for in the byte behind the header, so mono shows only by accident.
std::uint8_t channelsBehindHeader(Bytes header) noexcept
{
    return header[4] >> 6 == 3 ? 1 : 2;
}

bool parseAdts(Bytes payload, AudioProbeRecord& stream) noexcept
{
    Bytes header;
    if (!findMpegHeader(payload, header))
        return false;
    stream.streamId = payload[3];
    stream.bitsPerSample = kSampleBits;
    stream.channels = channelsBehindHeader(header);
    return true;
}

bool parseMpegAudio(Bytes payload, AudioProbeRecord& stream) noexcept
{
    Bytes header;
    if (!findMpegHeader(payload, header))
        return false;
    stream.layer = kMpegLayers[(header[1] >> 1) & 3];
    stream.sampleRate = kMpegSampleRates[(header[2] >> 2) & 3];
    stream.avgBytesPerSec = stream.layer == 2 ? bytesPerSecond(kLayer2BitRates[header[2] >> 4]) : 0;
    stream.bitsPerSample = kSampleBits;
    stream.channels = channelsBehindHeader(header);
    stream.streamId = payload[3];
    return true;
}

bool parseLpcm(Bytes payload, AudioProbeRecord& stream) noexcept
{
    Bytes header;
    if (!startsPrivatePes(payload) || !skipPesHeader(payload, header) || header.size() < kLpcmHeaderSize)
        return false;
    stream.isLpcm = 1;
    stream.sampleRate = kLpcmSampleRates[header[2] & 0x0F];
    stream.channels = kLpcmChannels[header[2] >> 4];
    stream.bitsPerSample = kLpcmBits[header[3] >> 6];
    stream.avgBytesPerSec = stream.sampleRate * stream.channels * ((stream.bitsPerSample + 7U) / 8);
    return stream.avgBytesPerSec != 0;
}

}  // namespace

bool parseAudioHeader(const std::uint8_t* payload, std::int32_t length, std::uint8_t streamType,
                      AudioProbeRecord& stream, bool lpcmMode) noexcept
{
    const Bytes bytes = bytesOf(payload, length);
    stream.streamType = streamType;
    if (streamType == stream_type::kMpeg1Audio || streamType == stream_type::kMpeg2Audio)
        return parseMpegAudio(bytes, stream);
    if (streamType == stream_type::kAdts)
        return parseAdts(bytes, stream);
    if (streamType == stream_type::kPrivateData)
        return parseAc3(bytes, stream);
    if (streamType >= stream_type::kFirstUserPrivate)
        return lpcmMode ? parseLpcm(bytes, stream) : parseAc3(bytes, stream);
    return false;  // LATM too is known by its stream_type alone
}

}  // namespace zarnow
