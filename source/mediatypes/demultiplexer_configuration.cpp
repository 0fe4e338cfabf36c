#include "mediatypes/demultiplexer_configuration.h"

#include <wrl/client.h>

#include "analysis/stream_type.h"
#include "mediatypes/audio_media_types.h"
#include "mediatypes/demultiplexer_pin.h"
#include "mediatypes/video_media_types.h"

using Microsoft::WRL::ComPtr;

namespace zarnow {

namespace {

constexpr std::size_t kSweptIndices = 2;  // kept: stale pins with a higher digit stay

/// The streams up to the first empty record.
template <class Record>
std::span<const Record> filled(std::span<const Record> records) noexcept
{
    std::size_t count = 0;
    while (count < records.size() && records[count].pid != 0)
        ++count;
    return records.first(count);
}

/// @param described  whether the media type could be made
HRESULT addPin(IMpeg2Demultiplexer& demultiplexer, const DemultiplexerPin& plan, bool described, CMediaType& type)
{
    return described ? createDemultiplexerPin(demultiplexer, plan, type) : E_FAIL;
}

// Kept: pins of the two kinds left out here stay until a pin of the same name replaces them.
void sweepStalePins(IMpeg2Demultiplexer& demultiplexer)
{
    for (std::size_t index = 0; index < kSweptIndices; ++index) {
        for (const wchar_t* prefix : {pin_prefix::kMpeg2, pin_prefix::kMpeg1, pin_prefix::kAudio, pin_prefix::kAc3})
            deleteDemultiplexerPin(demultiplexer, prefix, index);
    }
}

HRESULT addMpeg2VideoPin(IMpeg2Demultiplexer& demultiplexer, const VideoProbeRecord& stream, std::size_t index)
{
    CMediaType type;
    const bool videoStreamId = (stream.streamId & 0xF0) == 0xE0;
    const auto content = videoStreamId ? MEDIA_ELEMENTARY_STREAM : MEDIA_TRANSPORT_PAYLOAD;
    return addPin(demultiplexer, {pin_prefix::kMpeg2, index, stream.pid, content}, describeMpeg2Video(stream, type),
                  type);
}

HRESULT addMpeg1VideoPin(IMpeg2Demultiplexer& demultiplexer, const VideoProbeRecord& stream, std::size_t index)
{
    CMediaType type;
    return addPin(demultiplexer, {pin_prefix::kMpeg1, index, stream.pid, MEDIA_ELEMENTARY_STREAM},
                  describeMpeg1Video(stream, type), type);
}

HRESULT addAvcPin(IMpeg2Demultiplexer& demultiplexer, const VideoProbeRecord& stream, std::size_t index)
{
    CMediaType type;
    return addPin(demultiplexer, {pin_prefix::kH264, index, stream.pid, MEDIA_TRANSPORT_PAYLOAD},
                  describeAvcVideo(stream, type), type);
}

void addVideoPins(IMpeg2Demultiplexer& demultiplexer, std::span<const VideoProbeRecord> streams, bool& avcPresent)
{
    for (std::size_t index = 0; index < streams.size(); ++index) {
        const VideoProbeRecord& stream = streams[index];
        avcPresent = stream.streamType == stream_type::kAvc;  // kept: the last stream decides, not any
        if (stream.streamType == stream_type::kMpeg2Video)
            addMpeg2VideoPin(demultiplexer, stream, index);
        else if (stream.streamType == stream_type::kMpeg1Video)
            addMpeg1VideoPin(demultiplexer, stream, index);
        else if (stream.streamType == stream_type::kAvc)
            addAvcPin(demultiplexer, stream, index);
    }
}

HRESULT addAudioPin(IMpeg2Demultiplexer& demultiplexer, const AudioProbeRecord& stream, std::size_t index,
                    bool avcPresent)
{
    CMediaType type;
    const auto shared = avcPresent ? MEDIA_TRANSPORT_PAYLOAD : MEDIA_ELEMENTARY_STREAM;
    switch (stream.streamType) {
        case stream_type::kMpeg1Audio:
        case stream_type::kMpeg2Audio: {
            const bool mpeg2 = stream.streamType == stream_type::kMpeg2Audio;
            return addPin(demultiplexer, {pin_prefix::kAudio, index, stream.pid, shared},
                          describeMpegAudio(stream, mpeg2, avcPresent, type), type);
        }
        case stream_type::kAdts:
        case stream_type::kLatm:
            return addPin(demultiplexer, {pin_prefix::kAudio, index, stream.pid, shared}, describeAac(stream, type),
                          type);
        default:
            break;
    }
    if (stream.isLpcm != 0)
        return addPin(demultiplexer, {pin_prefix::kLpcm, index, stream.pid, MEDIA_TRANSPORT_PAYLOAD},
                      describeLpcm(stream, type), type);
    return addPin(demultiplexer, {pin_prefix::kAc3, index, stream.pid, shared}, describeAc3(stream, avcPresent, type),
                  type);
}

HRESULT addAudioPins(IMpeg2Demultiplexer& demultiplexer, std::span<const AudioProbeRecord> streams, bool avcPresent)
{
    HRESULT result = S_OK;
    for (std::size_t index = 0; index < streams.size(); ++index)
        result = addAudioPin(demultiplexer, streams[index], index, avcPresent);
    return result;
}

/// @param demultiplexer  out: null when the filter there is none
HRESULT findDemultiplexer(IPin* outputPin, ComPtr<IMpeg2Demultiplexer>& demultiplexer)
{
    ComPtr<IPin> peer;
    const HRESULT connected = outputPin->ConnectedTo(&peer);
    if (!peer)
        return connected;
    PIN_INFO info = {};
    if (FAILED(peer->QueryPinInfo(&info)) || info.pFilter == nullptr)
        return connected;
    ComPtr<IBaseFilter> filter;
    *filter.GetAddressOf() = info.pFilter;  // taken over; mingw-w64's Attach adds a reference
    filter->QueryInterface(IID_IMpeg2Demultiplexer, reinterpret_cast<void**>(demultiplexer.GetAddressOf()));
    return connected;
}

}  // namespace

HRESULT ConfigureDemultiplexer(IPin* outputPin, const ProgramStreams& streams, bool& avcPresent)
{
    ComPtr<IMpeg2Demultiplexer> demultiplexer;
    const HRESULT connected = findDemultiplexer(outputPin, demultiplexer);
    if (!demultiplexer)
        return connected;
    sweepStalePins(*demultiplexer.Get());
    addVideoPins(*demultiplexer.Get(), filled(streams.video), avcPresent);
    return addAudioPins(*demultiplexer.Get(), filled(streams.audio), avcPresent);
}

}  // namespace zarnow
