/// @file
/// Base of output pins that deliver samples to IMemInputPin.

#ifndef ZARNOW_BASECLASSES_OUTPUT_PIN_H
#define ZARNOW_BASECLASSES_OUTPUT_PIN_H

#include "base_pin.h"

/// An output pin. It decides about the allocator, commits it while active, and delivers.
class CBaseOutputPin : public CBasePin
{
public:
    CBaseOutputPin(CObjectName pObjectName, CBaseFilter* pFilter, CCritSec* pLock, HRESULT* phr, LPCWSTR pName);

    ~CBaseOutputPin() override;

    HRESULT CompleteConnect(IPin* pReceivePin) override;
    HRESULT CheckConnect(IPin* pPin) override;
    HRESULT BreakConnect() override;

    /// Commits the allocator: VFW_E_NO_ALLOCATOR without one.
    HRESULT Active() override;
    HRESULT Inactive() override;

    // The downstream calls do not belong on an output pin: E_UNEXPECTED.
    STDMETHODIMP EndOfStream() override;
    STDMETHODIMP BeginFlush() override;
    STDMETHODIMP EndFlush() override;

    /// Agrees on an allocator with the peer: its own first, then ours.
    virtual HRESULT DecideAllocator(IMemInputPin* pPin, IMemAllocator** pAlloc);
    /// Sets number and size of the buffers; ppropInputRequest holds the peer's wishes.
    virtual HRESULT DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* ppropInputRequest) = 0;
    /// Makes the allocator of our own.
    virtual HRESULT InitAllocator(IMemAllocator** ppAlloc);

    virtual HRESULT GetDeliveryBuffer(IMediaSample** ppSample, REFERENCE_TIME* pStartTime, REFERENCE_TIME* pEndTime,
                                      DWORD dwFlags);
    // Each is VFW_E_NOT_CONNECTED without a peer, else what the peer returns.
    virtual HRESULT Deliver(IMediaSample* pSample);
    virtual HRESULT DeliverEndOfStream();
    virtual HRESULT DeliverBeginFlush();
    virtual HRESULT DeliverEndFlush();
    virtual HRESULT DeliverNewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate);

protected:
    IMemAllocator* m_pAllocator = nullptr;
    IMemInputPin* m_pInputPin = nullptr;

private:
    HRESULT offerAllocator(IMemInputPin* peer, IMemAllocator* allocator, ALLOCATOR_PROPERTIES* wishes);
};

#endif
