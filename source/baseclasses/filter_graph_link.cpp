// A filter's dealings with its graph: membership and events.

#include <cwchar>
#include <new>
#include <utility>

#include "base_filter.h"
#include "com_ptr.h"

STDMETHODIMP CBaseFilter::JoinFilterGraph(IFilterGraph* pGraph, LPCWSTR pName)
{
    CAutoLock lock(m_pLock);
    // First: a graph that is told of a failure does not keep the filter, nor tell it when it goes.
    const HRESULT renamed = rename(pName);
    if (FAILED(renamed))
        return renamed;
    {
        CAutoLock membership(&m_membershipLock);
        m_pGraph = pGraph;
    }
    // Neither the graph nor its sink is counted: the graph holds the filter.
    m_pSink = ComPtr<IFilterGraph>(pGraph).query<IMediaEventSink>(IID_IMediaEventSink).get();
    return S_OK;
}

HRESULT CBaseFilter::rename(LPCWSTR name)
{
    WCHAR* copy = nullptr;
    if (name) {
        const std::size_t length = std::wcslen(name) + 1;
        copy = new (std::nothrow) WCHAR[length];
        if (!copy)
            return E_OUTOFMEMORY;
        std::wmemcpy(copy, name, length);
    }
    {
        CAutoLock membership(&m_membershipLock);
        std::swap(m_pName, copy);
    }
    delete[] copy;
    return S_OK;
}

STDMETHODIMP CBaseFilter::QueryFilterInfo(FILTER_INFO* pInfo)
{
    if (!pInfo)
        return E_POINTER;
    // Without the filter's lock, for the worker may ask during a Stop that waits for it.
    CAutoLock membership(&m_membershipLock);
    lstrcpynW(pInfo->achName, m_pName ? m_pName : L"", static_cast<int>(std::size(pInfo->achName)));
    pInfo->pGraph = m_pGraph;
    if (m_pGraph)
        m_pGraph->AddRef();
    return S_OK;
}

STDMETHODIMP CBaseFilter::QueryVendorInfo(LPWSTR*)
{
    return E_NOTIMPL;
}

HRESULT CBaseFilter::NotifyEvent(long EventCode, LONG_PTR EventParam1, LONG_PTR EventParam2)
{
    // Not under the filter's lock: it is held by a Stop that waits for the very thread that reports here.
    IMediaEventSink* const sink = m_pSink;
    if (!sink)
        return E_NOTIMPL;
    if (EventCode == EC_COMPLETE)
        EventParam2 = reinterpret_cast<LONG_PTR>(static_cast<IBaseFilter*>(this));
    return sink->Notify(EventCode, EventParam1, EventParam2);
}
