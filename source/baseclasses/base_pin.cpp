#include "base_pin.h"

#include <cwchar>
#include <iterator>
#include <new>

#include "enumerators.h"

CBasePin::CBasePin(CObjectName pObjectName, CBaseFilter* pFilter, CCritSec* pLock, HRESULT* phr, LPCWSTR pName,
                   PIN_DIRECTION dir)
    : CUnknown(pObjectName, nullptr), m_dir(dir), m_pLock(pLock), m_pFilter(pFilter)
{
    if (!pName)
        return;
    const std::size_t length = std::wcslen(pName) + 1;
    m_pName = new (std::nothrow) WCHAR[length];
    if (m_pName)
        std::wmemcpy(m_pName, pName, length);
    else if (phr)
        *phr = E_OUTOFMEMORY;
}

CBasePin::~CBasePin()
{
    if (m_Connected)
        m_Connected->Release();
    delete[] m_pName;
}

STDMETHODIMP CBasePin::NonDelegatingQueryInterface(REFIID riid, void** ppv)
{
    if (riid == IID_IPin)
        return GetInterface(static_cast<IPin*>(this), ppv);
    if (riid == IID_IQualityControl)
        return GetInterface(static_cast<IQualityControl*>(this), ppv);
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

STDMETHODIMP_(ULONG) CBasePin::NonDelegatingAddRef()
{
    return m_pFilter->AddRef();
}

STDMETHODIMP_(ULONG) CBasePin::NonDelegatingRelease()
{
    return m_pFilter->Release();
}

STDMETHODIMP CBasePin::ConnectedTo(IPin** pPin)
{
    if (!pPin)
        return E_POINTER;
    *pPin = m_Connected;
    if (!m_Connected)
        return VFW_E_NOT_CONNECTED;
    m_Connected->AddRef();
    return S_OK;
}

STDMETHODIMP CBasePin::ConnectionMediaType(AM_MEDIA_TYPE* pmt)
{
    if (!pmt)
        return E_POINTER;
    CAutoLock lock(m_pLock);
    if (IsConnected())
        return CopyMediaType(pmt, &m_mt);
    *pmt = AM_MEDIA_TYPE{};
    return VFW_E_NOT_CONNECTED;
}

STDMETHODIMP CBasePin::QueryPinInfo(PIN_INFO* pInfo)
{
    if (!pInfo)
        return E_POINTER;
    pInfo->pFilter = m_pFilter;
    if (m_pFilter)
        m_pFilter->AddRef();
    lstrcpynW(pInfo->achName, m_pName ? m_pName : L"", static_cast<int>(std::size(pInfo->achName)));
    pInfo->dir = m_dir;
    return S_OK;
}

STDMETHODIMP CBasePin::QueryDirection(PIN_DIRECTION* pPinDir)
{
    if (!pPinDir)
        return E_POINTER;
    *pPinDir = m_dir;
    return S_OK;
}

STDMETHODIMP CBasePin::QueryId(LPWSTR* Id)
{
    return AMGetWideString(m_pName ? m_pName : L"", Id);
}

STDMETHODIMP CBasePin::QueryAccept(const AM_MEDIA_TYPE* pmt)
{
    if (!pmt)
        return E_POINTER;
    HRESULT hr = S_OK;
    const CMediaType type(*pmt, &hr);
    if (FAILED(hr))
        return hr;
    // A refusal is no error of the question.
    return CheckMediaType(&type) == S_OK ? S_OK : S_FALSE;
}

STDMETHODIMP CBasePin::EnumMediaTypes(IEnumMediaTypes** ppEnum)
{
    if (!ppEnum)
        return E_POINTER;
    *ppEnum = new (std::nothrow) CEnumMediaTypes(this, nullptr);
    return *ppEnum ? S_OK : E_OUTOFMEMORY;
}

STDMETHODIMP CBasePin::QueryInternalConnections(IPin**, ULONG*)
{
    // Every input is connected to every output.
    return E_NOTIMPL;
}

STDMETHODIMP CBasePin::EndOfStream()
{
    return S_OK;
}

STDMETHODIMP CBasePin::NewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate)
{
    m_tStart = tStart;
    m_tStop = tStop;
    m_dRate = dRate;
    return S_OK;
}

STDMETHODIMP CBasePin::Notify(IBaseFilter*, Quality)
{
    return E_NOTIMPL;
}

STDMETHODIMP CBasePin::SetSink(IQualityControl*)
{
    // The pins here send no messages that a sink could get.
    return S_OK;
}

LONG CBasePin::GetMediaTypeVersion()
{
    return InterlockedCompareExchange(&m_TypeVersion, 0, 0);
}

void CBasePin::IncrementTypeVersion()
{
    InterlockedIncrement(&m_TypeVersion);
}

HRESULT CBasePin::Active()
{
    return S_OK;
}

HRESULT CBasePin::Inactive()
{
    m_bRunTimeError = false;
    return S_OK;
}

HRESULT CBasePin::Run(REFERENCE_TIME)
{
    return S_OK;
}

HRESULT CBasePin::SetMediaType(const CMediaType* pmt)
{
    return m_mt.Set(*pmt);
}

HRESULT CBasePin::GetMediaType(int, CMediaType*)
{
    return E_UNEXPECTED;
}

HRESULT CBasePin::CheckConnect(IPin* pPin)
{
    PIN_DIRECTION other{};
    const HRESULT hr = pPin->QueryDirection(&other);
    if (FAILED(hr))
        return hr;
    const bool opposite = m_dir == PINDIR_INPUT ? other == PINDIR_OUTPUT : other == PINDIR_INPUT;
    return opposite ? S_OK : VFW_E_INVALID_DIRECTION;
}

HRESULT CBasePin::BreakConnect()
{
    return S_OK;
}

HRESULT CBasePin::CompleteConnect(IPin*)
{
    return S_OK;
}
