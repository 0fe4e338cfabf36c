#include "tests/windows/support/sink_filter.h"

#include <bdaiface.h>

#include <algorithm>

namespace zarnow::test {

Received::Received(IMediaSample& sample)
    : syncPoint(sample.IsSyncPoint() == S_OK), discontinuity(sample.IsDiscontinuity() == S_OK)
{
    BYTE* data = nullptr;
    if (SUCCEEDED(sample.GetPointer(&data)))
        bytes.assign(data, data + sample.GetActualDataLength());
    REFERENCE_TIME begin = 0;
    REFERENCE_TIME end = 0;
    if (SUCCEEDED(sample.GetTime(&begin, &end)))
        start = begin;
    AM_MEDIA_TYPE* type = nullptr;
    if (sample.GetMediaType(&type) == S_OK) {
        newSampleSize = type->lSampleSize;
        DeleteMediaType(type);
    }
}

STDMETHODIMP TestAllocator::SetProperties(ALLOCATOR_PROPERTIES* request, ALLOCATOR_PROPERTIES* actual)
{
    ALLOCATOR_PROPERTIES granted = *request;
    granted.cbBuffer = std::min(granted.cbBuffer, mostBytes);
    return FAILED(propertiesResult) ? propertiesResult : CMemAllocator::SetProperties(&granted, actual);
}

STDMETHODIMP TestAllocator::Commit()
{
    onCommit();
    return FAILED(commitResult) ? commitResult : CMemAllocator::Commit();
}

STDMETHODIMP TestAllocator::GetBuffer(IMediaSample** sample, REFERENCE_TIME* begin, REFERENCE_TIME* end, DWORD flags)
{
    onBuffer();
    return FAILED(bufferResult) ? bufferResult : CMemAllocator::GetBuffer(sample, begin, end, flags);
}

SinkInputPin::SinkInputPin(SinkFilter& sink, CCritSec* pinLock, HRESULT* result)
    : CBaseInputPin(nullptr, &sink, pinLock, result, L"In"), sink_(sink)
{
}

HRESULT SinkInputPin::CheckMediaType(const CMediaType* type)
{
    return sink_.checkType ? sink_.checkType(*type) : sink_.typeResult;
}

HRESULT SinkInputPin::CompleteConnect(IPin* peer)
{
    return FAILED(sink_.completionResult) ? sink_.completionResult : CBaseInputPin::CompleteConnect(peer);
}

STDMETHODIMP SinkInputPin::ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type)
{
    return FAILED(sink_.connectionResult) ? sink_.connectionResult : CBaseInputPin::ReceiveConnection(connector, type);
}

HRESULT SinkInputPin::GetMediaType(int position, CMediaType* type)
{
    const auto index = static_cast<std::size_t>(position);
    return index < sink_.proposes.size() ? type->Set(sink_.proposes[index]) : VFW_S_NO_MORE_ITEMS;
}

STDMETHODIMP SinkInputPin::GetAllocator(IMemAllocator** allocator)
{
    *allocator = sink_.offeredAllocator;
    if (sink_.offeredAllocator == nullptr)
        return VFW_E_NO_ALLOCATOR;
    sink_.offeredAllocator->AddRef();
    return S_OK;
}

STDMETHODIMP SinkInputPin::GetAllocatorRequirements(ALLOCATOR_PROPERTIES* properties)
{
    if (sink_.requirements.cbAlign == 0)
        return CBaseInputPin::GetAllocatorRequirements(properties);
    *properties = sink_.requirements;
    return S_OK;
}

STDMETHODIMP SinkInputPin::NotifyAllocator(IMemAllocator* allocator, BOOL readOnly)
{
    const HRESULT result = sink_.onAllocator ? sink_.onAllocator(*allocator) : S_OK;
    if (FAILED(result))
        return result;
    allocator->GetProperties(&sink_.agreed);
    return CBaseInputPin::NotifyAllocator(allocator, readOnly);
}

STDMETHODIMP SinkInputPin::Receive(IMediaSample* sample)
{
    if (sink_.receive)
        return sink_.receive(sample);
    const HRESULT result = CBaseInputPin::Receive(sample);
    if (result != S_OK)
        return result;
    SetEvent(sink_.receiving);
    if (sink_.blockUntil != nullptr)
        WaitForSingleObject(sink_.blockUntil, INFINITE);
    if (static_cast<LONG>(sink_.samples.size()) >= sink_.refuseAfter)
        return sink_.receiveResult;
    sink_.samples.emplace_back(*sample);
    sink_.calls += 'S';
    ++sink_.count;
    return sink_.onReceive ? sink_.onReceive(sample) : S_OK;
}

STDMETHODIMP SinkInputPin::EndOfStream()
{
    sink_.calls += 'E';
    ++sink_.endsOfStream;
    SetEvent(sink_.ended);
    if (sink_.onEndOfStream)
        sink_.onEndOfStream();
    return S_OK;
}

STDMETHODIMP SinkInputPin::BeginFlush()
{
    sink_.calls += 'B';
    return CBaseInputPin::BeginFlush();
}

STDMETHODIMP SinkInputPin::EndFlush()
{
    sink_.calls += 'F';
    return CBaseInputPin::EndFlush();
}

STDMETHODIMP SinkInputPin::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate)
{
    sink_.calls += 'N';
    sink_.segments.push_back({start, stop, rate});
    return CBaseInputPin::NewSegment(start, stop, rate);
}

SinkFilter::SinkFilter()
    : CBaseFilter(nullptr, nullptr, &lock, CLSID_NULL),
      input(*this, &lock, &created),
      ended(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      receiving(CreateEventW(nullptr, TRUE, FALSE, nullptr))
{
    AddRef();  // lives on the test's stack
}

STDMETHODIMP SinkFilter::NonDelegatingQueryInterface(REFIID riid, void** object)
{
    if (onConfiguration && riid == IID_IMpeg2Demultiplexer)
        onConfiguration();
    return CBaseFilter::NonDelegatingQueryInterface(riid, object);
}

SinkFilter::~SinkFilter()
{
    CloseHandle(ended);
    CloseHandle(receiving);
}

bool SinkFilter::waitForSamples(std::size_t atLeast) const
{
    for (int attempt = 0; count < atLeast && attempt < 1000; ++attempt)
        Sleep(10);
    return count >= atLeast;
}

std::vector<BYTE> SinkFilter::allBytes() const
{
    std::vector<BYTE> all;
    for (const Received& sample : samples)
        all.insert(all.end(), sample.bytes.begin(), sample.bytes.end());
    return all;
}

bool SinkFilter::timed() const
{
    return std::ranges::any_of(
        samples, [](const Received& sample) { return sample.start || sample.syncPoint || sample.discontinuity; });
}

}  // namespace zarnow::test
