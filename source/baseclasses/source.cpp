#include "streams.h"

#include <algorithm>
#include <cwchar>
#include <new>

CSource::CSource(LPCTSTR pName, LPUNKNOWN lpunk, CLSID clsid) : CBaseFilter(pName, lpunk, &m_cStateLock, clsid) {}

CSource::CSource(LPCTSTR pName, LPUNKNOWN lpunk, CLSID clsid, HRESULT*) : CSource(pName, lpunk, clsid) {}

CSource::~CSource()
{
    while (m_iPins > 0)
        delete m_paStreams[m_iPins - 1];  // a pin removes itself from the array
    delete[] m_paStreams;
}

HRESULT CSource::AddPin(CSourceStream* pStream)
{
    CAutoLock lock(&m_cStateLock);
    auto** grown = new (std::nothrow) CSourceStream*[static_cast<size_t>(m_iPins) + 1];
    CheckPointer(grown, E_OUTOFMEMORY);
    std::copy_n(m_paStreams, m_iPins, grown);
    delete[] m_paStreams;
    m_paStreams = grown;
    m_paStreams[m_iPins++] = pStream;
    return S_OK;
}

HRESULT CSource::RemovePin(CSourceStream* pStream)
{
    CAutoLock lock(&m_cStateLock);
    CSourceStream** end = m_paStreams + m_iPins;
    CSourceStream** found = std::find(m_paStreams, end, pStream);
    if (found == end)
        return S_FALSE;
    std::copy(found + 1, end, found);
    --m_iPins;
    return S_OK;
}

int CSource::GetPinCount()
{
    CAutoLock lock(&m_cStateLock);
    return m_iPins;
}

CBasePin* CSource::GetPin(int n)
{
    CAutoLock lock(&m_cStateLock);
    return n >= 0 && n < m_iPins ? m_paStreams[n] : nullptr;
}

int CSource::FindPinNumber(IPin* iPin)
{
    CAutoLock lock(&m_cStateLock);
    for (int i = 0; i < m_iPins; ++i) {
        if (static_cast<IPin*>(m_paStreams[i]) == iPin)
            return i;
    }
    return -1;
}

STDMETHODIMP CSource::FindPin(LPCWSTR Id, IPin** ppPin)
{
    CheckPointer(ppPin, E_POINTER);
    *ppPin = nullptr;
    CheckPointer(Id, E_POINTER);
    wchar_t* end = nullptr;
    const long number = wcstol(Id, &end, 10);
    CBasePin* pin = *end == L'\0' && number > 0 ? GetPin(static_cast<int>(number - 1)) : nullptr;
    CheckPointer(pin, VFW_E_NOT_FOUND);
    pin->AddRef();
    *ppPin = pin;
    return S_OK;
}
