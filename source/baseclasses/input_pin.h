/// @file
/// A pin that takes samples.
#pragma once

#include "base_pin.h"

class CBaseInputPin : public CBasePin, public IMemInputPin
{
public:
    DECLARE_IUNKNOWN

    CBaseInputPin(LPCTSTR pObjectName, CBaseFilter* pFilter, CCritSec* pLock, HRESULT* phr, LPCWSTR pName);
    ~CBaseInputPin() override;

    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    // IMemInputPin

    STDMETHODIMP GetAllocator(IMemAllocator** ppAllocator) override;
    STDMETHODIMP NotifyAllocator(IMemAllocator* pAllocator, BOOL bReadOnly) override;
    STDMETHODIMP GetAllocatorRequirements(ALLOCATOR_PROPERTIES* pProps) override;
    /// Checks that samples are wanted and that a new media type is accepted; the derived pin calls it first.
    STDMETHODIMP Receive(IMediaSample* pSample) override;
    STDMETHODIMP ReceiveMultiple(IMediaSample** pSamples, LONG nSamples, LONG* nSamplesProcessed) override;
    STDMETHODIMP ReceiveCanBlock() override;

    // IPin

    STDMETHODIMP BeginFlush() override;
    STDMETHODIMP EndFlush() override;

    HRESULT BreakConnect() override;
    HRESULT Inactive() override;

    BOOL IsReadOnly() const { return m_bReadOnly; }
    BOOL IsFlushing() const { return m_bFlushing; }
    /// S_OK, S_FALSE while flushing, VFW_E_WRONG_STATE, VFW_E_RUNTIME_ERROR, VFW_E_NOT_CONNECTED
    virtual HRESULT CheckStreaming();
    HRESULT PassNotify(Quality& q);
    AM_SAMPLE2_PROPERTIES* SampleProps() { return &m_SampleProps; }

protected:
    HRESULT readProperties(IMediaSample* pSample);
    HRESULT rejectType();

    IMemAllocator* m_pAllocator = nullptr;  ///< counted
    BYTE m_bReadOnly = FALSE;
    BYTE m_bFlushing = FALSE;
    AM_SAMPLE2_PROPERTIES m_SampleProps = {};  ///< of the sample that Receive was last called with
};
