#include "enumerators.h"

#include <algorithm>
#include <climits>
#include <new>

#include "base_filter.h"
#include "base_pin.h"
#include "media_type.h"

namespace {

/// What every Next checks of its arguments.
template <typename T>
HRESULT checkNext(ULONG count, T** items, ULONG* fetched)
{
    if (!items)
        return E_POINTER;
    if (fetched)
        *fetched = 0;
    return fetched || count <= 1 ? S_OK : E_INVALIDARG;
}

HRESULT finishNext(ULONG wanted, ULONG got, ULONG* fetched)
{
    if (fetched)
        *fetched = got;
    return got == wanted ? S_OK : S_FALSE;
}

/// Enumerators are handed out by a single interface.
HRESULT queryEnumerator(REFIID wanted, REFIID own, IUnknown* enumerator, void** ppv)
{
    if (!ppv)
        return E_POINTER;
    if (wanted == own || wanted == IID_IUnknown)
        return GetInterface(enumerator, ppv);
    *ppv = nullptr;
    return E_NOINTERFACE;
}

}  // namespace

CEnumPins::CEnumPins(CBaseFilter* pFilter, CEnumPins* pEnumPins) : CBaseObject(nullptr), m_pFilter(pFilter)
{
    m_pFilter->AddRef();
    if (pEnumPins) {
        m_Position = pEnumPins->m_Position;
        m_PinCount = pEnumPins->m_PinCount;
        m_Version = pEnumPins->m_Version;
    } else {
        CEnumPins::Reset();
    }
}

CEnumPins::~CEnumPins()
{
    m_pFilter->Release();
}

STDMETHODIMP CEnumPins::QueryInterface(REFIID riid, void** ppv)
{
    return queryEnumerator(riid, IID_IEnumPins, this, ppv);
}

STDMETHODIMP_(ULONG) CEnumPins::AddRef()
{
    return static_cast<ULONG>(InterlockedIncrement(&m_cRef));
}

STDMETHODIMP_(ULONG) CEnumPins::Release()
{
    const LONG left = InterlockedDecrement(&m_cRef);
    if (left == 0)
        delete this;
    return static_cast<ULONG>(left);
}

BOOL CEnumPins::AreWeOutOfSync() const
{
    return m_pFilter->GetPinVersion() != m_Version;
}

STDMETHODIMP CEnumPins::Reset()
{
    m_Version = m_pFilter->GetPinVersion();
    m_PinCount = m_pFilter->GetPinCount();
    m_Position = 0;
    return S_OK;
}

STDMETHODIMP CEnumPins::Next(ULONG cPins, IPin** ppPins, ULONG* pcFetched)
{
    const HRESULT hr = checkNext(cPins, ppPins, pcFetched);
    if (FAILED(hr))
        return hr;
    if (AreWeOutOfSync())
        return VFW_E_ENUM_OUT_OF_SYNC;
    return finishNext(cPins, fetch(cPins, ppPins), pcFetched);
}

ULONG CEnumPins::fetch(ULONG count, IPin** pins)
{
    ULONG got = 0;
    while (got < count && m_Position < m_PinCount) {
        CBasePin* const pin = m_pFilter->GetPin(m_Position);
        if (!pin)
            break;
        pin->AddRef();
        pins[got++] = pin;
        ++m_Position;
    }
    return got;
}

STDMETHODIMP CEnumPins::Skip(ULONG cPins)
{
    if (AreWeOutOfSync())
        return VFW_E_ENUM_OUT_OF_SYNC;
    const ULONG left = static_cast<ULONG>(m_PinCount - m_Position);
    m_Position += static_cast<int>(std::min(cPins, left));
    return cPins <= left ? S_OK : S_FALSE;
}

STDMETHODIMP CEnumPins::Clone(IEnumPins** ppEnum)
{
    if (!ppEnum)
        return E_POINTER;
    *ppEnum = nullptr;
    if (AreWeOutOfSync())
        return VFW_E_ENUM_OUT_OF_SYNC;
    *ppEnum = new (std::nothrow) CEnumPins(m_pFilter, this);
    return *ppEnum ? S_OK : E_OUTOFMEMORY;
}

CEnumMediaTypes::CEnumMediaTypes(CBasePin* pPin, CEnumMediaTypes* pEnumMediaTypes) : CBaseObject(nullptr), m_pPin(pPin)
{
    m_pPin->AddRef();
    if (pEnumMediaTypes) {
        m_Position = pEnumMediaTypes->m_Position;
        m_Version = pEnumMediaTypes->m_Version;
    } else {
        CEnumMediaTypes::Reset();
    }
}

CEnumMediaTypes::~CEnumMediaTypes()
{
    m_pPin->Release();
}

STDMETHODIMP CEnumMediaTypes::QueryInterface(REFIID riid, void** ppv)
{
    return queryEnumerator(riid, IID_IEnumMediaTypes, this, ppv);
}

STDMETHODIMP_(ULONG) CEnumMediaTypes::AddRef()
{
    return static_cast<ULONG>(InterlockedIncrement(&m_cRef));
}

STDMETHODIMP_(ULONG) CEnumMediaTypes::Release()
{
    const LONG left = InterlockedDecrement(&m_cRef);
    if (left == 0)
        delete this;
    return static_cast<ULONG>(left);
}

BOOL CEnumMediaTypes::AreWeOutOfSync() const
{
    return m_pPin->GetMediaTypeVersion() != m_Version;
}

STDMETHODIMP CEnumMediaTypes::Reset()
{
    m_Version = m_pPin->GetMediaTypeVersion();
    m_Position = 0;
    return S_OK;
}

STDMETHODIMP CEnumMediaTypes::Next(ULONG cMediaTypes, AM_MEDIA_TYPE** ppMediaTypes, ULONG* pcFetched)
{
    const HRESULT hr = checkNext(cMediaTypes, ppMediaTypes, pcFetched);
    if (FAILED(hr))
        return hr;
    if (AreWeOutOfSync())
        return VFW_E_ENUM_OUT_OF_SYNC;
    ULONG got = 0;
    while (got < cMediaTypes) {
        AM_MEDIA_TYPE* const type = typeAtPosition();
        if (!type)
            break;
        ppMediaTypes[got++] = type;
        ++m_Position;
    }
    return finishNext(cMediaTypes, got, pcFetched);
}

/// A copy of the type, for the caller of Next; null past the last one.
AM_MEDIA_TYPE* CEnumMediaTypes::typeAtPosition()
{
    CMediaType type;
    return m_pPin->GetMediaType(m_Position, &type) == S_OK ? CreateMediaType(&type) : nullptr;
}

STDMETHODIMP CEnumMediaTypes::Skip(ULONG cMediaTypes)
{
    if (AreWeOutOfSync())
        return VFW_E_ENUM_OUT_OF_SYNC;
    if (cMediaTypes == 0)
        return S_OK;
    // The pin does not tell how many types it has, so the last one that is skipped is asked for.
    const ULONG room = static_cast<ULONG>(INT_MAX - m_Position);
    m_Position += static_cast<int>(std::min(cMediaTypes, room));
    CMediaType last;
    return m_pPin->GetMediaType(m_Position - 1, &last) == S_OK ? S_OK : S_FALSE;
}

STDMETHODIMP CEnumMediaTypes::Clone(IEnumMediaTypes** ppEnum)
{
    if (!ppEnum)
        return E_POINTER;
    *ppEnum = nullptr;
    if (AreWeOutOfSync())
        return VFW_E_ENUM_OUT_OF_SYNC;
    *ppEnum = new (std::nothrow) CEnumMediaTypes(m_pPin, this);
    return *ppEnum ? S_OK : E_OUTOFMEMORY;
}
