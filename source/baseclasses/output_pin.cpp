#include "output_pin.h"

#include <utility>

#include "allocator.h"
#include "com_ptr.h"

CBaseOutputPin::CBaseOutputPin(CObjectName pObjectName, CBaseFilter* pFilter, CCritSec* pLock, HRESULT* phr,
                               LPCWSTR pName)
    : CBasePin(pObjectName, pFilter, pLock, phr, pName, PINDIR_OUTPUT)
{
}

CBaseOutputPin::~CBaseOutputPin()
{
    CBaseOutputPin::BreakConnect();
}

HRESULT CBaseOutputPin::CheckConnect(IPin* pPin)
{
    const HRESULT hr = CBasePin::CheckConnect(pPin);
    if (FAILED(hr))
        return hr;
    ComPtr<IMemInputPin> transport;
    const HRESULT found = pPin->QueryInterface(IID_IMemInputPin, transport.putVoid());
    if (FAILED(found))
        return found;
    if (IMemInputPin* const old = std::exchange(m_pInputPin, transport.detach()))
        old->Release();
    return S_OK;
}

HRESULT CBaseOutputPin::CompleteConnect(IPin*)
{
    return DecideAllocator(m_pInputPin, &m_pAllocator);
}

HRESULT CBaseOutputPin::BreakConnect()
{
    if (IMemAllocator* const allocator = std::exchange(m_pAllocator, nullptr)) {
        allocator->Decommit();
        allocator->Release();
    }
    if (IMemInputPin* const peer = std::exchange(m_pInputPin, nullptr))
        peer->Release();
    return S_OK;
}

HRESULT CBaseOutputPin::DecideAllocator(IMemInputPin* pPin, IMemAllocator** pAlloc)
{
    if (!pPin || !pAlloc)
        return E_POINTER;
    *pAlloc = nullptr;
    ALLOCATOR_PROPERTIES wishes{};
    // A peer without wishes leaves them zero, whatever it returns.
    pPin->GetAllocatorRequirements(&wishes);
    if (wishes.cbAlign == 0)
        wishes.cbAlign = 1;
    ComPtr<IMemAllocator> allocator;
    HRESULT hr = pPin->GetAllocator(allocator.put());
    if (SUCCEEDED(hr))
        hr = offerAllocator(pPin, allocator.get(), &wishes);
    if (FAILED(hr)) {
        hr = InitAllocator(allocator.put());
        if (SUCCEEDED(hr))
            hr = offerAllocator(pPin, allocator.get(), &wishes);
    }
    if (SUCCEEDED(hr))
        *pAlloc = allocator.detach();
    return hr;
}

HRESULT CBaseOutputPin::offerAllocator(IMemInputPin* peer, IMemAllocator* allocator, ALLOCATOR_PROPERTIES* wishes)
{
    const HRESULT hr = DecideBufferSize(allocator, wishes);
    return FAILED(hr) ? hr : peer->NotifyAllocator(allocator, FALSE);
}

HRESULT CBaseOutputPin::InitAllocator(IMemAllocator** ppAlloc)
{
    return CreateMemoryAllocator(ppAlloc);
}

HRESULT CBaseOutputPin::Active()
{
    return m_pAllocator ? m_pAllocator->Commit() : VFW_E_NO_ALLOCATOR;
}

HRESULT CBaseOutputPin::Inactive()
{
    CBasePin::Inactive();
    return m_pAllocator ? m_pAllocator->Decommit() : VFW_E_NO_ALLOCATOR;
}

STDMETHODIMP CBaseOutputPin::EndOfStream()
{
    return E_UNEXPECTED;
}

STDMETHODIMP CBaseOutputPin::BeginFlush()
{
    return E_UNEXPECTED;
}

STDMETHODIMP CBaseOutputPin::EndFlush()
{
    return E_UNEXPECTED;
}

HRESULT CBaseOutputPin::GetDeliveryBuffer(IMediaSample** ppSample, REFERENCE_TIME* pStartTime, REFERENCE_TIME* pEndTime,
                                          DWORD dwFlags)
{
    return m_pAllocator ? m_pAllocator->GetBuffer(ppSample, pStartTime, pEndTime, dwFlags) : E_NOINTERFACE;
}

HRESULT CBaseOutputPin::Deliver(IMediaSample* pSample)
{
    return m_pInputPin ? m_pInputPin->Receive(pSample) : VFW_E_NOT_CONNECTED;
}

HRESULT CBaseOutputPin::DeliverEndOfStream()
{
    return m_Connected ? m_Connected->EndOfStream() : VFW_E_NOT_CONNECTED;
}

HRESULT CBaseOutputPin::DeliverBeginFlush()
{
    return m_Connected ? m_Connected->BeginFlush() : VFW_E_NOT_CONNECTED;
}

HRESULT CBaseOutputPin::DeliverEndFlush()
{
    return m_Connected ? m_Connected->EndFlush() : VFW_E_NOT_CONNECTED;
}

HRESULT CBaseOutputPin::DeliverNewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate)
{
    return m_Connected ? m_Connected->NewSegment(tStart, tStop, dRate) : VFW_E_NOT_CONNECTED;
}
