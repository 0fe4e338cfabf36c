// A filter's dealings with its graph: membership and events.

#include <cwchar>
#include <new>
#include <utility>

#include "base_filter.h"
#include "com_ptr.h"

STDMETHODIMP CBaseFilter::JoinFilterGraph(IFilterGraph* pGraph, LPCWSTR pName)
{
    CAutoLock lock(m_pLock);
    m_pGraph = pGraph;
    // Neither the graph nor its sink is counted: the graph holds the filter.
    m_pSink = ComPtr<IFilterGraph>(pGraph).query<IMediaEventSink>(IID_IMediaEventSink).get();
    return rename(pName);
}

HRESULT CBaseFilter::rename(LPCWSTR name)
{
    delete[] std::exchange(m_pName, nullptr);
    if (!name)
        return S_OK;
    const std::size_t length = std::wcslen(name) + 1;
    m_pName = new (std::nothrow) WCHAR[length];
    if (!m_pName)
        return E_OUTOFMEMORY;
    std::wmemcpy(m_pName, name, length);
    return S_OK;
}

STDMETHODIMP CBaseFilter::QueryFilterInfo(FILTER_INFO* pInfo)
{
    if (!pInfo)
        return E_POINTER;
    // Without the filter's lock, for the worker may ask during a Stop that waits for it.
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
