/// @file
/// Base of every pin: connection, media types, segment, quality control.

#ifndef ZARNOW_BASECLASSES_BASE_PIN_H
#define ZARNOW_BASECLASSES_BASE_PIN_H

#include "platform.h"
#include "base_filter.h"
#include "media_type.h"
#include "sync.h"
#include "unknown.h"

/// The stop time of a segment without an end.
const REFERENCE_TIME MAX_TIME = 0x7FFFFFFFFFFFFFFFLL;

/// A pin: IPin and IQualityControl. It lives as long as its filter, to which its reference counting goes.
class CBasePin : public CUnknown, public IPin, public IQualityControl
{
public:
    DECLARE_IUNKNOWN
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) NonDelegatingAddRef() override;
    STDMETHODIMP_(ULONG) NonDelegatingRelease() override;

    /// @param pLock  lock of the connection; the filter's state lock, mostly
    /// @param pName  name and, unless QueryId is overridden, id of the pin; copied
    CBasePin(CObjectName pObjectName, CBaseFilter* pFilter, CCritSec* pLock, HRESULT* phr, LPCWSTR pName,
             PIN_DIRECTION dir);
    ~CBasePin() override;

    STDMETHODIMP Connect(IPin* pReceivePin, const AM_MEDIA_TYPE* pmt) override;
    STDMETHODIMP ReceiveConnection(IPin* pConnector, const AM_MEDIA_TYPE* pmt) override;
    STDMETHODIMP Disconnect() override;
    STDMETHODIMP ConnectedTo(IPin** pPin) override;
    STDMETHODIMP ConnectionMediaType(AM_MEDIA_TYPE* pmt) override;
    STDMETHODIMP QueryPinInfo(PIN_INFO* pInfo) override;
    STDMETHODIMP QueryDirection(PIN_DIRECTION* pPinDir) override;
    STDMETHODIMP QueryId(LPWSTR* Id) override;
    STDMETHODIMP QueryAccept(const AM_MEDIA_TYPE* pmt) override;
    STDMETHODIMP EnumMediaTypes(IEnumMediaTypes** ppEnum) override;
    STDMETHODIMP QueryInternalConnections(IPin** apPin, ULONG* nPin) override;
    STDMETHODIMP EndOfStream() override;
    STDMETHODIMP NewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate) override;

    STDMETHODIMP Notify(IBaseFilter* pSender, Quality q) override;
    STDMETHODIMP SetSink(IQualityControl* piqc) override;

    BOOL IsConnected() const { return m_Connected != nullptr; }
    /// The peer, not counted.
    IPin* GetConnected() const { return m_Connected; }
    BOOL IsStopped() { return m_pFilter->IsStopped(); }

    /// Changes whenever the list of media types does: enumerators then are out of step.
    virtual LONG GetMediaTypeVersion();
    void IncrementTypeVersion();

    virtual HRESULT Active();
    virtual HRESULT Inactive();
    virtual HRESULT Run(REFERENCE_TIME tStart);

    /// S_OK accepts the type, anything else refuses it.
    virtual HRESULT CheckMediaType(const CMediaType* pmt) = 0;
    /// Takes the type of the connection.
    virtual HRESULT SetMediaType(const CMediaType* pmt);
    /// Whether the peer will do at all: VFW_E_INVALID_DIRECTION when it has our direction.
    virtual HRESULT CheckConnect(IPin* pPin);
    /// Undoes what CheckConnect and CompleteConnect did. May be called without either.
    virtual HRESULT BreakConnect();
    virtual HRESULT CompleteConnect(IPin* pReceivePin);
    /// Preferred type iPosition: S_OK, VFW_S_NO_MORE_ITEMS past the last one.
    virtual HRESULT GetMediaType(int iPosition, CMediaType* pMediaType);

    LPWSTR Name() const { return m_pName; }

protected:
    /// Connects with this one type.
    HRESULT AttemptConnection(IPin* pReceivePin, const CMediaType* pmt);
    /// Tries the types of an enumerator that fit pmt (null: all).
    HRESULT TryMediaTypes(IPin* pReceivePin, const CMediaType* pmt, IEnumMediaTypes* pEnum);
    /// Finds a type both pins like, within pmt (may be null), and connects.
    HRESULT AgreeMediaType(IPin* pReceivePin, const CMediaType* pmt);

    WCHAR* m_pName = nullptr;
    IPin* m_Connected = nullptr;
    PIN_DIRECTION m_dir;
    CCritSec* m_pLock;
    bool m_bRunTimeError = false;
    CBaseFilter* m_pFilter;
    LONG m_TypeVersion = 1;
    CMediaType m_mt;

    REFERENCE_TIME m_tStart = 0;
    REFERENCE_TIME m_tStop = MAX_TIME;
    double m_dRate = 1.0;

private:
    bool mayChangeConnection() const { return m_pFilter->IsStopped() && !m_pFilter->isChanging(); }
    HRESULT checkFree() const;
    HRESULT connectTo(IPin* receiver, const AM_MEDIA_TYPE* wanted);
    HRESULT receive(IPin* connector, const AM_MEDIA_TYPE& offered);
    HRESULT tryTypesOf(IPin* lister, IPin* receiver, const CMediaType* wanted);
    HRESULT connectWith(IPin* receiver, const CMediaType* type);
    HRESULT receiveWith(IPin* connector, const CMediaType* type);
    void adopt(IPin* peer);
    void letPeerGo();
    void abandon();

    bool m_connecting = false;  ///< an attempt is under way, in the middle of which the peer may call
};

#endif
