#include "tests/windows/support/sink_filter.h"

namespace zarnow::test {

SinkInputPin::SinkInputPin(SinkFilter& sink, CCritSec* pinLock, HRESULT* result)
    : CBaseInputPin(nullptr, &sink, pinLock, result, L"In"), sink_(sink)
{
}

HRESULT SinkInputPin::CheckMediaType(const CMediaType*)
{
    return sink_.typeResult;
}

STDMETHODIMP SinkInputPin::ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type)
{
    return FAILED(sink_.connectionResult) ? sink_.connectionResult : CBaseInputPin::ReceiveConnection(connector, type);
}

HRESULT SinkInputPin::GetMediaType(int position, CMediaType* type)
{
    if (!sink_.proposesTransport || position != 0)
        return VFW_S_NO_MORE_ITEMS;
    type->SetType(&MEDIATYPE_Stream);
    type->SetSubtype(&MEDIASUBTYPE_MPEG2_TRANSPORT);
    return S_OK;
}

STDMETHODIMP SinkInputPin::GetAllocator(IMemAllocator** allocator)
{
    *allocator = sink_.offeredAllocator;
    if (sink_.offeredAllocator == nullptr)
        return VFW_E_NO_ALLOCATOR;
    sink_.offeredAllocator->AddRef();
    return S_OK;
}

STDMETHODIMP SinkInputPin::NotifyAllocator(IMemAllocator* allocator, BOOL readOnly)
{
    if (FAILED(sink_.allocatorResult))
        return sink_.allocatorResult;
    allocator->GetProperties(&sink_.agreed);
    return CBaseInputPin::NotifyAllocator(allocator, readOnly);
}

STDMETHODIMP SinkInputPin::Receive(IMediaSample* sample)
{
    const HRESULT result = CBaseInputPin::Receive(sample);
    if (result != S_OK)
        return result;
    SetEvent(sink_.receiving);
    if (sink_.blockUntil != nullptr)
        WaitForSingleObject(sink_.blockUntil, INFINITE);
    if (static_cast<LONG>(sink_.samples.size()) >= sink_.refuseAfter)
        return sink_.receiveResult;
    BYTE* data = nullptr;
    sample->GetPointer(&data);
    sink_.samples.emplace_back(data, data + sample->GetActualDataLength());
    REFERENCE_TIME start = 0;
    REFERENCE_TIME stop = 0;
    sink_.timed = sink_.timed || sample->GetTime(&start, &stop) != VFW_E_SAMPLE_TIME_NOT_SET ||
                  sample->IsSyncPoint() == S_OK || sample->IsDiscontinuity() == S_OK;
    ++sink_.count;
    return S_OK;
}

STDMETHODIMP SinkInputPin::EndOfStream()
{
    ++sink_.endsOfStream;
    SetEvent(sink_.ended);
    return S_OK;
}

STDMETHODIMP SinkInputPin::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate)
{
    sink_.segments.push_back({start, stop, rate});
    return S_OK;
}

SinkFilter::SinkFilter()
    : CBaseFilter(nullptr, nullptr, &lock, CLSID_NULL),
      input(*this, &lock, &created),
      ended(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      receiving(CreateEventW(nullptr, TRUE, FALSE, nullptr))
{
    AddRef();  // lives on the test's stack
}

SinkFilter::~SinkFilter()
{
    CloseHandle(ended);
    CloseHandle(receiving);
}

std::vector<BYTE> SinkFilter::allBytes() const
{
    std::vector<BYTE> all;
    for (const auto& sample : samples)
        all.insert(all.end(), sample.begin(), sample.end());
    return all;
}

}  // namespace zarnow::test
