#include "tools/tsgraph/meter_filter.h"

namespace tsgraph {

MeterInputPin::MeterInputPin(MeterFilter& filter, CCritSec& lock, HRESULT* result)
    : CBaseInputPin(TEXT("Meter input"), &filter, &lock, result, L"In"), filter_(filter)
{
}

HRESULT MeterInputPin::CheckMediaType(const CMediaType* type)
{
    return filter_.peerPin().QueryAccept(type) == S_OK ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

HRESULT MeterInputPin::CompleteConnect(IPin* peer)
{
    const HRESULT result = CBaseInputPin::CompleteConnect(peer);
    return FAILED(result) ? result : filter_.connectOnwards(m_mt);
}

HRESULT MeterInputPin::BreakConnect()
{
    filter_.disconnectOnwards();
    return CBaseInputPin::BreakConnect();
}

STDMETHODIMP MeterInputPin::GetAllocator(IMemAllocator** allocator)
{
    return filter_.peerTransport().GetAllocator(allocator);
}

STDMETHODIMP MeterInputPin::NotifyAllocator(IMemAllocator* allocator, BOOL readOnly)
{
    const HRESULT result = CBaseInputPin::NotifyAllocator(allocator, readOnly);
    return FAILED(result) ? result : filter_.peerTransport().NotifyAllocator(allocator, readOnly);
}

STDMETHODIMP MeterInputPin::GetAllocatorRequirements(ALLOCATOR_PROPERTIES* properties)
{
    return filter_.peerTransport().GetAllocatorRequirements(properties);
}

STDMETHODIMP MeterInputPin::Receive(IMediaSample* sample)
{
    return sample == nullptr ? E_POINTER : filter_.pass(*sample);
}

STDMETHODIMP MeterInputPin::EndOfStream()
{
    return filter_.passEndOfStream();
}

STDMETHODIMP MeterInputPin::BeginFlush()
{
    const HRESULT result = CBaseInputPin::BeginFlush();
    return FAILED(result) ? result : filter_.peerPin().BeginFlush();
}

STDMETHODIMP MeterInputPin::EndFlush()
{
    const HRESULT result = filter_.peerPin().EndFlush();
    return FAILED(result) ? result : CBaseInputPin::EndFlush();
}

STDMETHODIMP MeterInputPin::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate)
{
    const HRESULT result = filter_.peerPin().NewSegment(start, stop, rate);
    return FAILED(result) ? result : CBaseInputPin::NewSegment(start, stop, rate);
}

MeterOutputPin::MeterOutputPin(MeterFilter& filter, CCritSec& lock, HRESULT* result)
    : CBaseOutputPin(TEXT("Meter output"), &filter, &lock, result, L"Out"), filter_(filter)
{
}

HRESULT MeterOutputPin::GetMediaType(int position, CMediaType* type)
{
    return position == 0 ? type->Set(filter_.type()) : VFW_S_NO_MORE_ITEMS;
}

}  // namespace tsgraph
