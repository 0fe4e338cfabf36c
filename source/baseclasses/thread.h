/// @file
/// A worker thread that answers one request at a time.
#pragma once

#include <atomic>

#include "sync.h"

class CAMThread
{
public:
    explicit CAMThread(HRESULT* phr = nullptr);
    CAMThread(const CAMThread&) = delete;
    CAMThread& operator=(const CAMThread&) = delete;
    virtual ~CAMThread();

    CCritSec m_AccessLock;  ///< held by whoever makes a request
    CCritSec m_WorkerLock;  ///< for the worker's own state

    /// @return FALSE when the thread exists already or cannot be made
    BOOL Create();

    /// Makes a request and waits for the worker's reply. @return E_FAIL without a worker
    DWORD CallWorker(DWORD dwParam);

    /// Waits for the thread to end. The worker must have been told to.
    void Close();
    BOOL ThreadExists() const { return m_hThread != nullptr; }

    // For the worker:

    DWORD GetRequest();
    /// Whether a request waits for its reply. Costs one atomic read.
    BOOL CheckRequest(DWORD* pParam);
    void Reply(DWORD dw);
    DWORD GetRequestParam() const { return m_dwParam; }
    HANDLE GetRequestHandle() const { return m_EventSend; }

    static HRESULT CoInitializeHelper();

protected:
    virtual DWORD ThreadProc() = 0;

private:
    static DWORD WINAPI InitialThreadProc(LPVOID pv);

    std::atomic<bool> m_bRequested = false;
    CAMEvent m_EventSend;
    CAMEvent m_EventComplete;
    DWORD m_dwParam = 0;
    DWORD m_dwReturnVal = 0;
    std::atomic<HANDLE> m_hThread = nullptr;
};
