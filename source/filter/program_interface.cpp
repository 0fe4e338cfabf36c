// ITarnwell of the pin.

#include <cstring>
#include <string>

#include "filter/mpeg_transp_stream.h"
#include "filter/mpeg_ts_source.h"

namespace zarnow {

namespace {

constexpr DWORD kStateTimeout = 100;  // ms

/// Null without memory.
BSTR newBstr(const std::string& ascii)
{
    const std::wstring wide(ascii.begin(), ascii.end());
    return SysAllocString(wide.c_str());
}

/// Runs the body under the analysis lock and lets no exception out.
template <class Body>
HRESULT guarded(const AnalysisMutex& mutex, Body body) noexcept
{
    try {
        const CAnalysisLock lock(mutex);
        return body();
    } catch (...) {
        return E_OUTOFMEMORY;
    }
}

static_assert(sizeof(TarnwellVideoInfo) == sizeof(AvcStreamInfo), "handed out as it lies in memory");

}  // namespace

STDMETHODIMP CMPEGTranspStream::SetBufferSize(DWORD cb)
{
    CAutoLock lock(m_pFilter->pStateLock());
    FILTER_STATE state = State_Stopped;
    const HRESULT result = m_pFilter->GetState(kStateTimeout, &state);
    if (FAILED(result))
        return result;
    if (state != State_Stopped)
        return VFW_E_NOT_STOPPED;
    return guarded(analysisMutex, [&] {
        setReadBufferSize(cb);
        return S_OK;
    });
}

STDMETHODIMP CMPEGTranspStream::GetBufferSize(DWORD* pcb)
{
    CheckPointer(pcb, E_POINTER);
    *pcb = readBufferSize;
    return S_OK;
}

STDMETHODIMP CMPEGTranspStream::GetProgramCount(DWORD* pCount)
{
    CheckPointer(pCount, E_POINTER);
    return guarded(analysisMutex, [&] {
        *pCount = static_cast<DWORD>(programList.size());
        return S_OK;
    });
}

STDMETHODIMP CMPEGTranspStream::GetCurrentProgram(DWORD* pIndex, WORD* pProgramNumber, WORD* pPmtPid)
{
    CheckPointer(pProgramNumber, E_POINTER);
    CheckPointer(pPmtPid, E_POINTER);
    return guarded(analysisMutex, [&]() -> HRESULT {
        *pPmtPid = currentPmtPid;
        *pProgramNumber = currentProgramNumber;
        std::uint32_t index = 0;
        if (!findCurrentProgram(index))
            return S_FALSE;
        CheckPointer(pIndex, E_POINTER);
        *pIndex = index;
        return S_OK;
    });
}

STDMETHODIMP CMPEGTranspStream::SelectProgramByNumber(WORD pmtPid, WORD programNumber)
{
    return guarded(analysisMutex, [&] { return selected(selectProgramByNumber(pmtPid, programNumber)); });
}

STDMETHODIMP CMPEGTranspStream::SelectProgram(DWORD index)
{
    return guarded(analysisMutex, [&] { return selected(selectProgram(index)); });
}

/// The selection is what the filter persists.
HRESULT CMPEGTranspStream::selected(bool done) noexcept
{
    if (!done)
        return E_FAIL;
    filter.SetDirty(TRUE);
    return S_OK;
}

HRESULT CMPEGTranspStream::restoreProgram(WORD pmtPid, WORD programNumber) noexcept
{
    return guarded(analysisMutex, [&] { return selectProgramByNumber(pmtPid, programNumber) ? S_OK : E_FAIL; });
}

STDMETHODIMP CMPEGTranspStream::GetProgramInfo(DWORD index, WORD* pPmtPid, WORD* pProgramNumber, BSTR* pName)
{
    CheckPointer(pPmtPid, E_POINTER);
    return guarded(analysisMutex, [&]() -> HRESULT {
        getProgram(index, *pPmtPid, pProgramNumber);
        if (pName == nullptr)
            return S_OK;
        *pName = nullptr;
        CheckPointer(pProgramNumber, E_POINTER);
        *pName = newBstr(programName(*pProgramNumber));
        return *pName != nullptr ? S_OK : E_OUTOFMEMORY;
    });
}

STDMETHODIMP CMPEGTranspStream::GetStreamCount(WORD pmtPid, WORD programNumber, DWORD* pCount)
{
    CheckPointer(pCount, E_POINTER);
    return guarded(analysisMutex, [&] {
        *pCount = countStreams(pmtPid, programNumber);
        return S_OK;
    });
}

STDMETHODIMP CMPEGTranspStream::GetStreamInfo(DWORD index, WORD pmtPid, WORD programNumber, WORD* pPid,
                                              BSTR* pDescription)
{
    CheckPointer(pPid, E_POINTER);
    CheckPointer(pDescription, E_POINTER);
    *pDescription = nullptr;
    return guarded(analysisMutex, [&]() -> HRESULT {
        std::uint8_t streamType = 0;
        if (!getStream(index, pmtPid, programNumber, streamType, *pPid))
            return E_FAIL;
        std::string text;
        if (!describeStream(streamType, *pPid, text))
            return S_FALSE;
        *pDescription = newBstr(text);
        return *pDescription != nullptr ? S_OK : E_OUTOFMEMORY;
    });
}

STDMETHODIMP CMPEGTranspStream::SetDefaultStreams(WORD pmtPid, WORD videoPid, WORD videoStreamType, WORD audioPid,
                                                  WORD audioStreamType)
{
    return guarded(analysisMutex, [&] {
        setDefaultStreams(pmtPid, videoPid, videoStreamType, audioPid, audioStreamType);
        return S_OK;
    });
}

STDMETHODIMP CMPEGTranspStream::GetVideoInfo(TarnwellVideoInfo* pInfo)
{
    CheckPointer(pInfo, E_POINTER);
    return guarded(analysisMutex, [&] {
        AvcStreamInfo information;
        if (!readVideoInfo(information))
            return E_FAIL;
        std::memcpy(pInfo, &information, sizeof(*pInfo));
        return S_OK;
    });
}

}  // namespace zarnow
