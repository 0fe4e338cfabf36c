#include "source.h"

#include <cwchar>
#include <iterator>

#include "com_ptr.h"

CSourceStream::CSourceStream(CObjectName pObjectName, HRESULT* phr, CSource* pms, LPCWSTR pName)
    : CAMThread(phr), CBaseOutputPin(pObjectName, pms, pms->pStateLock(), phr, pName), m_pFilter(pms)
{
    const HRESULT hr = m_pFilter->AddStream(this);
    if (FAILED(hr) && phr)
        *phr = hr;
}

CSourceStream::~CSourceStream()
{
    endThread();
    m_pFilter->RemoveStream(this);
}

STDMETHODIMP CSourceStream::QueryId(LPWSTR* Id)
{
    if (!Id)
        return E_POINTER;
    *Id = nullptr;
    const int number = m_pFilter->FindPinNumber(this) + 1;
    if (number == 0)
        return VFW_E_NOT_FOUND;
    wchar_t text[16];
    std::swprintf(text, std::size(text), L"%d", number);
    return AMGetWideString(text, Id);
}

HRESULT CSourceStream::Active()
{
    CAutoLock lock(m_pFilter->pStateLock());
    if (m_pFilter->IsActive())
        return S_FALSE;
    if (!IsConnected())
        return S_OK;
    HRESULT hr = CBaseOutputPin::Active();
    if (FAILED(hr))
        return hr;
    hr = Create() ? Init() : E_FAIL;
    if (SUCCEEDED(hr))
        hr = Pause();
    if (FAILED(hr)) {
        CBaseOutputPin::Inactive();
        endThread();
    }
    return hr;
}

HRESULT CSourceStream::Inactive()
{
    CAutoLock lock(m_pFilter->pStateLock());
    if (!IsConnected())
        return S_OK;
    // First, for it wakes a worker that waits for a sample.
    const HRESULT hr = CBaseOutputPin::Inactive();
    endThread();
    return hr;
}

void CSourceStream::endThread()
{
    if (!ThreadExists())
        return;
    if (isWorker()) {
        if (m_worker)
            m_worker->abandoned = true;
    } else {
        if (m_pAllocator)
            m_pAllocator->Decommit();
        Stop();
        Exit();
    }
    Close();
}

BOOL CSourceStream::CheckRequest(Command* pCom)
{
    DWORD request = 0;
    if (!CAMThread::CheckRequest(&request))
        return FALSE;
    *pCom = static_cast<Command>(request);
    return TRUE;
}

DWORD CSourceStream::ThreadProc()
{
    Worker worker;
    m_worker = &worker;
    if (!waitForInit())
        return 0;
    const HRESULT created = create();
    Reply(static_cast<DWORD>(created));
    if (FAILED(created))
        return 1;
    obeyUntilExit(worker);
    if (worker.abandoned)
        return 0;
    OnThreadDestroy();
    m_worker = nullptr;
    return 0;
}

/// False: the thread was told to exit before it was initialised.
bool CSourceStream::waitForInit()
{
    for (;;) {
        const Command request = GetRequest();
        if (request == CMD_INIT)
            return true;
        Reply(static_cast<DWORD>(request == CMD_EXIT ? S_OK : E_UNEXPECTED));
        if (request == CMD_EXIT)
            return false;
    }
}

HRESULT CSourceStream::create()
{
    const HRESULT hr = OnThreadCreate();
    if (FAILED(hr))
        OnThreadDestroy();
    return hr;
}

void CSourceStream::obeyUntilExit(const Worker& worker)
{
    for (;;) {
        const Command request = GetRequest();
        const bool known = request == CMD_PAUSE || request == CMD_RUN || request == CMD_STOP || request == CMD_EXIT;
        Reply(static_cast<DWORD>(known ? S_OK : E_NOTIMPL));
        if (request == CMD_EXIT)
            return;
        if (request == CMD_PAUSE || request == CMD_RUN)
            DoBufferProcessingLoop();
        if (worker.abandoned)
            return;
    }
}

HRESULT CSourceStream::DoBufferProcessingLoop()
{
    // A derived class may have a thread procedure of its own.
    const Worker own;
    const Worker& worker = m_worker ? *m_worker : own;
    OnThreadStartPlay();
    for (;;) {
        Command request{};
        if (CheckRequest(&request)) {
            // Answered by the caller, who is idle then.
            if (request == CMD_STOP)
                return S_FALSE;
            const bool alreadyDone = request == CMD_PAUSE || request == CMD_RUN;
            Reply(static_cast<DWORD>(alreadyDone ? S_OK : E_UNEXPECTED));
            continue;
        }
        const HRESULT hr = deliverNext(worker);
        if (hr != S_OK)
            return hr == S_FALSE ? S_OK : hr;
    }
}

/// S_OK: go on; S_FALSE: the stream has ended; an error: it ended with this one.
HRESULT CSourceStream::deliverNext(const Worker& worker)
{
    ComPtr<IMediaSample> sample;
    const HRESULT got = GetDeliveryBuffer(sample.put(), nullptr, nullptr, 0);
    if (worker.abandoned)
        return S_FALSE;
    if (FAILED(got)) {
        // Decommitted: Stop is on its way.
        Sleep(1);
        return S_OK;
    }
    const HRESULT filled = FillBuffer(sample.get());
    if (filled != S_OK) {
        sample.reset();
        return endStream(worker, filled);
    }
    const HRESULT delivered = Deliver(sample.get());
    // Anything else: downstream wants no more, or has reported its failure itself.
    return delivered == S_OK && !worker.abandoned ? S_OK : S_FALSE;
}

HRESULT CSourceStream::endStream(const Worker& worker, HRESULT reason)
{
    DeliverEndOfStream();
    if (reason != S_FALSE && !worker.abandoned)
        m_pFilter->NotifyEvent(EC_ERRORABORT, reason, 0);
    return reason;
}
