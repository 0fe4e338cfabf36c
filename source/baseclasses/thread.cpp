#include "streams.h"

CAMThread::CAMThread(HRESULT* phr) : m_EventSend(TRUE, phr), m_EventComplete(FALSE, phr) {}

CAMThread::~CAMThread()
{
    Close();
}

BOOL CAMThread::Create()
{
    CAutoLock lock(&m_AccessLock);
    if (ThreadExists())
        return FALSE;
    m_hThread = CreateThread(nullptr, 0, InitialThreadProc, this, 0, nullptr);
    return ThreadExists();
}

DWORD WINAPI CAMThread::InitialThreadProc(LPVOID pv)
{
    const HRESULT initialized = CoInitializeHelper();
    const DWORD result = static_cast<CAMThread*>(pv)->ThreadProc();
    if (SUCCEEDED(initialized))
        CoUninitialize();
    return result;
}

HRESULT CAMThread::CoInitializeHelper()
{
    return CoInitializeEx(nullptr, COINIT_MULTITHREADED | COINIT_DISABLE_OLE1DDE);
}

DWORD CAMThread::CallWorker(DWORD dwParam)
{
    CAutoLock lock(&m_AccessLock);
    if (!ThreadExists())
        return static_cast<DWORD>(E_FAIL);
    m_dwParam = dwParam;
    m_bRequested = true;
    m_EventSend.Set();
    m_EventComplete.Wait();
    return m_dwReturnVal;
}

void CAMThread::Close()
{
    const HANDLE thread = m_hThread.exchange(nullptr);
    if (thread == nullptr)
        return;
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
}

DWORD CAMThread::GetRequest()
{
    m_EventSend.Wait();
    return m_dwParam;
}

BOOL CAMThread::CheckRequest(DWORD* pParam)
{
    if (!m_bRequested)
        return FALSE;
    if (pParam != nullptr)
        *pParam = m_dwParam;
    return TRUE;
}

void CAMThread::Reply(DWORD dw)
{
    m_dwReturnVal = dw;
    m_bRequested = false;
    m_EventSend.Reset();
    m_EventComplete.Set();
}
