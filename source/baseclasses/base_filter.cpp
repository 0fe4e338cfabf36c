#include "streams.h"

#include <algorithm>
#include <cwchar>

/// Marks a transition of the state while it goes on.
class CBaseFilter::Transition
{
public:
    explicit Transition(CBaseFilter& filter) : m_filter(filter), m_outer(filter.m_transitionThread)
    {
        m_filter.m_transitionThread = GetCurrentThreadId();
    }
    Transition(const Transition&) = delete;
    Transition& operator=(const Transition&) = delete;
    ~Transition() { m_filter.m_transitionThread = m_outer; }

private:
    CBaseFilter& m_filter;
    DWORD m_outer;  // Run goes through Pause
};

CBaseFilter::CBaseFilter(LPCTSTR pName, LPUNKNOWN pUnk, CCritSec* pLock, REFCLSID clsid)
    : CUnknown(pName, pUnk), m_clsid(clsid), m_pLock(pLock)
{
}

CBaseFilter::CBaseFilter(LPCTSTR pName, LPUNKNOWN pUnk, CCritSec* pLock, REFCLSID clsid, HRESULT*)
    : CBaseFilter(pName, pUnk, pLock, clsid)
{
}

CBaseFilter::~CBaseFilter()
{
    if (m_pClock != nullptr)
        m_pClock->Release();
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
    CheckPointer(pClsID, E_POINTER);
    *pClsID = m_clsid;
    return S_OK;
}

STDMETHODIMP CBaseFilter::GetState(DWORD dwMSecs, FILTER_STATE* State)
{
    CheckPointer(State, E_POINTER);
    const ULONGLONG begin = GetTickCount64();
    const auto inTransition = [this] {
        const DWORD thread = m_transitionThread;
        return thread != 0 && thread != GetCurrentThreadId();
    };
    while (inTransition() && (dwMSecs == INFINITE || GetTickCount64() - begin < dwMSecs))
        Sleep(1);
    *State = m_State;
    return inTransition() ? VFW_S_STATE_INTERMEDIATE : S_OK;
}

STDMETHODIMP CBaseFilter::SetSyncSource(IReferenceClock* pClock)
{
    CAutoLock lock(m_pLock);
    if (pClock != nullptr)
        pClock->AddRef();
    if (m_pClock != nullptr)
        m_pClock->Release();
    m_pClock = pClock;
    return S_OK;
}

STDMETHODIMP CBaseFilter::GetSyncSource(IReferenceClock** pClock)
{
    CheckPointer(pClock, E_POINTER);
    CAutoLock lock(m_pLock);
    if (m_pClock != nullptr)
        m_pClock->AddRef();
    *pClock = m_pClock;
    return S_OK;
}

/// Every connected pin, up to the first failure.
HRESULT CBaseFilter::activatePins()
{
    for (int i = 0; i < GetPinCount(); ++i) {
        CBasePin* pin = GetPin(i);
        if (pin == nullptr || !pin->IsConnected())
            continue;
        if (const HRESULT result = pin->Active(); FAILED(result))
            return result;
    }
    return S_OK;
}

/// All of them; the first failure is reported.
HRESULT CBaseFilter::inactivatePins()
{
    HRESULT result = S_OK;
    for (int i = 0; i < GetPinCount(); ++i) {
        CBasePin* pin = GetPin(i);
        if (pin == nullptr || !pin->IsConnected())
            continue;
        const HRESULT stopped = pin->Inactive();
        if (FAILED(stopped) && SUCCEEDED(result))
            result = stopped;
    }
    return result;
}

STDMETHODIMP CBaseFilter::Stop()
{
    CAutoLock lock(m_pLock);
    const Transition transition(*this);
    const HRESULT result = m_State != State_Stopped ? inactivatePins() : S_OK;
    m_State = State_Stopped;
    return result;
}

STDMETHODIMP CBaseFilter::Pause()
{
    CAutoLock lock(m_pLock);
    const Transition transition(*this);
    if (m_State == State_Stopped) {
        if (const HRESULT result = activatePins(); FAILED(result)) {
            inactivatePins();  // those that were started
            return result;
        }
    }
    m_State = State_Paused;
    return S_OK;
}

STDMETHODIMP CBaseFilter::Run(REFERENCE_TIME tStart)
{
    CAutoLock lock(m_pLock);
    const Transition transition(*this);
    m_tStart = tStart;
    if (m_State == State_Stopped) {
        if (const HRESULT result = Pause(); FAILED(result))
            return result;
    }
    for (int i = 0; m_State != State_Running && i < GetPinCount(); ++i) {
        CBasePin* pin = GetPin(i);
        if (pin == nullptr || !pin->IsConnected())
            continue;
        if (const HRESULT result = pin->Run(tStart); FAILED(result))
            return result;
    }
    m_State = State_Running;
    return S_OK;
}

HRESULT CBaseFilter::StreamTime(CRefTime& rtStream)
{
    CheckPointer(m_pClock, VFW_E_NO_CLOCK);
    const HRESULT result = m_pClock->GetTime(&rtStream.m_time);
    rtStream.m_time -= m_tStart;
    return result;
}

STDMETHODIMP CBaseFilter::EnumPins(IEnumPins** ppEnum)
{
    CheckPointer(ppEnum, E_POINTER);
    *ppEnum = new (std::nothrow) CEnumPins(this, nullptr);
    return *ppEnum != nullptr ? S_OK : E_OUTOFMEMORY;
}

STDMETHODIMP CBaseFilter::FindPin(LPCWSTR Id, IPin** ppPin)
{
    CheckPointer(Id, E_POINTER);
    CheckPointer(ppPin, E_POINTER);
    *ppPin = nullptr;
    CAutoLock lock(m_pLock);
    for (int i = 0; i < GetPinCount(); ++i) {
        CBasePin* pin = GetPin(i);
        if (pin != nullptr && wcscmp(pin->Name(), Id) == 0) {
            pin->AddRef();
            *ppPin = pin;
            return S_OK;
        }
    }
    return VFW_E_NOT_FOUND;
}

STDMETHODIMP CBaseFilter::QueryFilterInfo(FILTER_INFO* pInfo)
{
    CheckPointer(pInfo, E_POINTER);
    std::copy(std::begin(m_name), std::end(m_name), pInfo->achName);
    pInfo->pGraph = m_pGraph;
    if (m_pGraph != nullptr)
        m_pGraph->AddRef();
    return S_OK;
}

STDMETHODIMP CBaseFilter::JoinFilterGraph(IFilterGraph* pGraph, LPCWSTR pName)
{
    CAutoLock lock(m_pLock);
    m_pGraph = pGraph;
    m_pSink = nullptr;
    if (m_pGraph != nullptr &&
        SUCCEEDED(m_pGraph->QueryInterface(IID_IMediaEventSink, reinterpret_cast<void**>(&m_pSink))))
        m_pSink->Release();  // lives as long as the graph does
    const size_t length = pName != nullptr ? wcsnlen(pName, MAX_FILTER_NAME - 1) : 0;
    std::fill(std::copy_n(pName, length, m_name), std::end(m_name), L'\0');
    return S_OK;
}

STDMETHODIMP CBaseFilter::QueryVendorInfo(LPWSTR* pVendorInfo)
{
    CheckPointer(pVendorInfo, E_POINTER);
    *pVendorInfo = nullptr;
    return E_NOTIMPL;
}

HRESULT CBaseFilter::NotifyEvent(long EventCode, LONG_PTR EventParam1, LONG_PTR EventParam2)
{
    CheckPointer(m_pSink, E_NOTIMPL);
    if (EventCode == EC_COMPLETE)
        EventParam2 = reinterpret_cast<LONG_PTR>(static_cast<IBaseFilter*>(this));
    return m_pSink->Notify(EventCode, EventParam1, EventParam2);
}

HRESULT CBaseFilter::ReconnectPin(IPin* pPin, const AM_MEDIA_TYPE* pmt)
{
    CheckPointer(m_pGraph, E_NOINTERFACE);
    IFilterGraph2* graph = nullptr;
    if (FAILED(m_pGraph->QueryInterface(IID_IFilterGraph2, reinterpret_cast<void**>(&graph))))
        return m_pGraph->Reconnect(pPin);
    const HRESULT result = graph->ReconnectEx(pPin, pmt);
    graph->Release();
    return result;
}

STDMETHODIMP CBaseFilter::Register()
{
    const AMOVIESETUP_FILTER* setup = GetSetupData();
    return setup != nullptr ? AMovieSetupRegisterFilter2(setup, nullptr, TRUE) : S_FALSE;
}

STDMETHODIMP CBaseFilter::Unregister()
{
    const AMOVIESETUP_FILTER* setup = GetSetupData();
    return setup != nullptr ? AMovieSetupRegisterFilter2(setup, nullptr, FALSE) : S_FALSE;
}
