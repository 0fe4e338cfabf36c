#include "streams.h"

#include <new>

namespace {

constexpr LONG kSemaphoreLimit = 0x7FFFFFFF;

bool isPowerOfTwo(LONG value)
{
    return value > 0 && (value & (value - 1)) == 0;
}

}  // namespace

CBaseAllocator::CBaseAllocator(LPCTSTR pName, LPUNKNOWN pUnk, HRESULT* phr, BOOL bEvent, BOOL fEnableReleaseCallback)
    : CUnknown(pName, pUnk),
      m_hSem(bEvent ? CreateSemaphoreW(nullptr, 0, kSemaphoreLimit, nullptr) : nullptr),
      m_fEnableReleaseCallback(fEnableReleaseCallback)
{
    if (bEvent && m_hSem == nullptr)
        *phr = E_OUTOFMEMORY;
}

CBaseAllocator::~CBaseAllocator()
{
    if (m_hSem != nullptr)
        CloseHandle(m_hSem);
    if (m_pNotify != nullptr)
        m_pNotify->Release();
}

STDMETHODIMP CBaseAllocator::NonDelegatingQueryInterface(REFIID riid, void** ppv)
{
    CheckPointer(ppv, E_POINTER);
    if (riid == IID_IMemAllocator || (riid == IID_IMemAllocatorCallbackTemp && m_fEnableReleaseCallback))
        return GetInterface(static_cast<IMemAllocatorCallbackTemp*>(this), ppv);
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

STDMETHODIMP CBaseAllocator::SetProperties(ALLOCATOR_PROPERTIES* pRequest, ALLOCATOR_PROPERTIES* pActual)
{
    CheckPointer(pRequest, E_POINTER);
    CheckPointer(pActual, E_POINTER);
    CAutoLock lock(this);
    *pActual = {};
    if (m_bCommitted)
        return VFW_E_ALREADY_COMMITTED;
    if (m_lAllocated != m_lFreeCount)
        return VFW_E_BUFFERS_OUTSTANDING;
    if (pRequest->cbBuffer < 0 || pRequest->cBuffers < 0 || pRequest->cbPrefix < 0)
        return E_INVALIDARG;
    pActual->cbBuffer = m_lSize = pRequest->cbBuffer;
    pActual->cBuffers = m_lCount = pRequest->cBuffers;
    pActual->cbAlign = m_lAlignment = pRequest->cbAlign;
    pActual->cbPrefix = m_lPrefix = pRequest->cbPrefix;
    m_bChanged = TRUE;
    return S_OK;
}

STDMETHODIMP CBaseAllocator::GetProperties(ALLOCATOR_PROPERTIES* pProps)
{
    CheckPointer(pProps, E_POINTER);
    CAutoLock lock(this);
    *pProps = {.cBuffers = m_lCount, .cbBuffer = m_lSize, .cbAlign = m_lAlignment, .cbPrefix = m_lPrefix};
    return S_OK;
}

STDMETHODIMP CBaseAllocator::Commit()
{
    CAutoLock lock(this);
    if (m_bCommitted)
        return S_OK;
    m_bCommitted = TRUE;
    if (m_bDecommitInProgress) {
        m_bDecommitInProgress = FALSE;  // buffers are still out: those that are there go on being used
        return S_OK;
    }
    const HRESULT result = Alloc();
    if (FAILED(result)) {
        m_bCommitted = FALSE;
        return result;
    }
    AddRef();  // while committed, so that buffers downstream keep the allocator
    return S_OK;
}

STDMETHODIMP CBaseAllocator::Decommit()
{
    bool done = false;
    {
        CAutoLock lock(this);
        if (!m_bCommitted)
            return S_OK;
        m_bCommitted = FALSE;
        done = m_lFreeCount >= m_lAllocated;
        m_bDecommitInProgress = !done;
        if (done)
            Free();
        wakeWaiting();
    }
    if (done)
        Release();
    return S_OK;
}

HRESULT CBaseAllocator::Alloc()
{
    if (m_lCount <= 0 || m_lSize <= 0 || m_lAlignment <= 0)
        return VFW_E_SIZENOTSET;
    return m_bChanged ? S_OK : S_FALSE;
}

void CBaseAllocator::pushFree(CMediaSample* sample)
{
    sample->m_pNext = m_lFree;
    m_lFree = sample;
    ++m_lFreeCount;
}

CMediaSample* CBaseAllocator::popFree()
{
    CMediaSample* sample = m_lFree;
    if (sample != nullptr) {
        m_lFree = sample->m_pNext;
        --m_lFreeCount;
    }
    return sample;
}

void CBaseAllocator::wakeWaiting()
{
    if (m_lWaiting == 0 || m_hSem == nullptr)
        return;
    ReleaseSemaphore(m_hSem, m_lWaiting, nullptr);
    m_lWaiting = 0;
}

STDMETHODIMP CBaseAllocator::GetBuffer(IMediaSample** ppBuffer, REFERENCE_TIME*, REFERENCE_TIME*, DWORD dwFlags)
{
    CheckPointer(ppBuffer, E_POINTER);
    *ppBuffer = nullptr;
    for (;;) {
        {
            CAutoLock lock(this);
            if (!m_bCommitted)
                return VFW_E_NOT_COMMITTED;
            if (CMediaSample* sample = popFree(); sample != nullptr) {
                sample->m_cRef = 1;
                *ppBuffer = sample;
                return S_OK;
            }
            if ((dwFlags & AM_GBF_NOWAIT) != 0)
                return VFW_E_TIMEOUT;
            ++m_lWaiting;
        }
        WaitForSingleObject(m_hSem, INFINITE);
    }
}

STDMETHODIMP CBaseAllocator::ReleaseBuffer(IMediaSample* pBuffer)
{
    CheckPointer(pBuffer, E_POINTER);
    bool last = false;
    IMemAllocatorNotifyCallbackTemp* notify = nullptr;
    {
        CAutoLock lock(this);
        pushFree(static_cast<CMediaSample*>(pBuffer));
        wakeWaiting();
        last = m_bDecommitInProgress && m_lFreeCount == m_lAllocated;
        if (last) {
            Free();
            m_bDecommitInProgress = FALSE;
        }
        notify = m_pNotify;
        if (notify != nullptr)
            notify->AddRef();
    }
    if (notify != nullptr) {
        notify->NotifyRelease();
        notify->Release();
    }
    if (last)
        Release();  // what Commit took; the allocator may be gone now
    return S_OK;
}

STDMETHODIMP CBaseAllocator::SetNotify(IMemAllocatorNotifyCallbackTemp* pNotify)
{
    CAutoLock lock(this);
    if (pNotify != nullptr)
        pNotify->AddRef();
    if (m_pNotify != nullptr)
        m_pNotify->Release();
    m_pNotify = pNotify;
    return S_OK;
}

STDMETHODIMP CBaseAllocator::GetFreeCount(LONG* plBuffersFree)
{
    CheckPointer(plBuffersFree, E_POINTER);
    CAutoLock lock(this);
    *plBuffersFree = m_lCount - m_lAllocated + m_lFreeCount;
    return S_OK;
}

CUnknown* CMemAllocator::CreateInstance(LPUNKNOWN pUnk, HRESULT* phr)
{
    CUnknown* allocator = new (std::nothrow) CMemAllocator(nullptr, pUnk, phr);
    if (allocator == nullptr)
        *phr = E_OUTOFMEMORY;
    return allocator;
}

CMemAllocator::CMemAllocator(LPCTSTR pName, LPUNKNOWN pUnk, HRESULT* phr) : CBaseAllocator(pName, pUnk, phr, TRUE, TRUE)
{
}

CMemAllocator::~CMemAllocator()
{
    ReallyFree();  // never committed here: that holds a reference
}

STDMETHODIMP CMemAllocator::SetProperties(ALLOCATOR_PROPERTIES* pRequest, ALLOCATOR_PROPERTIES* pActual)
{
    CheckPointer(pRequest, E_POINTER);
    CheckPointer(pActual, E_POINTER);
    *pActual = {};
    SYSTEM_INFO system = {};
    GetSystemInfo(&system);
    if (!isPowerOfTwo(pRequest->cbAlign) || static_cast<DWORD>(pRequest->cbAlign) > system.dwAllocationGranularity)
        return VFW_E_BADALIGN;
    ALLOCATOR_PROPERTIES rounded = *pRequest;
    const LONGLONG align = rounded.cbAlign;
    const LONGLONG whole = (LONGLONG{rounded.cbBuffer} + rounded.cbPrefix + align - 1) / align * align;
    const LONGLONG buffer = whole - rounded.cbPrefix;
    if (rounded.cbBuffer <= 0 || rounded.cBuffers <= 0 || rounded.cbPrefix < 0 || buffer > 0x7FFFFFFF)
        return E_INVALIDARG;
    rounded.cbBuffer = static_cast<LONG>(buffer);
    return CBaseAllocator::SetProperties(&rounded, pActual);
}

HRESULT CMemAllocator::Alloc()
{
    const HRESULT result = CBaseAllocator::Alloc();
    if (result != S_OK)
        return SUCCEEDED(result) ? S_OK : result;  // S_FALSE: those from before still fit
    ReallyFree();
    const SIZE_T step = static_cast<SIZE_T>(m_lSize) + static_cast<SIZE_T>(m_lPrefix);  // a multiple of the alignment
    m_pBuffer = static_cast<LPBYTE>(
        VirtualAlloc(nullptr, step * static_cast<SIZE_T>(m_lCount), MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE));
    CheckPointer(m_pBuffer, E_OUTOFMEMORY);
    for (LPBYTE next = m_pBuffer; m_lAllocated < m_lCount; ++m_lAllocated, next += step) {
        HRESULT created = S_OK;
        auto* sample = new (std::nothrow) CMediaSample(nullptr, this, &created, next + m_lPrefix, m_lSize);
        if (sample == nullptr) {
            ReallyFree();
            return E_OUTOFMEMORY;
        }
        pushFree(sample);
    }
    m_bChanged = FALSE;
    return S_OK;
}

/// Kept over a decommit: the next commit with the same properties uses them again.
void CMemAllocator::Free() {}

void CMemAllocator::ReallyFree()
{
    while (CMediaSample* sample = popFree())
        delete sample;
    m_lAllocated = 0;
    if (m_pBuffer != nullptr)
        VirtualFree(m_pBuffer, 0, MEM_RELEASE);
    m_pBuffer = nullptr;
    m_bChanged = TRUE;
}

STDAPI CreateMemoryAllocator(IMemAllocator** ppAllocator)
{
    CheckPointer(ppAllocator, E_POINTER);
    *ppAllocator = nullptr;
    HRESULT result = S_OK;
    CUnknown* allocator = CMemAllocator::CreateInstance(nullptr, &result);
    if (allocator == nullptr)
        return result;
    allocator->NonDelegatingAddRef();
    if (SUCCEEDED(result))
        result = allocator->NonDelegatingQueryInterface(IID_IMemAllocator, reinterpret_cast<void**>(ppAllocator));
    allocator->NonDelegatingRelease();
    return result;
}
