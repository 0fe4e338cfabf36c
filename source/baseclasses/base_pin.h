/// @file
/// What input and output pins have in common: connection, media types, quality messages, segments.
#pragma once

#include <dshow.h>

#include "base_filter.h"
#include "media_type.h"
#include "sync.h"
#include "unknown.h"

inline constexpr REFERENCE_TIME MAX_TIME = 0x7FFFFFFFFFFFFFFF;

/// Reference counts go to the filter: a pin lives as long as its filter.
class CBasePin : public CUnknown, public IPin, public IQualityControl
{
public:
    DECLARE_IUNKNOWN

    CBasePin(LPCTSTR pObjectName, CBaseFilter* pFilter, CCritSec* pLock, HRESULT* phr, LPCWSTR pName,
             PIN_DIRECTION dir);
    ~CBasePin() override;

    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) NonDelegatingAddRef() override;
    STDMETHODIMP_(ULONG) NonDelegatingRelease() override;

    // IPin

    /// Tries the given type alone or, where it leaves something open, the receiver's types and then our own.
    STDMETHODIMP Connect(IPin* pReceivePin, const AM_MEDIA_TYPE* pmt) override;
    STDMETHODIMP ReceiveConnection(IPin* pConnector, const AM_MEDIA_TYPE* pmt) override;
    STDMETHODIMP Disconnect() override;
    STDMETHODIMP ConnectedTo(IPin** ppPin) override;
    STDMETHODIMP ConnectionMediaType(AM_MEDIA_TYPE* pmt) override;
    STDMETHODIMP QueryPinInfo(PIN_INFO* pInfo) override;
    STDMETHODIMP QueryDirection(PIN_DIRECTION* pPinDir) override;
    STDMETHODIMP QueryId(LPWSTR* Id) override;
    STDMETHODIMP QueryAccept(const AM_MEDIA_TYPE* pmt) override;
    STDMETHODIMP EnumMediaTypes(IEnumMediaTypes** ppEnum) override;
    STDMETHODIMP QueryInternalConnections(IPin** apPin, ULONG* nPin) override;
    STDMETHODIMP EndOfStream() override { return S_OK; }
    STDMETHODIMP NewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate) override;

    // IQualityControl

    STDMETHODIMP Notify(IBaseFilter* pSender, Quality q) override;
    STDMETHODIMP SetSink(IQualityControl* piqc) override;

    BOOL IsConnected() const { return m_Connected != nullptr; }
    IPin* GetConnected() const { return m_Connected; }
    BOOL IsStopped() const { return m_pFilter->m_State == State_Stopped; }
    LPWSTR Name() const { return m_pName; }
    virtual LONG GetMediaTypeVersion() { return m_TypeVersion; }
    void IncrementTypeVersion() { InterlockedIncrement(&m_TypeVersion); }
    void SetReconnectWhenActive(bool bCanReconnect) { m_bCanReconnectWhenActive = bCanReconnect; }
    bool CanReconnectWhenActive() const { return m_bCanReconnectWhenActive; }
    REFERENCE_TIME CurrentStartTime() const { return m_tStart; }
    REFERENCE_TIME CurrentStopTime() const { return m_tStop; }
    double CurrentRate() const { return m_dRate; }

    // For the derived pin. The filter's lock is held in the calls that connect.

    virtual HRESULT Active() { return S_OK; }
    virtual HRESULT Inactive();
    virtual HRESULT Run(REFERENCE_TIME) { return S_OK; }
    virtual HRESULT CheckMediaType(const CMediaType* pmt) = 0;
    virtual HRESULT SetMediaType(const CMediaType* pmt);
    virtual HRESULT CheckConnect(IPin* pPin);
    virtual HRESULT BreakConnect() { return S_OK; }
    virtual HRESULT CompleteConnect(IPin*) { return S_OK; }
    /// S_OK, VFW_S_NO_MORE_ITEMS behind the last one, or an error
    virtual HRESULT GetMediaType(int iPosition, CMediaType* pMediaType);

protected:
    HRESULT AttemptConnection(IPin* pReceivePin, const CMediaType* pmt);
    HRESULT TryMediaTypes(IPin* pReceivePin, const CMediaType* pmt, IEnumMediaTypes* pEnum);
    HRESULT AgreeMediaType(IPin* pReceivePin, const CMediaType* pmt);
    HRESULT DisconnectInternal();
    HRESULT connectWith(IPin* pPin, const CMediaType* pmt);
    void dropConnection();
    HRESULT tryTypesOf(IPin* owner, IPin* pReceivePin, const CMediaType* pmt);
    HRESULT checkConnectable() const;

    WCHAR* m_pName = nullptr;
    IPin* m_Connected = nullptr;  ///< counted
    PIN_DIRECTION m_dir;
    CCritSec* m_pLock;
    bool m_bRunTimeError = false;
    bool m_bCanReconnectWhenActive = false;
    bool m_bTryMyTypesFirst = false;
    CBaseFilter* m_pFilter;
    IQualityControl* m_pQSink = nullptr;  ///< not counted
    volatile LONG m_TypeVersion = 1;
    CMediaType m_mt;
    CRefTime m_tStart;
    CRefTime m_tStop = MAX_TIME;
    double m_dRate = 1.0;
};
