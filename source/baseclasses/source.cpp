#include "source.h"

#include <algorithm>
#include <climits>
#include <new>
#include <utility>

namespace {

/// The number a pin id stands for; 0 when it is none.
int numberOf(LPCWSTR id)
{
    long long number = 0;
    for (; *id >= L'0' && *id <= L'9' && number <= INT_MAX; ++id)
        number = number * 10 + (*id - L'0');
    return *id == L'\0' && number <= INT_MAX ? static_cast<int>(number) : 0;
}

}  // namespace

CSource::CSource(CObjectName pName, LPUNKNOWN lpunk, CLSID clsid, HRESULT* phr)
    : CBaseFilter(pName, lpunk, &m_cStateLock, clsid, phr)
{
}

CSource::~CSource()
{
    // While the pins are whole: their threads call functions of the derived classes.
    std::for_each(m_paStreams, m_paStreams + m_iPins, [](CSourceStream* stream) { stream->endThread(); });
    // Each takes itself off the list.
    while (m_iPins != 0)
        delete m_paStreams[m_iPins - 1];  // NOLINT(clang-analyzer-cplusplus.NewDelete): another one each time
    delete[] m_paStreams;
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

STDMETHODIMP CSource::FindPin(LPCWSTR Id, IPin** ppPin)
{
    if (!ppPin)
        return E_POINTER;
    *ppPin = nullptr;
    if (!Id)
        return E_POINTER;
    CBasePin* const pin = GetPin(numberOf(Id) - 1);
    if (!pin)
        return VFW_E_NOT_FOUND;
    pin->AddRef();
    *ppPin = pin;
    return S_OK;
}

STDMETHODIMP CSource::GetState(DWORD dwMSecs, FILTER_STATE* State)
{
    const bool worker =
        std::any_of(m_paStreams, m_paStreams + m_iPins, [](CSourceStream* stream) { return stream->isWorker(); });
    return CBaseFilter::GetState(worker ? 0 : dwMSecs, State);
}

int CSource::FindPinNumber(IPin* iPin)
{
    CAutoLock lock(&m_cStateLock);
    for (int i = 0; i < m_iPins; ++i)
        if (static_cast<IPin*>(m_paStreams[i]) == iPin)
            return i;
    return -1;
}

HRESULT CSource::AddStream(CSourceStream* pStream)
{
    CAutoLock lock(&m_cStateLock);
    auto** const streams = new (std::nothrow) CSourceStream*[static_cast<std::size_t>(m_iPins) + 1];
    if (!streams)
        return E_OUTOFMEMORY;
    // A derived class may have allocated a list beforehand, for pins that put themselves on it here.
    std::copy_n(m_paStreams, m_iPins, streams);
    streams[m_iPins++] = pStream;
    delete[] std::exchange(m_paStreams, streams);
    return S_OK;
}

HRESULT CSource::RemoveStream(CSourceStream* pStream)
{
    CAutoLock lock(&m_cStateLock);
    CSourceStream** const end = m_paStreams + m_iPins;
    CSourceStream** const found = std::find(m_paStreams, end, pStream);
    if (found == end)
        return S_FALSE;
    std::move(found + 1, end, found);
    --m_iPins;
    return S_OK;
}
