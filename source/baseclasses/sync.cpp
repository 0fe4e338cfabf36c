#include "streams.h"

CAMEvent::CAMEvent(BOOL fManualReset, HRESULT* phr) : m_hEvent(CreateEventW(nullptr, fManualReset, FALSE, nullptr))
{
    if (m_hEvent == nullptr && phr != nullptr && SUCCEEDED(*phr))
        *phr = E_OUTOFMEMORY;
}

CAMEvent::~CAMEvent()
{
    if (m_hEvent != nullptr)
        CloseHandle(m_hEvent);
}
