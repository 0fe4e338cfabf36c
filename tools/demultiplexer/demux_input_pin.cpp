#include "tools/demultiplexer/demux_input_pin.h"

#include "tools/common/com_boundary.h"
#include "tools/demultiplexer/demux_filter.h"

namespace demux {

DemuxInputPin::DemuxInputPin(DemuxFilter& filter, CCritSec& stateLock, HRESULT* result)
    : CBaseInputPin(TEXT("Demultiplexer input"), &filter, &stateLock, result, L"MPEG-2 Stream"), filter_(filter)
{
}

HRESULT DemuxInputPin::CheckMediaType(const CMediaType* type)
{
    const bool accepted = type->majortype == MEDIATYPE_Stream && type->subtype == MEDIASUBTYPE_MPEG2_TRANSPORT;
    return accepted ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

STDMETHODIMP DemuxInputPin::Receive(IMediaSample* sample)
{
    return comBoundary([&] {
        CAutoLock lock(&filter_.receiveLock());
        const HRESULT result = CBaseInputPin::Receive(sample);
        return result == S_OK ? filter_.process(*sample) : result;
    });
}

STDMETHODIMP DemuxInputPin::EndOfStream()
{
    return comBoundary([&] {
        CAutoLock lock(&filter_.receiveLock());
        const HRESULT result = CheckStreaming();
        return result == S_OK ? filter_.endStream() : result;
    });
}

STDMETHODIMP DemuxInputPin::BeginFlush()
{
    // Downstream first learns of the flush without our lock: the streaming thread holds it while it is blocked there.
    return comBoundary([&] {
        const HRESULT result = CBaseInputPin::BeginFlush();
        return SUCCEEDED(result) ? filter_.beginFlush() : result;
    });
}

STDMETHODIMP DemuxInputPin::EndFlush()
{
    return comBoundary([&] {
        CAutoLock lock(&filter_.receiveLock());
        filter_.endFlush();
        return CBaseInputPin::EndFlush();
    });
}

STDMETHODIMP DemuxInputPin::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate)
{
    return comBoundary([&] {
        CAutoLock lock(&filter_.receiveLock());
        filter_.newSegment(start, stop, rate);
        return CBaseInputPin::NewSegment(start, stop, rate);
    });
}

}  // namespace demux
