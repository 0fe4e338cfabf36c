#include "streams.h"

#include <new>

namespace {

/// The count pointer may be left out only when one item is asked for.
HRESULT checkFetch(ULONG count, const void* items, const ULONG* fetched)
{
    CheckPointer(items, E_POINTER);
    return fetched == nullptr && count > 1 ? E_INVALIDARG : S_OK;
}

HRESULT queryEnumerator(IUnknown* self, REFIID own, REFIID riid, void** ppv)
{
    CheckPointer(ppv, E_POINTER);
    if (riid == own || riid == IID_IUnknown)
        return GetInterface(self, ppv);
    *ppv = nullptr;
    return E_NOINTERFACE;
}

}  // namespace

CEnumPins::CEnumPins(CBaseFilter* pFilter, CEnumPins* pEnumPins) : CBaseObject(nullptr), m_pFilter(pFilter)
{
    m_pFilter->AddRef();
    if (pEnumPins != nullptr) {
        m_Position = pEnumPins->m_Position;
        m_PinCount = pEnumPins->m_PinCount;
        m_Version = pEnumPins->m_Version;
        return;
    }
    m_Version = m_pFilter->GetPinVersion();
    m_PinCount = m_pFilter->GetPinCount();
}

CEnumPins::~CEnumPins()
{
    m_pFilter->Release();
}

STDMETHODIMP CEnumPins::QueryInterface(REFIID riid, void** ppv)
{
    return queryEnumerator(this, IID_IEnumPins, riid, ppv);
}

STDMETHODIMP_(ULONG) CEnumPins::AddRef()
{
    return static_cast<ULONG>(InterlockedIncrement(&m_cRef));
}

STDMETHODIMP_(ULONG) CEnumPins::Release()
{
    const LONG count = InterlockedDecrement(&m_cRef);
    if (count == 0)
        delete this;
    return static_cast<ULONG>(count);
}

bool CEnumPins::outOfSync() const
{
    return m_pFilter->GetPinVersion() != m_Version;
}

STDMETHODIMP CEnumPins::Next(ULONG cPins, IPin** ppPins, ULONG* pcFetched)
{
    if (const HRESULT result = checkFetch(cPins, ppPins, pcFetched); FAILED(result))
        return result;
    if (pcFetched != nullptr)
        *pcFetched = 0;
    if (outOfSync())
        return VFW_E_ENUM_OUT_OF_SYNC;
    ULONG fetched = 0;
    while (fetched < cPins && m_Position < m_PinCount) {
        CBasePin* pin = m_pFilter->GetPin(m_Position++);
        if (pin == nullptr)
            return VFW_E_ENUM_OUT_OF_SYNC;
        ppPins[fetched++] = pin;
        pin->AddRef();
    }
    if (pcFetched != nullptr)
        *pcFetched = fetched;
    return fetched == cPins ? S_OK : S_FALSE;
}

STDMETHODIMP CEnumPins::Skip(ULONG cPins)
{
    if (outOfSync())
        return VFW_E_ENUM_OUT_OF_SYNC;
    const auto left = static_cast<ULONG>(m_PinCount - m_Position);
    if (cPins > left)
        return S_FALSE;
    m_Position += static_cast<int>(cPins);
    return S_OK;
}

STDMETHODIMP CEnumPins::Reset()
{
    m_Version = m_pFilter->GetPinVersion();
    m_PinCount = m_pFilter->GetPinCount();
    m_Position = 0;
    return S_OK;
}

STDMETHODIMP CEnumPins::Clone(IEnumPins** ppEnum)
{
    CheckPointer(ppEnum, E_POINTER);
    *ppEnum = nullptr;
    if (outOfSync())
        return VFW_E_ENUM_OUT_OF_SYNC;
    *ppEnum = new (std::nothrow) CEnumPins(m_pFilter, this);
    return *ppEnum != nullptr ? S_OK : E_OUTOFMEMORY;
}

CEnumMediaTypes::CEnumMediaTypes(CBasePin* pPin, CEnumMediaTypes* pEnumMediaTypes) : CBaseObject(nullptr), m_pPin(pPin)
{
    m_pPin->AddRef();
    m_Version = m_pPin->GetMediaTypeVersion();
    if (pEnumMediaTypes != nullptr) {
        m_Position = pEnumMediaTypes->m_Position;
        m_Version = pEnumMediaTypes->m_Version;
    }
}

CEnumMediaTypes::~CEnumMediaTypes()
{
    m_pPin->Release();
}

STDMETHODIMP CEnumMediaTypes::QueryInterface(REFIID riid, void** ppv)
{
    return queryEnumerator(this, IID_IEnumMediaTypes, riid, ppv);
}

STDMETHODIMP_(ULONG) CEnumMediaTypes::AddRef()
{
    return static_cast<ULONG>(InterlockedIncrement(&m_cRef));
}

STDMETHODIMP_(ULONG) CEnumMediaTypes::Release()
{
    const LONG count = InterlockedDecrement(&m_cRef);
    if (count == 0)
        delete this;
    return static_cast<ULONG>(count);
}

bool CEnumMediaTypes::outOfSync() const
{
    return m_pPin->GetMediaTypeVersion() != m_Version;
}

/// Null behind the last type, and without memory.
AM_MEDIA_TYPE* CEnumMediaTypes::typeAt(int position)
{
    CMediaType type;
    return m_pPin->GetMediaType(position, &type) == S_OK ? CreateMediaType(&type) : nullptr;
}

STDMETHODIMP CEnumMediaTypes::Next(ULONG cMediaTypes, AM_MEDIA_TYPE** ppMediaTypes, ULONG* pcFetched)
{
    if (const HRESULT result = checkFetch(cMediaTypes, ppMediaTypes, pcFetched); FAILED(result))
        return result;
    if (pcFetched != nullptr)
        *pcFetched = 0;
    if (outOfSync())
        return VFW_E_ENUM_OUT_OF_SYNC;
    ULONG fetched = 0;
    while (fetched < cMediaTypes) {
        AM_MEDIA_TYPE* type = typeAt(m_Position);
        if (type == nullptr)
            break;
        ++m_Position;
        ppMediaTypes[fetched++] = type;
    }
    if (pcFetched != nullptr)
        *pcFetched = fetched;
    return fetched == cMediaTypes ? S_OK : S_FALSE;
}

STDMETHODIMP CEnumMediaTypes::Skip(ULONG cMediaTypes)
{
    if (outOfSync())
        return VFW_E_ENUM_OUT_OF_SYNC;
    for (; cMediaTypes > 0; --cMediaTypes, ++m_Position) {
        CMediaType type;
        if (m_pPin->GetMediaType(m_Position, &type) != S_OK)
            return S_FALSE;
    }
    return S_OK;
}

STDMETHODIMP CEnumMediaTypes::Reset()
{
    m_Position = 0;
    m_Version = m_pPin->GetMediaTypeVersion();
    return S_OK;
}

STDMETHODIMP CEnumMediaTypes::Clone(IEnumMediaTypes** ppEnum)
{
    CheckPointer(ppEnum, E_POINTER);
    *ppEnum = nullptr;
    if (outOfSync())
        return VFW_E_ENUM_OUT_OF_SYNC;
    *ppEnum = new (std::nothrow) CEnumMediaTypes(m_pPin, this);
    return *ppEnum != nullptr ? S_OK : E_OUTOFMEMORY;
}
