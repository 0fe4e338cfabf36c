#include "sync.h"

namespace {

// Frees are a few instructions away, as a rule: spinning this often beats a wait in the kernel.
constexpr DWORD kSpinCount = 2000;

}  // namespace

CCritSec::CCritSec()
{
    InitializeCriticalSectionAndSpinCount(&m_CritSec, kSpinCount);
}

CCritSec::~CCritSec()
{
    DeleteCriticalSection(&m_CritSec);
}

CAMEvent::CAMEvent(BOOL fManualReset, HRESULT* phr) : m_hEvent(CreateEventW(nullptr, fManualReset, FALSE, nullptr))
{
    if (!m_hEvent && phr && SUCCEEDED(*phr))
        *phr = E_OUTOFMEMORY;
}

CAMEvent::~CAMEvent()
{
    if (m_hEvent)
        CloseHandle(m_hEvent);
}
