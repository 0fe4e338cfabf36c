#pragma once

#include <streams.h>

namespace demux {

class DemuxFilter;

/// The input pin: takes transport-stream bytes in samples of any size and cut.
class DemuxInputPin final : public CBaseInputPin
{
public:
    DemuxInputPin(DemuxFilter& filter, CCritSec& stateLock, HRESULT* result);

    HRESULT CheckMediaType(const CMediaType* type) override;

    STDMETHODIMP Receive(IMediaSample* sample) override;
    STDMETHODIMP EndOfStream() override;
    STDMETHODIMP BeginFlush() override;
    STDMETHODIMP EndFlush() override;
    STDMETHODIMP NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;

private:
    DemuxFilter& filter_;
};

}  // namespace demux
