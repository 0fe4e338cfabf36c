#include "thread.h"

#include <objbase.h>
#include <utility>

CAMThread::CAMThread(HRESULT* phr) : m_EventSend(TRUE, phr), m_EventComplete(FALSE, phr) {}

CAMThread::~CAMThread()
{
    Close();
}

BOOL CAMThread::Create()
{
    CAutoLock lock(&m_AccessLock);
    if (ThreadExists() || !m_EventSend || !m_EventComplete)
        return FALSE;
    DWORD id = 0;
    m_hThread = CreateThread(nullptr, 0, InitialThreadProc, this, CREATE_SUSPENDED, &id);
    if (!m_hThread)
        return FALSE;
    m_threadId = id;
    ResumeThread(m_hThread);
    return TRUE;
}

void CAMThread::Close()
{
    const HANDLE thread = std::exchange(m_hThread, nullptr);
    if (!thread)
        return;
    if (!isWorker())
        WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
    m_threadId = 0;
}

DWORD CAMThread::CallWorker(DWORD dwParam)
{
    if (isWorker())
        return static_cast<DWORD>(E_FAIL);
    CAutoLock lock(&m_AccessLock);
    if (!ThreadExists())
        return static_cast<DWORD>(E_FAIL);
    m_dwParam = dwParam;
    m_EventComplete.Reset();
    m_requestPending.store(true, std::memory_order_release);
    m_EventSend.Set();
    return waitForReply() ? m_dwReturnVal : static_cast<DWORD>(E_FAIL);
}

bool CAMThread::waitForReply()
{
    // A worker that ends by itself answers nobody.
    const HANDLE reasons[] = {m_EventComplete, m_hThread};
    if (WaitForMultipleObjects(2, reasons, FALSE, INFINITE) == WAIT_OBJECT_0)
        return true;
    m_requestPending.store(false, std::memory_order_release);
    m_EventSend.Reset();
    return false;
}

DWORD CAMThread::GetRequest()
{
    while (!m_requestPending.load(std::memory_order_acquire))
        m_EventSend.Wait();
    return m_dwParam;
}

BOOL CAMThread::CheckRequest(DWORD* pParam)
{
    if (!m_requestPending.load(std::memory_order_acquire))
        return FALSE;
    if (pParam)
        *pParam = m_dwParam;
    return TRUE;
}

void CAMThread::Reply(DWORD dw)
{
    m_dwReturnVal = dw;
    m_requestPending.store(false, std::memory_order_release);
    // Before the answer: with it, the next command may come.
    m_EventSend.Reset();
    m_EventComplete.Set();
}

HRESULT CAMThread::CoInitializeHelper()
{
    return CoInitializeEx(nullptr, COINIT_MULTITHREADED | COINIT_DISABLE_OLE1DDE);
}

DWORD WINAPI CAMThread::InitialThreadProc(LPVOID pv)
{
    // The last reference may go on this thread, and the module with it: not before the thread has left its code.
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, reinterpret_cast<LPCWSTR>(&InitialThreadProc), &module);
    const HRESULT initialised = CoInitializeHelper();
    const DWORD result = static_cast<CAMThread*>(pv)->ThreadProc();
    // The object may be gone by now.
    if (SUCCEEDED(initialised))
        CoUninitialize();
    FreeLibraryAndExitThread(module, result);
}
