#include "base_filter.h"

#include <cwchar>
#include <new>
#include <utility>

#include "base_pin.h"
#include "enumerators.h"

/// A state change: holds the filter's lock and lets GetState know.
class CBaseFilter::Transition
{
public:
    explicit Transition(CBaseFilter& filter)
        : m_lock(filter.m_pLock), m_filter(filter), m_outermost(filter.m_transitionThread == 0)
    {
        if (!m_outermost)
            return;
        m_filter.m_transitionEnd.Reset();
        m_filter.m_transitionThread = GetCurrentThreadId();
    }
    ~Transition()
    {
        if (!m_outermost)
            return;
        m_filter.m_transitionThread = 0;
        m_filter.m_transitionEnd.Set();
    }
    Transition(const Transition&) = delete;
    Transition& operator=(const Transition&) = delete;

private:
    CAutoLock m_lock;
    CBaseFilter& m_filter;
    const bool m_outermost;  ///< Run pauses first
};

CBaseFilter::CBaseFilter(CObjectName pName, LPUNKNOWN pUnk, CCritSec* pLock, REFCLSID clsid)
    : CUnknown(pName, pUnk), m_clsid(clsid), m_pLock(pLock)
{
}

CBaseFilter::CBaseFilter(CObjectName pName, LPUNKNOWN pUnk, CCritSec* pLock, REFCLSID clsid, HRESULT* phr)
    : CBaseFilter(pName, pUnk, pLock, clsid)
{
    if (!m_transitionEnd && phr)
        *phr = E_OUTOFMEMORY;
}

CBaseFilter::~CBaseFilter()
{
    if (m_pClock)
        m_pClock->Release();
    delete[] m_pName;
}

STDMETHODIMP CBaseFilter::NonDelegatingQueryInterface(REFIID riid, void** ppv)
{
    if (riid == IID_IBaseFilter || riid == IID_IMediaFilter || riid == IID_IPersist)
        return GetInterface(static_cast<IBaseFilter*>(this), ppv);
    if (riid == IID_IAMovieSetup)
        return GetInterface(static_cast<IAMovieSetup*>(this), ppv);
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

STDMETHODIMP CBaseFilter::GetClassID(CLSID* pClsID)
{
    if (!pClsID)
        return E_POINTER;
    *pClsID = m_clsid;
    return S_OK;
}

STDMETHODIMP CBaseFilter::GetState(DWORD dwMSecs, FILTER_STATE* State)
{
    if (!State)
        return E_POINTER;
    const DWORD changer = m_transitionThread;
    const bool unfinished = changer != 0 && changer != GetCurrentThreadId() && !m_transitionEnd.Wait(dwMSecs);
    *State = m_State;
    return unfinished ? VFW_S_STATE_INTERMEDIATE : S_OK;
}

STDMETHODIMP CBaseFilter::SetSyncSource(IReferenceClock* pClock)
{
    CAutoLock lock(m_pLock);
    if (pClock)
        pClock->AddRef();
    if (IReferenceClock* const old = std::exchange(m_pClock, pClock))
        old->Release();
    return S_OK;
}

STDMETHODIMP CBaseFilter::GetSyncSource(IReferenceClock** pClock)
{
    if (!pClock)
        return E_POINTER;
    CAutoLock lock(m_pLock);
    *pClock = m_pClock;
    if (m_pClock)
        m_pClock->AddRef();
    return S_OK;
}

STDMETHODIMP CBaseFilter::Stop()
{
    Transition transition(*this);
    const HRESULT hr = m_State == State_Stopped ? S_OK : deactivatePins(GetPinCount());
    m_State = State_Stopped;
    return hr;
}

STDMETHODIMP CBaseFilter::Pause()
{
    Transition transition(*this);
    if (m_State == State_Stopped) {
        const HRESULT hr = activatePins();
        if (FAILED(hr))
            return hr;
    }
    m_State = State_Paused;
    return S_OK;
}

STDMETHODIMP CBaseFilter::Run(REFERENCE_TIME tStart)
{
    Transition transition(*this);
    HRESULT hr = S_OK;
    if (m_State == State_Stopped)
        hr = Pause();
    if (SUCCEEDED(hr) && m_State != State_Running)
        hr = runPins(tStart);
    if (SUCCEEDED(hr))
        m_State = State_Running;
    return hr;
}

HRESULT CBaseFilter::activatePins()
{
    const int count = GetPinCount();
    for (int i = 0; i < count; ++i) {
        CBasePin* const pin = GetPin(i);
        if (!pin || !pin->IsConnected())
            continue;
        const HRESULT hr = pin->Active();
        if (FAILED(hr)) {
            deactivatePins(i);
            return hr;
        }
    }
    return S_OK;
}

/// Every one of the first `count` pins, whatever they return; the first error.
HRESULT CBaseFilter::deactivatePins(int count)
{
    HRESULT first = S_OK;
    for (int i = 0; i < count; ++i) {
        CBasePin* const pin = GetPin(i);
        if (!pin || !pin->IsConnected())
            continue;
        const HRESULT hr = pin->Inactive();
        if (FAILED(hr) && SUCCEEDED(first))
            first = hr;
    }
    return first;
}

HRESULT CBaseFilter::runPins(REFERENCE_TIME tStart)
{
    const int count = GetPinCount();
    for (int i = 0; i < count; ++i) {
        CBasePin* const pin = GetPin(i);
        if (!pin || !pin->IsConnected())
            continue;
        const HRESULT hr = pin->Run(tStart);
        if (FAILED(hr))
            return hr;
    }
    return S_OK;
}

BOOL CBaseFilter::IsActive()
{
    return m_State != State_Stopped;
}

BOOL CBaseFilter::IsStopped()
{
    return m_State == State_Stopped;
}

STDMETHODIMP CBaseFilter::EnumPins(IEnumPins** ppEnum)
{
    if (!ppEnum)
        return E_POINTER;
    *ppEnum = new (std::nothrow) CEnumPins(this, nullptr);
    return *ppEnum ? S_OK : E_OUTOFMEMORY;
}

STDMETHODIMP CBaseFilter::FindPin(LPCWSTR Id, IPin** ppPin)
{
    if (!ppPin)
        return E_POINTER;
    *ppPin = nullptr;
    if (!Id)
        return E_POINTER;
    CAutoLock lock(m_pLock);
    for (int i = 0; i < GetPinCount(); ++i) {
        CBasePin* const pin = GetPin(i);
        if (!pin || !pin->Name() || std::wcscmp(pin->Name(), Id) != 0)
            continue;
        pin->AddRef();
        *ppPin = pin;
        return S_OK;
    }
    return VFW_E_NOT_FOUND;
}

LONG CBaseFilter::GetPinVersion()
{
    return InterlockedCompareExchange(&m_PinVersion, 0, 0);
}

void CBaseFilter::IncrementPinVersion()
{
    InterlockedIncrement(&m_PinVersion);
}
