#include "tests/windows/demultiplexer/graph_filters.h"

#include <cstring>

namespace graphs {
namespace {

constexpr CLSID kNoClass{};

Received describe(IMediaSample& sample)
{
    Received received;
    BYTE* data = nullptr;
    if (SUCCEEDED(sample.GetPointer(&data)))
        received.bytes.assign(data, data + sample.GetActualDataLength());
    REFERENCE_TIME start = 0;
    REFERENCE_TIME stop = 0;
    if (SUCCEEDED(sample.GetTime(&start, &stop)))
        received.start = start;
    received.syncPoint = sample.IsSyncPoint() == S_OK;
    received.discontinuity = sample.IsDiscontinuity() == S_OK;
    AM_MEDIA_TYPE* type = nullptr;
    if (sample.GetMediaType(&type) == S_OK) {
        received.newSampleSize = type->lSampleSize;
        DeleteMediaType(type);
    }
    return received;
}

}  // namespace

SinkPin::SinkPin(Sink& sink, CCritSec& lock, HRESULT* result)
    : CBaseInputPin(TEXT("Sink"), &sink, &lock, result, L"In"), sink_(sink)
{
}

HRESULT SinkPin::CheckMediaType(const CMediaType* type)
{
    return type->lSampleSize == sink_.refusedSampleSize ? VFW_E_TYPE_NOT_ACCEPTED : S_OK;
}

STDMETHODIMP SinkPin::Receive(IMediaSample* sample)
{
    const HRESULT result = CBaseInputPin::Receive(sample);
    if (result != S_OK || sink_.answer != S_OK)
        return result != S_OK ? result : sink_.answer;
    sink_.samples.push_back(describe(*sample));
    sink_.calls += 'S';
    return S_OK;
}

STDMETHODIMP SinkPin::EndOfStream()
{
    sink_.calls += 'E';
    return S_OK;
}

STDMETHODIMP SinkPin::BeginFlush()
{
    sink_.calls += 'B';
    return CBaseInputPin::BeginFlush();
}

STDMETHODIMP SinkPin::EndFlush()
{
    sink_.calls += 'F';
    return CBaseInputPin::EndFlush();
}

STDMETHODIMP SinkPin::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate)
{
    sink_.calls += 'N';
    return CBaseInputPin::NewSegment(start, stop, rate);
}

Sink::Sink() : CBaseFilter(TEXT("Sink"), nullptr, &lock, kNoClass), pin(*this, lock, &created) {}

Bytes Sink::allBytes() const
{
    Bytes all;
    for (const Received& each : samples)
        all.insert(all.end(), each.bytes.begin(), each.bytes.end());
    return all;
}

SourcePin::SourcePin(CBaseFilter& filter, CCritSec& lock, HRESULT* result)
    : CBaseOutputPin(TEXT("Source"), &filter, &lock, result, L"Out")
{
}

HRESULT SourcePin::GetMediaType(int position, CMediaType* type)
{
    if (position > 0)
        return VFW_S_NO_MORE_ITEMS;
    *type = transportStreamType();
    return S_OK;
}

HRESULT SourcePin::DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request)
{
    request->cBuffers = 1;
    request->cbBuffer = 1 << 20;
    request->cbAlign = 1;
    ALLOCATOR_PROPERTIES actual{};
    return allocator->SetProperties(request, &actual);
}

HRESULT SourcePin::push(const Bytes& bytes, bool discontinuity)
{
    ComPtr<IMediaSample> sample;
    HRESULT result = GetDeliveryBuffer(sample.GetAddressOf(), nullptr, nullptr, 0);
    if (FAILED(result))
        return result;
    BYTE* data = nullptr;
    result = sample->GetPointer(&data);
    if (FAILED(result) || bytes.size() > static_cast<std::size_t>(sample->GetSize()))
        return E_UNEXPECTED;
    std::memcpy(data, bytes.data(), bytes.size());
    sample->SetActualDataLength(static_cast<long>(bytes.size()));
    sample->SetDiscontinuity(discontinuity ? TRUE : FALSE);
    return Deliver(sample.Get());
}

Source::Source() : CBaseFilter(TEXT("Source"), nullptr, &lock, kNoClass), pin(*this, lock, &created) {}

CMediaType transportStreamType()
{
    CMediaType type;
    type.SetType(&MEDIATYPE_Stream);
    type.SetSubtype(&MEDIASUBTYPE_MPEG2_TRANSPORT);
    return type;
}

CMediaType pinType(ULONG sampleSize)
{
    CMediaType type;
    type.SetType(&MEDIATYPE_Video);
    type.SetSubtype(&MEDIASUBTYPE_MPEG2_VIDEO);
    type.SetSampleSize(sampleSize);
    return type;
}

}  // namespace graphs
