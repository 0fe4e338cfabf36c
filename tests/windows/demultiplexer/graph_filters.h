#pragma once

#include <streams.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tests/windows/demultiplexer/packet_builder.h"
#include "tools/common/find_pin.h"

namespace graphs {

using packets::Bytes;

/// What a sink got with one sample.
struct Received
{
    Bytes bytes;
    std::optional<REFERENCE_TIME> start;
    bool syncPoint = false;
    bool discontinuity = false;
    std::optional<DWORD> newSampleSize;  ///< lSampleSize of a media type that came with the sample
};

class Sink;

class SinkPin final : public CBaseInputPin
{
public:
    SinkPin(Sink& sink, CCritSec& lock, HRESULT* result);

    HRESULT CheckMediaType(const CMediaType* type) override;
    STDMETHODIMP Receive(IMediaSample* sample) override;
    STDMETHODIMP EndOfStream() override;
    STDMETHODIMP BeginFlush() override;
    STDMETHODIMP EndFlush() override;
    STDMETHODIMP NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;

private:
    Sink& sink_;
};

/// Writes down what arrives; answers samples as it is told.
class Sink final : public CBaseFilter
{
public:
    Sink();
    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int index) override { return index == 0 ? &pin : nullptr; }

    Bytes allBytes() const;

    CCritSec lock;
    HRESULT created = S_OK;
    SinkPin pin;
    std::vector<Received> samples;
    std::string calls;                ///< S sample, E end of stream, B and F begin and end of flush, N new segment
    HRESULT answer = S_OK;            ///< to Receive
    DWORD refusedSampleSize = 0xBAD;  ///< lSampleSize of a media type to refuse
};

class SourcePin final : public CBaseOutputPin
{
public:
    SourcePin(CBaseFilter& filter, CCritSec& lock, HRESULT* result);

    HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
    HRESULT GetMediaType(int position, CMediaType* type) override;
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override;

    /// Delivers the bytes as one sample.
    HRESULT push(const Bytes& bytes, bool discontinuity = false);
};

/// A source whose pin the test drives from its own thread.
class Source final : public CBaseFilter
{
public:
    Source();
    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int index) override { return index == 0 ? &pin : nullptr; }

    CCritSec lock;
    HRESULT created = S_OK;
    SourcePin pin;
};

CMediaType transportStreamType();

/// A type for demultiplexer pins, which are told apart by the sample size.
CMediaType pinType(ULONG sampleSize = 1);

}  // namespace graphs
