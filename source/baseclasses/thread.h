/// @file
/// A worker thread that takes one command at a time.

#ifndef ZARNOW_BASECLASSES_THREAD_H
#define ZARNOW_BASECLASSES_THREAD_H

#include <windows.h>
#include <atomic>

#include "sync.h"

/// Runs the virtual ThreadProc on a thread of its own and passes it commands. A caller blocks in CallWorker until the
/// worker has answered with Reply; commands of several callers are taken one after the other.
class CAMThread
{
public:
    explicit CAMThread(HRESULT* phr = nullptr);
    /// Waits for the worker. A class whose ThreadProc ends on a command has to send it in its own destructor.
    virtual ~CAMThread();
    CAMThread(const CAMThread&) = delete;
    CAMThread& operator=(const CAMThread&) = delete;

    /// Starts the thread; FALSE when there is one already or the system refuses.
    BOOL Create();
    /// Waits for the thread's end and forgets it. Called by the worker itself it does not wait.
    void Close();
    BOOL ThreadExists() const { return m_hThread != nullptr; }

    /// Sends a command and waits for its answer. E_FAIL (as DWORD) without a worker, when the worker ends without an
    /// answer, and for the worker itself, which cannot wait for its own answer.
    DWORD CallWorker(DWORD dwParam);

    /// The worker's side: waits for a command. It stays the current one until Reply.
    DWORD GetRequest();
    /// Whether a command waits: one atomic read. pParam (may be null) gets it.
    BOOL CheckRequest(DWORD* pParam);
    /// Answers the current command.
    void Reply(DWORD dw);

    /// CoInitializeEx for a multithreaded apartment; what that returns.
    static HRESULT CoInitializeHelper();

protected:
    virtual DWORD ThreadProc() = 0;

    /// Whether this is called by the worker.
    bool isWorker() const { return GetCurrentThreadId() == m_threadId; }

    CCritSec m_AccessLock;  ///< one caller at a time

private:
    static DWORD WINAPI InitialThreadProc(LPVOID pv);
    bool waitForReply();

    CAMEvent m_EventSend;
    CAMEvent m_EventComplete;
    std::atomic<bool> m_requestPending{false};
    DWORD m_dwParam = 0;
    DWORD m_dwReturnVal = 0;
    std::atomic<DWORD> m_threadId{0};

protected:
    HANDLE m_hThread = nullptr;
};

#endif
