/// @file
/// Allocators: a fixed number of buffers that go round between a pin and those downstream of it.
#pragma once

#include <dshow.h>

#include "sync.h"
#include "unknown.h"

class CMediaSample;

/// The free list and its rules. No kernel object is touched unless somebody has to wait.
class CBaseAllocator : public CUnknown, public IMemAllocatorCallbackTemp, public CCritSec
{
public:
    DECLARE_IUNKNOWN

    CBaseAllocator(LPCTSTR pName, LPUNKNOWN pUnk, HRESULT* phr, BOOL bEvent = TRUE,
                   BOOL fEnableReleaseCallback = FALSE);
    ~CBaseAllocator() override;

    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    /// Sizes are rounded up to the alignment with the prefix.
    /// @return VFW_E_ALREADY_COMMITTED, VFW_E_BUFFERS_OUTSTANDING, VFW_E_BADALIGN (alignment no power of two),
    /// E_INVALIDARG
    STDMETHODIMP SetProperties(ALLOCATOR_PROPERTIES* pRequest, ALLOCATOR_PROPERTIES* pActual) override;
    STDMETHODIMP GetProperties(ALLOCATOR_PROPERTIES* pProps) override;
    STDMETHODIMP Commit() override;
    /// Wakes everybody who waits for a buffer; the memory goes when the last buffer is back.
    STDMETHODIMP Decommit() override;
    /// Waits for a free buffer. @return VFW_E_NOT_COMMITTED; VFW_E_TIMEOUT with AM_GBF_NOWAIT
    STDMETHODIMP GetBuffer(IMediaSample** ppBuffer, REFERENCE_TIME* pStartTime, REFERENCE_TIME* pEndTime,
                           DWORD dwFlags) override;
    STDMETHODIMP ReleaseBuffer(IMediaSample* pBuffer) override;
    STDMETHODIMP SetNotify(IMemAllocatorNotifyCallbackTemp* pNotify) override;
    STDMETHODIMP GetFreeCount(LONG* plBuffersFree) override;

protected:
    virtual HRESULT Alloc();
    virtual void Free() = 0;

    void pushFree(CMediaSample* sample);
    CMediaSample* popFree();
    void wakeWaiting();

    CMediaSample* m_lFree = nullptr;
    LONG m_lFreeCount = 0;
    HANDLE m_hSem;
    LONG m_lWaiting = 0;
    LONG m_lCount = 0;      ///< buffers to provide
    LONG m_lAllocated = 0;  ///< buffers there are
    LONG m_lSize = 0;
    LONG m_lAlignment = 0;
    LONG m_lPrefix = 0;
    BOOL m_bChanged = FALSE;  ///< the properties, since the buffers were made
    BOOL m_bCommitted = FALSE;
    BOOL m_bDecommitInProgress = FALSE;
    IMemAllocatorNotifyCallbackTemp* m_pNotify = nullptr;
    BOOL m_fEnableReleaseCallback;
};

/// Buffers in one block of memory.
class CMemAllocator : public CBaseAllocator
{
public:
    static CUnknown* CreateInstance(LPUNKNOWN pUnk, HRESULT* phr);

    CMemAllocator(LPCTSTR pName, LPUNKNOWN pUnk, HRESULT* phr);
    ~CMemAllocator() override;

    STDMETHODIMP SetProperties(ALLOCATOR_PROPERTIES* pRequest, ALLOCATOR_PROPERTIES* pActual) override;

protected:
    void Free() override;
    HRESULT Alloc() override;
    void ReallyFree();

    LPBYTE m_pBuffer = nullptr;
};

STDAPI CreateMemoryAllocator(IMemAllocator** ppAllocator);
