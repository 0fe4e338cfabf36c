#include "test_sink.h"

TestInputPin::TestInputPin(TestSink* filter, CCritSec* lock, HRESULT* phr)
    : CBaseInputPin(NAME("test input"), filter, lock, phr, L"In")
{
}

HRESULT TestInputPin::CheckMediaType(const CMediaType* type)
{
    m_checked.push_back(*type);
    if (m_accepts && !m_accepts(*type))
        return E_FAIL;
    return m_typeAnswer;
}

HRESULT TestInputPin::GetMediaType(int position, CMediaType* type)
{
    if (static_cast<std::size_t>(position) >= m_offers.size())
        return VFW_S_NO_MORE_ITEMS;
    return type->Set(m_offers[static_cast<std::size_t>(position)]);
}

HRESULT TestInputPin::CompleteConnect(IPin* peer)
{
    return FAILED(m_completion) ? m_completion : CBaseInputPin::CompleteConnect(peer);
}

STDMETHODIMP TestInputPin::GetAllocatorRequirements(ALLOCATOR_PROPERTIES* props)
{
    *props = m_wishes;
    return S_OK;
}

STDMETHODIMP TestInputPin::NotifyAllocator(IMemAllocator* allocator, BOOL readOnly)
{
    if (m_insistsOn && allocator != m_insistsOn)
        return VFW_E_NO_ALLOCATOR;
    if (m_refusesOwn && allocator == m_pAllocator)
        return E_FAIL;
    return CBaseInputPin::NotifyAllocator(allocator, readOnly);
}

STDMETHODIMP TestInputPin::Receive(IMediaSample* sample)
{
    const HRESULT hr = CBaseInputPin::Receive(sample);
    if (hr != S_OK)
        return hr;
    ++m_received;
    return m_onReceive ? m_onReceive(sample) : S_OK;
}

STDMETHODIMP TestInputPin::EndOfStream()
{
    ++m_endOfStreams;
    m_ended.Set();
    return CBaseInputPin::EndOfStream();
}

STDMETHODIMP TestInputPin::BeginFlush()
{
    ++m_flushes;
    const HRESULT hr = CBaseInputPin::BeginFlush();
    m_flushed.Set();
    return hr;
}

STDMETHODIMP TestInputPin::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate)
{
    m_segmentStop = stop;
    return CBaseInputPin::NewSegment(start, stop, rate);
}

// {D2E1B0B1-6E4C-4B5A-9B7F-0C1E7E6A9A02}
static constexpr CLSID CLSID_TestSink = {0xd2e1b0b1, 0x6e4c, 0x4b5a, {0x9b, 0x7f, 0x0c, 0x1e, 0x7e, 0x6a, 0x9a, 0x02}};

TestSink::TestSink() : CBaseFilter(NAME("test sink"), nullptr, &m_lock, CLSID_TestSink), m_pin(this, &m_lock, &m_hr) {}

ComPtr<IBaseFilter> TestSink::create(TestSink** filter)
{
    *filter = new TestSink;
    return take<IBaseFilter>(*filter, IID_IBaseFilter);
}
