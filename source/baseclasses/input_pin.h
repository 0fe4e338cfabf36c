/// @file
/// Base of input pins that take samples through IMemInputPin.

#ifndef ZARNOW_BASECLASSES_INPUT_PIN_H
#define ZARNOW_BASECLASSES_INPUT_PIN_H

#include "base_pin.h"

/// An input pin. A derived class takes the sample in Receive after this class's Receive returned S_OK.
class CBaseInputPin : public CBasePin, public IMemInputPin
{
public:
    DECLARE_IUNKNOWN
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    CBaseInputPin(CObjectName pObjectName, CBaseFilter* pFilter, CCritSec* pLock, HRESULT* phr, LPCWSTR pName);
    ~CBaseInputPin() override;

    STDMETHODIMP GetAllocator(IMemAllocator** ppAllocator) override;
    STDMETHODIMP NotifyAllocator(IMemAllocator* pAllocator, BOOL bReadOnly) override;
    STDMETHODIMP GetAllocatorRequirements(ALLOCATOR_PROPERTIES* pProps) override;
    /// Checks that the pin is streaming. A sample that brings a media type the pin refuses ends the stream:
    /// VFW_E_INVALIDMEDIATYPE and EC_ERRORABORT.
    STDMETHODIMP Receive(IMediaSample* pSample) override;
    STDMETHODIMP ReceiveMultiple(IMediaSample** pSamples, long nSamples, long* nSamplesProcessed) override;
    /// S_OK when a connected output pin of the filter leads to a pin that can block, or when that is not known.
    STDMETHODIMP ReceiveCanBlock() override;

    STDMETHODIMP BeginFlush() override;
    STDMETHODIMP EndFlush() override;

    HRESULT BreakConnect() override;
    HRESULT Inactive() override;

    /// S_OK when samples may come: else S_FALSE (flushing), VFW_E_NOT_CONNECTED, VFW_E_WRONG_STATE (stopped),
    /// VFW_E_RUNTIME_ERROR.
    virtual HRESULT CheckStreaming();

protected:
    IMemAllocator* m_pAllocator = nullptr;
    BOOL m_bFlushing = FALSE;

private:
    HRESULT takeTypeChange(const AM_MEDIA_TYPE& type);
};

#endif
