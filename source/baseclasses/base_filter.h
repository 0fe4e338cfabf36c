/// @file
/// Base of every filter.

#ifndef ZARNOW_BASECLASSES_BASE_FILTER_H
#define ZARNOW_BASECLASSES_BASE_FILTER_H

#include <atomic>

#include "platform.h"
#include "sync.h"
#include "unknown.h"

class CBasePin;

/// A filter: IBaseFilter and IAMovieSetup. Derived classes say which pins there are.
///
/// State changes run under the filter's lock. The clock is counted; the graph and its event sink are not, for the
/// graph owns the filter.
class CBaseFilter : public CUnknown, public IBaseFilter, public IAMovieSetup
{
    friend class CBasePin;

public:
    DECLARE_IUNKNOWN
    /// IBaseFilter, IMediaFilter, IPersist, IAMovieSetup and what CUnknown has.
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    /// @param pLock  lock of the filter's state, which lives as long as the filter
    CBaseFilter(CObjectName pName, LPUNKNOWN pUnk, CCritSec* pLock, REFCLSID clsid);
    CBaseFilter(CObjectName pName, LPUNKNOWN pUnk, CCritSec* pLock, REFCLSID clsid, HRESULT* phr);
    ~CBaseFilter() override;

    STDMETHODIMP GetClassID(CLSID* pClsID) override;

    /// Waits up to dwMSecs for a state change that another thread has under way.
    /// @return S_OK, or VFW_S_STATE_INTERMEDIATE when it did not end in time
    STDMETHODIMP GetState(DWORD dwMSecs, FILTER_STATE* State) override;
    STDMETHODIMP SetSyncSource(IReferenceClock* pClock) override;
    STDMETHODIMP GetSyncSource(IReferenceClock** pClock) override;
    /// Makes every connected pin inactive. Returns the first error, but is stopped in any case.
    STDMETHODIMP Stop() override;
    /// From stopped, activates every connected pin; when one fails the filter stays stopped.
    STDMETHODIMP Pause() override;
    STDMETHODIMP Run(REFERENCE_TIME tStart) override;

    STDMETHODIMP EnumPins(IEnumPins** ppEnum) override;
    /// By name. VFW_E_NOT_FOUND clears *ppPin.
    STDMETHODIMP FindPin(LPCWSTR Id, IPin** ppPin) override;
    STDMETHODIMP QueryFilterInfo(FILTER_INFO* pInfo) override;
    STDMETHODIMP JoinFilterGraph(IFilterGraph* pGraph, LPCWSTR pName) override;
    STDMETHODIMP QueryVendorInfo(LPWSTR* pVendorInfo) override;

    // S_FALSE: filters are registered with their module.
    STDMETHODIMP Register() override { return S_FALSE; }
    STDMETHODIMP Unregister() override { return S_FALSE; }

    virtual int GetPinCount() = 0;
    /// Pin n, not counted; null past the last one.
    virtual CBasePin* GetPin(int n) = 0;

    // Neither takes the filter's lock: the worker may ask during a Stop that waits for it.
    BOOL IsActive();
    BOOL IsStopped();

    /// Sends an event to the graph; EC_COMPLETE names this filter. E_NOTIMPL outside a graph.
    HRESULT NotifyEvent(long EventCode, LONG_PTR EventParam1, LONG_PTR EventParam2);

    /// Changes whenever pins come or go: enumerators then are out of step.
    virtual LONG GetPinVersion();
    void IncrementPinVersion();

private:
    class Transition;

    /// Whether a state change is under way: the state is the old one then, although pins may be active already.
    bool isChanging() const { return m_transitionThread != 0; }
    HRESULT activatePins();
    HRESULT deactivatePins(int count);
    HRESULT rename(LPCWSTR name);
    HRESULT runPins(REFERENCE_TIME tStart);

    std::atomic<DWORD> m_transitionThread{0};
    CAMEvent m_transitionEnd{TRUE};
    CCritSec m_membershipLock;  ///< guards name and graph for the threads that ask without the filter's lock

protected:
    FILTER_STATE m_State = State_Stopped;
    IReferenceClock* m_pClock = nullptr;
    CLSID m_clsid;
    CCritSec* m_pLock;
    WCHAR* m_pName = nullptr;
    IFilterGraph* m_pGraph = nullptr;
    IMediaEventSink* m_pSink = nullptr;
    LONG m_PinVersion = 1;
};

#endif
