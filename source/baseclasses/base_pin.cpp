#include "streams.h"

#include <cwchar>
#include <new>

CBasePin::CBasePin(LPCTSTR pObjectName, CBaseFilter* pFilter, CCritSec* pLock, HRESULT* phr, LPCWSTR pName,
                   PIN_DIRECTION dir)
    : CUnknown(pObjectName, nullptr), m_dir(dir), m_pLock(pLock), m_pFilter(pFilter)
{
    if (pName == nullptr)
        return;
    const size_t size = wcslen(pName) + 1;
    m_pName = new (std::nothrow) WCHAR[size];
    if (m_pName != nullptr)
        wmemcpy(m_pName, pName, size);
    else if (phr != nullptr)
        *phr = E_OUTOFMEMORY;
}

CBasePin::~CBasePin()
{
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

STDMETHODIMP CBasePin::ConnectedTo(IPin** ppPin)
{
    CheckPointer(ppPin, E_POINTER);
    *ppPin = m_Connected;
    CheckPointer(m_Connected, VFW_E_NOT_CONNECTED);
    m_Connected->AddRef();
    return S_OK;
}

STDMETHODIMP CBasePin::ConnectionMediaType(AM_MEDIA_TYPE* pmt)
{
    CheckPointer(pmt, E_POINTER);
    CAutoLock lock(m_pLock);
    if (IsConnected())
        return CopyMediaType(pmt, &m_mt);
    *pmt = {};
    pmt->lSampleSize = 1;
    pmt->bFixedSizeSamples = TRUE;
    return VFW_E_NOT_CONNECTED;
}

STDMETHODIMP CBasePin::QueryPinInfo(PIN_INFO* pInfo)
{
    CheckPointer(pInfo, E_POINTER);
    *pInfo = {};
    pInfo->pFilter = m_pFilter;
    m_pFilter->AddRef();
    if (m_pName != nullptr)
        wmemcpy(pInfo->achName, m_pName, wcsnlen(m_pName, MAX_PIN_NAME - 1));
    pInfo->dir = m_dir;
    return S_OK;
}

STDMETHODIMP CBasePin::QueryDirection(PIN_DIRECTION* pPinDir)
{
    CheckPointer(pPinDir, E_POINTER);
    *pPinDir = m_dir;
    return S_OK;
}

STDMETHODIMP CBasePin::QueryId(LPWSTR* Id)
{
    return AMGetWideString(Name(), Id);
}

STDMETHODIMP CBasePin::QueryAccept(const AM_MEDIA_TYPE* pmt)
{
    CheckPointer(pmt, E_POINTER);
    const CMediaType type(*pmt);
    const HRESULT result = CheckMediaType(&type);
    return FAILED(result) ? S_FALSE : result;
}

STDMETHODIMP CBasePin::EnumMediaTypes(IEnumMediaTypes** ppEnum)
{
    CheckPointer(ppEnum, E_POINTER);
    *ppEnum = new (std::nothrow) CEnumMediaTypes(this, nullptr);
    return *ppEnum != nullptr ? S_OK : E_OUTOFMEMORY;
}

STDMETHODIMP CBasePin::QueryInternalConnections(IPin**, ULONG*)
{
    return E_NOTIMPL;  // by convention: every input goes to every output
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

STDMETHODIMP CBasePin::SetSink(IQualityControl* piqc)
{
    CAutoLock lock(m_pLock);
    m_pQSink = piqc;
    return S_OK;
}

HRESULT CBasePin::Inactive()
{
    m_bRunTimeError = false;
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
    PIN_DIRECTION other = m_dir;
    pPin->QueryDirection(&other);
    return other == m_dir ? VFW_E_INVALID_DIRECTION : S_OK;
}
