// The worker thread of a push source's pin.

#include "streams.h"

#include <array>
#include <cwchar>

CSourceStream::CSourceStream(LPCTSTR pObjectName, HRESULT* phr, CSource* pms, LPCWSTR pName)
    : CAMThread(phr), CBaseOutputPin(pObjectName, pms, pms->pStateLock(), phr, pName), m_pFilter(pms)
{
    const HRESULT result = m_pFilter->AddPin(this);
    if (FAILED(result))
        *phr = result;
}

CSourceStream::~CSourceStream()
{
    if (ThreadExists()) {
        Stop();
        Exit();
        Close();
    }
    m_pFilter->RemovePin(this);
}

STDMETHODIMP CSourceStream::QueryId(LPWSTR* Id)
{
    CheckPointer(Id, E_POINTER);
    *Id = nullptr;
    std::array<wchar_t, 16> number{};
    std::swprintf(number.data(), number.size(), L"%d", m_pFilter->FindPinNumber(this) + 1);
    return AMGetWideString(number.data(), Id);
}

HRESULT CSourceStream::CheckMediaType(const CMediaType* pMediaType)
{
    CAutoLock lock(m_pFilter->pStateLock());
    CMediaType type;
    GetMediaType(&type);
    return type == *pMediaType ? S_OK : E_FAIL;
}

HRESULT CSourceStream::GetMediaType(int iPosition, CMediaType* pMediaType)
{
    CAutoLock lock(m_pFilter->pStateLock());
    if (iPosition < 0)
        return E_INVALIDARG;
    return iPosition == 0 ? GetMediaType(pMediaType) : VFW_S_NO_MORE_ITEMS;
}

HRESULT CSourceStream::GetMediaType(CMediaType*)
{
    return E_UNEXPECTED;
}

HRESULT CSourceStream::Active()
{
    CAutoLock lock(m_pFilter->pStateLock());
    if (m_pFilter->IsActive())
        return S_FALSE;
    if (!IsConnected())
        return S_OK;
    HRESULT result = CBaseOutputPin::Active();
    if (FAILED(result))
        return result;
    if (!Create())
        return E_FAIL;
    result = Init();
    return FAILED(result) ? result : Pause();
}

HRESULT CSourceStream::Inactive()
{
    CAutoLock lock(m_pFilter->pStateLock());
    if (!IsConnected())
        return S_OK;
    // First of all: it wakes a worker that waits for a buffer.
    HRESULT result = CBaseOutputPin::Inactive();
    if (FAILED(result))
        return result;
    if (!ThreadExists())
        return S_OK;
    result = Stop();
    if (SUCCEEDED(result))
        result = Exit();
    if (FAILED(result))
        return result;
    Close();
    return S_OK;
}

BOOL CSourceStream::CheckRequest(Command* pCom)
{
    DWORD request = 0;
    const BOOL waiting = CAMThread::CheckRequest(&request);
    if (waiting)
        *pCom = static_cast<Command>(request);
    return waiting;
}

DWORD CSourceStream::ThreadProc()
{
    while (GetRequest() != CMD_INIT)
        Reply(static_cast<DWORD>(E_UNEXPECTED));
    const HRESULT created = OnThreadCreate();
    Reply(static_cast<DWORD>(created));
    if (SUCCEEDED(created))
        answerUntilExit();
    return FAILED(OnThreadDestroy()) || FAILED(created) ? 1 : 0;
}

void CSourceStream::answerUntilExit()
{
    for (;;) {
        switch (GetRequest()) {
            case CMD_RUN:
            case CMD_PAUSE:
                Reply(S_OK);
                DoBufferProcessingLoop();
                break;
            case CMD_STOP:
                Reply(S_OK);
                break;
            case CMD_EXIT:
                Reply(S_OK);
                return;
            default:
                Reply(static_cast<DWORD>(E_NOTIMPL));
                break;
        }
    }
}

/// Ends with the stream, or leaves a Stop for the caller to answer.
HRESULT CSourceStream::DoBufferProcessingLoop()
{
    OnThreadStartPlay();
    for (;;) {
        Command request = CMD_STOP;
        bool done = false;
        while (!CheckRequest(&request)) {
            const HRESULT result = produceSample(done);
            if (done)
                return result;
        }
        if (request == CMD_STOP)
            return S_FALSE;
        Reply(request == CMD_RUN || request == CMD_PAUSE ? S_OK : static_cast<DWORD>(E_UNEXPECTED));
    }
}

/// @param done  out: the loop is over
HRESULT CSourceStream::produceSample(bool& done)
{
    IMediaSample* sample = nullptr;
    if (FAILED(GetDeliveryBuffer(&sample, nullptr, nullptr, 0))) {
        Sleep(1);  // decommitted: a request is on its way
        return S_OK;
    }
    const HRESULT filled = FillBuffer(sample);
    if (filled == S_OK) {
        const HRESULT delivered = Deliver(sample);
        sample->Release();
        done = delivered != S_OK;  // downstream asked for no more, or reports for itself
        return S_OK;
    }
    sample->Release();
    done = true;
    DeliverEndOfStream();
    if (filled == S_FALSE)
        return S_OK;
    m_pFilter->NotifyEvent(EC_ERRORABORT, filled, 0);
    return filled;
}
