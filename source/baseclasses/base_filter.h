/// @file
/// A filter: state, clock, graph, pins.
#pragma once

#include <dshow.h>

#include <atomic>

#include "registration.h"
#include "sync.h"
#include "unknown.h"

class CBasePin;

/// A time in 100 ns units.
class CRefTime
{
public:
    CRefTime() = default;
    CRefTime(REFERENCE_TIME rt) : m_time(rt) {}
    operator REFERENCE_TIME() const { return m_time; }

    REFERENCE_TIME m_time = 0;
};

class CBaseFilter : public CUnknown, public IBaseFilter, public IAMovieSetup
{
    friend class CBasePin;

public:
    DECLARE_IUNKNOWN

    CBaseFilter(LPCTSTR pName, LPUNKNOWN pUnk, CCritSec* pLock, REFCLSID clsid);
    CBaseFilter(LPCTSTR pName, LPUNKNOWN pUnk, CCritSec* pLock, REFCLSID clsid, HRESULT* phr);
    ~CBaseFilter() override;

    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP GetClassID(CLSID* pClsID) override;

    // IMediaFilter

    /// Waits up to dwMSecs for a transition that another thread has begun. @return VFW_S_STATE_INTERMEDIATE after that
    STDMETHODIMP GetState(DWORD dwMSecs, FILTER_STATE* State) override;
    STDMETHODIMP SetSyncSource(IReferenceClock* pClock) override;
    STDMETHODIMP GetSyncSource(IReferenceClock** pClock) override;
    STDMETHODIMP Stop() override;
    STDMETHODIMP Pause() override;
    STDMETHODIMP Run(REFERENCE_TIME tStart) override;

    /// Time since the run's start. @return VFW_E_NO_CLOCK
    virtual HRESULT StreamTime(CRefTime& rtStream);
    BOOL IsActive() const { return m_State != State_Stopped; }
    BOOL IsStopped() const { return m_State == State_Stopped; }

    // IBaseFilter

    STDMETHODIMP EnumPins(IEnumPins** ppEnum) override;
    STDMETHODIMP FindPin(LPCWSTR Id, IPin** ppPin) override;
    STDMETHODIMP QueryFilterInfo(FILTER_INFO* pInfo) override;
    STDMETHODIMP JoinFilterGraph(IFilterGraph* pGraph, LPCWSTR pName) override;
    STDMETHODIMP QueryVendorInfo(LPWSTR* pVendorInfo) override;

    HRESULT NotifyEvent(long EventCode, LONG_PTR EventParam1, LONG_PTR EventParam2);
    IFilterGraph* GetFilterGraph() const { return m_pGraph; }
    HRESULT ReconnectPin(IPin* pPin, const AM_MEDIA_TYPE* pmt);

    virtual LONG GetPinVersion() { return m_PinVersion; }
    void IncrementPinVersion() { InterlockedIncrement(&m_PinVersion); }
    virtual int GetPinCount() = 0;
    /// Not counted. @return null behind the last pin
    virtual CBasePin* GetPin(int n) = 0;

    // IAMovieSetup

    virtual LPAMOVIESETUP_FILTER GetSetupData() { return nullptr; }
    STDMETHODIMP Register() override;
    STDMETHODIMP Unregister() override;

protected:
    class Transition;

    HRESULT activatePins();
    HRESULT inactivatePins();

    FILTER_STATE m_State = State_Stopped;
    IReferenceClock* m_pClock = nullptr;  ///< counted
    CRefTime m_tStart;
    CLSID m_clsid;
    CCritSec* m_pLock;
    WCHAR m_name[MAX_FILTER_NAME] = {};
    IFilterGraph* m_pGraph = nullptr;    ///< not counted: the graph holds the filter
    IMediaEventSink* m_pSink = nullptr;  ///< not counted
    volatile LONG m_PinVersion = 1;

private:
    std::atomic<DWORD> m_transitionThread = 0;  ///< the thread inside Stop, Pause or Run; 0: none
};
