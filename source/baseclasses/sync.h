/// @file
/// Locks and events.
#pragma once

#include <windows.h>

class CCritSec
{
public:
    CCritSec() { InitializeCriticalSection(&m_CritSec); }
    CCritSec(const CCritSec&) = delete;
    CCritSec& operator=(const CCritSec&) = delete;
    ~CCritSec() { DeleteCriticalSection(&m_CritSec); }

    void Lock() { EnterCriticalSection(&m_CritSec); }
    void Unlock() { LeaveCriticalSection(&m_CritSec); }

private:
    CRITICAL_SECTION m_CritSec;
};

/// Holds a lock for a scope.
class CAutoLock
{
public:
    explicit CAutoLock(CCritSec* plock) : m_pLock(plock) { m_pLock->Lock(); }
    CAutoLock(const CAutoLock&) = delete;
    CAutoLock& operator=(const CAutoLock&) = delete;
    ~CAutoLock() { m_pLock->Unlock(); }

protected:
    CCritSec* m_pLock;
};

class CAMEvent
{
public:
    explicit CAMEvent(BOOL fManualReset = FALSE, HRESULT* phr = nullptr);
    CAMEvent(const CAMEvent&) = delete;
    CAMEvent& operator=(const CAMEvent&) = delete;
    ~CAMEvent();

    operator HANDLE() const { return m_hEvent; }
    void Set() { SetEvent(m_hEvent); }
    void Reset() { ResetEvent(m_hEvent); }
    BOOL Wait(DWORD dwTimeout = INFINITE) { return WaitForSingleObject(m_hEvent, dwTimeout) == WAIT_OBJECT_0; }
    BOOL Check() { return Wait(0); }

protected:
    HANDLE m_hEvent;
};
