#include "streams.h"

CBaseOutputPin::CBaseOutputPin(LPCTSTR pObjectName, CBaseFilter* pFilter, CCritSec* pLock, HRESULT* phr, LPCWSTR pName)
    : CBasePin(pObjectName, pFilter, pLock, phr, pName, PINDIR_OUTPUT)
{
}

HRESULT CBaseOutputPin::CheckConnect(IPin* pPin)
{
    const HRESULT result = CBasePin::CheckConnect(pPin);
    return FAILED(result) ? result : pPin->QueryInterface(IID_IMemInputPin, reinterpret_cast<void**>(&m_pInputPin));
}

HRESULT CBaseOutputPin::BreakConnect()
{
    if (m_pAllocator != nullptr) {
        m_pAllocator->Decommit();
        m_pAllocator->Release();
        m_pAllocator = nullptr;
    }
    if (m_pInputPin != nullptr) {
        m_pInputPin->Release();
        m_pInputPin = nullptr;
    }
    return S_OK;
}

HRESULT CBaseOutputPin::CompleteConnect(IPin*)
{
    return DecideAllocator(m_pInputPin, &m_pAllocator);
}

HRESULT CBaseOutputPin::Active()
{
    CheckPointer(m_pAllocator, VFW_E_NO_ALLOCATOR);
    return m_pAllocator->Commit();
}

HRESULT CBaseOutputPin::Inactive()
{
    m_bRunTimeError = false;
    CheckPointer(m_pAllocator, VFW_E_NO_ALLOCATOR);
    return m_pAllocator->Decommit();
}

HRESULT CBaseOutputPin::InitAllocator(IMemAllocator** ppAlloc)
{
    return CreateMemoryAllocator(ppAlloc);
}

HRESULT CBaseOutputPin::DecideAllocator(IMemInputPin* pPin, IMemAllocator** ppAlloc)
{
    *ppAlloc = nullptr;
    ALLOCATOR_PROPERTIES wanted = {};
    pPin->GetAllocatorRequirements(&wanted);
    if (wanted.cbAlign == 0)
        wanted.cbAlign = 1;
    const auto tryThis = [&](HRESULT got) {
        const HRESULT result = SUCCEEDED(got) ? tryAllocator(pPin, *ppAlloc, wanted) : got;
        if (FAILED(result) && *ppAlloc != nullptr) {
            (*ppAlloc)->Release();
            *ppAlloc = nullptr;
        }
        return result;
    };
    const HRESULT result = tryThis(pPin->GetAllocator(ppAlloc));
    return SUCCEEDED(result) ? S_OK : tryThis(InitAllocator(ppAlloc));
}

HRESULT CBaseOutputPin::tryAllocator(IMemInputPin* pPin, IMemAllocator* allocator, ALLOCATOR_PROPERTIES wanted)
{
    const HRESULT result = DecideBufferSize(allocator, &wanted);
    return SUCCEEDED(result) ? pPin->NotifyAllocator(allocator, FALSE) : result;
}

HRESULT CBaseOutputPin::GetDeliveryBuffer(IMediaSample** ppSample, REFERENCE_TIME* pStartTime, REFERENCE_TIME* pEndTime,
                                          DWORD dwFlags)
{
    CheckPointer(m_pAllocator, E_NOINTERFACE);
    return m_pAllocator->GetBuffer(ppSample, pStartTime, pEndTime, dwFlags);
}

HRESULT CBaseOutputPin::Deliver(IMediaSample* pSample)
{
    CheckPointer(m_pInputPin, VFW_E_NOT_CONNECTED);
    return m_pInputPin->Receive(pSample);
}

HRESULT CBaseOutputPin::DeliverEndOfStream()
{
    CheckPointer(m_Connected, VFW_E_NOT_CONNECTED);
    return m_Connected->EndOfStream();
}

HRESULT CBaseOutputPin::DeliverBeginFlush()
{
    CheckPointer(m_Connected, VFW_E_NOT_CONNECTED);
    return m_Connected->BeginFlush();
}

HRESULT CBaseOutputPin::DeliverEndFlush()
{
    CheckPointer(m_Connected, VFW_E_NOT_CONNECTED);
    return m_Connected->EndFlush();
}

HRESULT CBaseOutputPin::DeliverNewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate)
{
    CheckPointer(m_Connected, VFW_E_NOT_CONNECTED);
    return m_Connected->NewSegment(tStart, tStop, dRate);
}
