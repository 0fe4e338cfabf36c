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
    /// Checks that the pin is streaming and reads the sample's properties into m_SampleProps. A sample that brings a
    /// media type the pin refuses ends the stream: VFW_E_INVALIDMEDIATYPE and EC_ERRORABORT.
    STDMETHODIMP Receive(IMediaSample* pSample) override;
    STDMETHODIMP ReceiveMultiple(IMediaSample** pSamples, long nSamples, long* nSamplesProcessed) override;
    /// S_OK when a connected output pin of the filter leads to a pin that can block, or when that is not known.
    STDMETHODIMP ReceiveCanBlock() override;

    STDMETHODIMP BeginFlush() override;
    STDMETHODIMP EndFlush() override;

    HRESULT BreakConnect() override;
    HRESULT Inactive() override;

    BOOL IsReadOnly() const { return m_bReadOnly; }
    BOOL IsFlushing() const { return m_bFlushing; }
    /// S_OK when samples may come: else S_FALSE (flushing), VFW_E_NOT_CONNECTED, VFW_E_WRONG_STATE (stopped),
    /// VFW_E_RUNTIME_ERROR.
    virtual HRESULT CheckStreaming();
    /// Sends a quality message to the sink or upstream.
    HRESULT PassNotify(Quality& q);

    AM_SAMPLE2_PROPERTIES* SampleProps() { return &m_SampleProps; }

protected:
    IMemAllocator* m_pAllocator = nullptr;
    BOOL m_bReadOnly = FALSE;
    BOOL m_bFlushing = FALSE;
    AM_SAMPLE2_PROPERTIES m_SampleProps{};

private:
    HRESULT readProperties(IMediaSample* sample);
    HRESULT readPropertiesSingly(IMediaSample* sample);
    HRESULT checkTypeChange();

    CMediaType m_changedType;  ///< what m_SampleProps points to when the sample hands out copies only
};

#endif
