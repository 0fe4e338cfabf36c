/// @file
/// Locks and events.

#ifndef ZARNOW_BASECLASSES_SYNC_H
#define ZARNOW_BASECLASSES_SYNC_H

#include <windows.h>

/// A recursive lock within the process.
class CCritSec
{
public:
    CCritSec();
    ~CCritSec();
    CCritSec(const CCritSec&) = delete;
    CCritSec& operator=(const CCritSec&) = delete;

    void Lock() { EnterCriticalSection(&m_CritSec); }
    void Unlock() { LeaveCriticalSection(&m_CritSec); }

private:
    CRITICAL_SECTION m_CritSec;
};

/// Holds a lock for the length of a scope.
class CAutoLock
{
public:
    explicit CAutoLock(CCritSec* plock) : m_pLock(plock) { m_pLock->Lock(); }
    ~CAutoLock() { m_pLock->Unlock(); }
    CAutoLock(const CAutoLock&) = delete;
    CAutoLock& operator=(const CAutoLock&) = delete;

protected:
    CCritSec* m_pLock;
};

/// A kernel event, not signalled at first.
class CAMEvent
{
public:
    /// @param fManualReset  TRUE: stays signalled until Reset; FALSE: one wait takes the signal
    /// @param phr           gets E_OUTOFMEMORY when the event could not be made, else stays as it is
    explicit CAMEvent(BOOL fManualReset = FALSE, HRESULT* phr = nullptr);
    ~CAMEvent();
    CAMEvent(const CAMEvent&) = delete;
    CAMEvent& operator=(const CAMEvent&) = delete;

    operator HANDLE() const { return m_hEvent; }
    void Set() { SetEvent(m_hEvent); }
    void Reset() { ResetEvent(m_hEvent); }
    /// Waits up to dwTimeout milliseconds; TRUE when the event was signalled.
    BOOL Wait(DWORD dwTimeout = INFINITE) { return WaitForSingleObject(m_hEvent, dwTimeout) == WAIT_OBJECT_0; }

protected:
    HANDLE m_hEvent;
};

#endif
