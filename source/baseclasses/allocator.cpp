#include "allocator.h"

#include <climits>
#include <utility>

void CBaseAllocator::CSampleList::Add(CMediaSample* pSample)
{
    pSample->m_pNext = m_List;
    m_List = pSample;
    ++m_nOnList;
}

CMediaSample* CBaseAllocator::CSampleList::RemoveHead()
{
    CMediaSample* const head = m_List;
    if (head) {
        m_List = std::exchange(head->m_pNext, nullptr);
        --m_nOnList;
    }
    return head;
}

CBaseAllocator::CBaseAllocator(CObjectName pName, LPUNKNOWN pUnk, HRESULT* phr)
    : CUnknown(pName, pUnk), m_hSem(CreateSemaphoreW(nullptr, 0, LONG_MAX, nullptr))
{
    if (!m_hSem && phr)
        *phr = E_OUTOFMEMORY;
}

CBaseAllocator::~CBaseAllocator()
{
    if (m_hSem)
        CloseHandle(m_hSem);
}

STDMETHODIMP CBaseAllocator::NonDelegatingQueryInterface(REFIID riid, void** ppv)
{
    if (riid == IID_IMemAllocator)
        return GetInterface(static_cast<IMemAllocator*>(this), ppv);
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

STDMETHODIMP_(ULONG) CBaseAllocator::NonDelegatingRelease()
{
    const LONG left = InterlockedDecrement(&m_cRef);
    if (left != 0)
        return static_cast<ULONG>(left);
    {
        CAutoLock lock(this);
        closeSpare();
    }
    dropHold();
    return 0;
}

/// The allocator may be gone afterwards.
void CBaseAllocator::dropHold()
{
    if (--m_holds != 0)
        return;
    InterlockedIncrement(&m_cRef);  // for the same reason as in CUnknown
    delete this;
}

STDMETHODIMP CBaseAllocator::SetProperties(ALLOCATOR_PROPERTIES* pRequest, ALLOCATOR_PROPERTIES* pActual)
{
    if (!pRequest || !pActual)
        return E_POINTER;
    CAutoLock lock(this);
    if (m_bCommitted)
        return VFW_E_ALREADY_COMMITTED;
    if (m_lFree.GetCount() < m_lAllocated)
        return VFW_E_BUFFERS_OUTSTANDING;
    if (pRequest->cBuffers < 0 || pRequest->cbBuffer < 0 || pRequest->cbPrefix < 0)
        return E_INVALIDARG;
    m_lCount = pRequest->cBuffers;
    m_lSize = pRequest->cbBuffer;
    m_lAlignment = pRequest->cbAlign;
    m_lPrefix = pRequest->cbPrefix;
    m_bChanged = TRUE;
    return GetProperties(pActual);
}

STDMETHODIMP CBaseAllocator::GetProperties(ALLOCATOR_PROPERTIES* pProps)
{
    if (!pProps)
        return E_POINTER;
    CAutoLock lock(this);
    *pProps = {m_lCount, m_lSize, m_lAlignment, m_lPrefix};
    return S_OK;
}

STDMETHODIMP CBaseAllocator::Commit()
{
    CAutoLock lock(this);
    if (m_bCommitted)
        return S_OK;
    // Not all samples are back from before: they are still there and are used again.
    if (!m_bDecommitInProgress) {
        const HRESULT hr = Alloc();
        if (FAILED(hr))
            return hr;
    }
    m_bDecommitInProgress = FALSE;
    m_bCommitted = TRUE;
    m_spare = nullptr;
    return S_OK;
}

STDMETHODIMP CBaseAllocator::Decommit()
{
    CAutoLock lock(this);
    if (!m_bCommitted)
        return S_OK;
    m_bCommitted = FALSE;
    closeSpare();
    m_bDecommitInProgress = m_lFree.GetCount() < m_lAllocated;
    if (!m_bDecommitInProgress)
        Free();
    NotifySample();
    return S_OK;
}

STDMETHODIMP CBaseAllocator::GetBuffer(IMediaSample** ppBuffer, REFERENCE_TIME*, REFERENCE_TIME*, DWORD dwFlags)
{
    if (!ppBuffer)
        return E_POINTER;
    *ppBuffer = nullptr;
    CMediaSample* sample = takeSpare();
    HRESULT hr = sample ? S_OK : takeOrQueue(&sample, !(dwFlags & AM_GBF_NOWAIT));
    while (hr == S_FALSE) {
        WaitForSingleObject(m_hSem, INFINITE);
        hr = takeOrQueue(&sample, true);
    }
    if (FAILED(hr))
        return hr;
    sample->m_cRef = 1;
    *ppBuffer = sample;
    return S_OK;
}

CMediaSample* CBaseAllocator::takeSpare()
{
    void* spare = m_spare;
    const bool isSample = spare && spare != this;
    return isSample && m_spare.compare_exchange_strong(spare, nullptr) ? static_cast<CMediaSample*>(spare) : nullptr;
}

/// False: the sample has to go to the list. Otherwise it may be out again already, and the allocator gone.
bool CBaseAllocator::keepAsSpare(CMediaSample* sample)
{
    void* none = nullptr;
    return m_spare.compare_exchange_strong(none, sample);
}

/// Called with the lock held and a hold of the caller's own: from now on every sample goes to the list.
void CBaseAllocator::closeSpare()
{
    void* const spare = m_spare.exchange(this);
    if (!spare || spare == this)
        return;
    m_lFree.Add(static_cast<CMediaSample*>(spare));
    --m_holds;
}

/// S_FALSE: the caller has been counted as waiting.
HRESULT CBaseAllocator::takeOrQueue(CMediaSample** sample, bool mayWait)
{
    CAutoLock lock(this);
    if (!m_bCommitted)
        return VFW_E_NOT_COMMITTED;
    closeSpare();
    *sample = m_lFree.RemoveHead();
    const bool queued = !*sample && mayWait && m_hSem;
    if (*sample)
        ++m_holds;
    else if (queued)
        ++m_lWaiting;
    if (m_lWaiting == 0)
        m_spare = nullptr;
    return *sample ? S_OK : queued ? S_FALSE : VFW_E_TIMEOUT;
}

STDMETHODIMP CBaseAllocator::ReleaseBuffer(IMediaSample* pBuffer)
{
    if (!pBuffer)
        return E_POINTER;
    // Only samples of this allocator, which are of this class, are given back to it.
    auto* const sample = static_cast<CMediaSample*>(pBuffer);
    if (!keepAsSpare(sample))
        takeBack(sample);
    return S_OK;
}

void CBaseAllocator::takeBack(CMediaSample* sample)
{
    {
        CAutoLock lock(this);
        m_lFree.Add(sample);
        if (m_bDecommitInProgress && m_lFree.GetCount() == m_lAllocated) {
            Free();
            m_bDecommitInProgress = FALSE;
        }
        NotifySample();
    }
    dropHold();
}

void CBaseAllocator::NotifySample()
{
    if (m_lWaiting != 0)
        ReleaseSemaphore(m_hSem, std::exchange(m_lWaiting, 0), nullptr);
}

HRESULT CBaseAllocator::Alloc()
{
    if (m_lCount <= 0 || m_lSize <= 0 || m_lAlignment <= 0)
        return VFW_E_SIZENOTSET;
    return m_bChanged ? S_OK : S_FALSE;
}
