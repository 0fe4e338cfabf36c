#include "filter/mpeg_ts_source.h"

#include <array>
#include <new>

namespace zarnow {

namespace {

/// Saved as it lies in memory: two little-endian words.
using SavedProgram = std::array<WORD, 2>;

bool belongsToPin(REFIID riid) noexcept
{
    return riid == IID_ITarnwell || riid == IID_IFileSourceFilter || riid == IID_IMediaPosition;
}

}  // namespace

CUnknown* WINAPI CMPEGTSSource::CreateInstance(LPUNKNOWN pUnkOuter, HRESULT* phr)
{
    CUnknown* filter = nullptr;
    try {
        filter = new (std::nothrow) CMPEGTSSource(pUnkOuter, phr);
    } catch (...) {
        filter = nullptr;
    }
    if (filter == nullptr)
        *phr = E_OUTOFMEMORY;
    return filter;
}

CMPEGTSSource::CMPEGTSSource(LPUNKNOWN pUnkOuter, HRESULT* phr)
    : CSource(nullptr, pUnkOuter, CLSID_ZarnowTSSource, phr), CPersistStream(pUnkOuter, phr)
{
    CAutoLock lock(&m_cStateLock);
    // The base owns the array and deletes the pins in it; a pin adds itself to the array when it is built.
    m_paStreams = new (std::nothrow) CSourceStream*[1];
    if (m_paStreams != nullptr)
        stream = new (std::nothrow) CMPEGTranspStream(phr, this);
    if (stream != nullptr && FindPinNumber(stream) < 0) {
        delete stream;  // there was no memory for its place in the array, and nobody else owns it
        stream = nullptr;
    }
    if (stream == nullptr) {
        delete[] m_paStreams;
        m_paStreams = nullptr;
        *phr = E_OUTOFMEMORY;
    }
}

STDMETHODIMP CMPEGTSSource::NonDelegatingQueryInterface(REFIID riid, void** ppv)
{
    CheckPointer(ppv, E_POINTER);
    CAutoLock lock(&m_cStateLock);
    if (stream != nullptr) {
        if (belongsToPin(riid))
            return stream->NonDelegatingQueryInterface(riid, ppv);
        if (riid == IID_ISpecifyPropertyPages)
            return GetInterface(static_cast<ISpecifyPropertyPages*>(this), ppv);
        if (riid == IID_IPersistStream)
            return GetInterface(static_cast<IPersistStream*>(this), ppv);
    }
    return CSource::NonDelegatingQueryInterface(riid, ppv);
}

STDMETHODIMP CMPEGTSSource::Pause()
{
    CAutoLock lock(&m_cStateLock);
    if (m_State == State_Stopped && stream != nullptr)
        stream->rewind();
    return CSource::Pause();
}

STDMETHODIMP CMPEGTSSource::GetClassID(CLSID* pClsid)
{
    return CSource::GetClassID(pClsid);
}

STDMETHODIMP CMPEGTSSource::GetPages(CAUUID* pPages)
{
    CheckPointer(pPages, E_POINTER);
    CAutoLock lock(&m_cStateLock);
    pPages->cElems = 1;  // kept: so also when the allocation fails
    pPages->pElems = static_cast<GUID*>(CoTaskMemAlloc(sizeof(GUID)));
    if (pPages->pElems == nullptr)
        return E_OUTOFMEMORY;
    *pPages->pElems = CLSID_ZarnowTSProperties;
    return S_OK;
}

HRESULT CMPEGTSSource::WriteToStream(IStream* pStream)
{
    const SavedProgram saved{stream->currentPmtPid, stream->currentProgramNumber};
    for (const WORD& value : saved)
        pStream->Write(&value, sizeof(value), nullptr);
    return S_OK;
}

/// A program that the current file does not have is passed over: a saved graph may be restored before its file is.
HRESULT CMPEGTSSource::ReadFromStream(IStream* pStream)
{
    SavedProgram saved{};
    for (WORD& value : saved)
        pStream->Read(&value, sizeof(value), nullptr);
    stream->restoreProgram(saved[0], saved[1]);
    return S_OK;
}

}  // namespace zarnow
