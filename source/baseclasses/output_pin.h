/// @file
/// A pin that delivers samples to an input pin's IMemInputPin.
#pragma once

#include "base_pin.h"

class CBaseOutputPin : public CBasePin
{
public:
    CBaseOutputPin(LPCTSTR pObjectName, CBaseFilter* pFilter, CCritSec* pLock, HRESULT* phr, LPCWSTR pName);

    HRESULT CompleteConnect(IPin* pReceivePin) override;
    HRESULT CheckConnect(IPin* pPin) override;
    HRESULT BreakConnect() override;
    /// Commits the allocator. @return VFW_E_NO_ALLOCATOR
    HRESULT Active() override;
    HRESULT Inactive() override;

    /// Tries the receiver's allocator and then one of our own. @param ppAlloc  out: counted, null on failure
    virtual HRESULT DecideAllocator(IMemInputPin* pPin, IMemAllocator** ppAlloc);
    virtual HRESULT DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* ppropInputRequest) = 0;
    virtual HRESULT GetDeliveryBuffer(IMediaSample** ppSample, REFERENCE_TIME* pStartTime, REFERENCE_TIME* pEndTime,
                                      DWORD dwFlags);
    virtual HRESULT Deliver(IMediaSample* pSample);
    virtual HRESULT InitAllocator(IMemAllocator** ppAlloc);

    virtual HRESULT DeliverEndOfStream();
    virtual HRESULT DeliverBeginFlush();
    virtual HRESULT DeliverEndFlush();
    virtual HRESULT DeliverNewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate);

    // These go downstream; nobody calls them on an output pin.
    STDMETHODIMP BeginFlush() override { return E_UNEXPECTED; }
    STDMETHODIMP EndFlush() override { return E_UNEXPECTED; }
    STDMETHODIMP EndOfStream() override { return E_UNEXPECTED; }

protected:
    HRESULT tryAllocator(IMemInputPin* pPin, IMemAllocator* allocator, ALLOCATOR_PROPERTIES wanted);

    IMemAllocator* m_pAllocator = nullptr;  ///< counted
    IMemInputPin* m_pInputPin = nullptr;    ///< counted
};
