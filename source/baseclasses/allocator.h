/// @file
/// Allocators of media samples.

#ifndef ZARNOW_BASECLASSES_ALLOCATOR_H
#define ZARNOW_BASECLASSES_ALLOCATOR_H

#include "platform.h"

#include <atomic>

#include "media_sample.h"
#include "sync.h"
#include "unknown.h"

/// Free list, commit state and waiting of an allocator. The derived class makes the samples (Alloc) and frees them
/// (Free). It is itself the lock of its state; a sample that only goes out and comes back is passed on without it. An
/// allocator without references lives on until its last sample is back.
class CBaseAllocator : public CUnknown, public IMemAllocator, public CCritSec
{
public:
    DECLARE_IUNKNOWN
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) NonDelegatingRelease() override;

    CBaseAllocator(CObjectName pName, LPUNKNOWN pUnk, HRESULT* phr);
    ~CBaseAllocator() override;

    STDMETHODIMP SetProperties(ALLOCATOR_PROPERTIES* pRequest, ALLOCATOR_PROPERTIES* pActual) override;
    STDMETHODIMP GetProperties(ALLOCATOR_PROPERTIES* pProps) override;
    STDMETHODIMP Commit() override;
    /// Wakes every waiting GetBuffer. The memory is freed now or when the last sample is back.
    STDMETHODIMP Decommit() override;
    /// Waits for a free sample unless dwFlags has AM_GBF_NOWAIT (VFW_E_TIMEOUT).
    /// @return VFW_E_NOT_COMMITTED when not committed or when decommitted meanwhile
    STDMETHODIMP GetBuffer(IMediaSample** ppBuffer, REFERENCE_TIME* pStartTime, REFERENCE_TIME* pEndTime,
                           DWORD dwFlags) override;
    /// For a sample's own use, when its last reference is gone.
    STDMETHODIMP ReleaseBuffer(IMediaSample* pBuffer) override;

    /// Called by NotifySample's owner of the lock: wakes waiting threads to look again.
    void NotifySample();

protected:
    /// Free samples, linked through m_pNext.
    class CSampleList
    {
    public:
        int GetCount() const { return m_nOnList; }
        void Add(CMediaSample* pSample);
        CMediaSample* RemoveHead();

    private:
        CMediaSample* m_List = nullptr;
        int m_nOnList = 0;
    };

    /// Called with the lock held: frees every sample of the list and counts m_lAllocated down.
    virtual void Free() = 0;
    /// Called with the lock held: makes the samples. The base class checks the properties: S_OK when they have to be
    /// made (VFW_E_SIZENOTSET), S_FALSE when those at hand still fit.
    virtual HRESULT Alloc();

    CSampleList m_lFree;
    HANDLE m_hSem = nullptr;  ///< what GetBuffer waits for
    long m_lWaiting = 0;
    long m_lCount = 0;
    long m_lAllocated = 0;
    long m_lSize = 0;
    long m_lAlignment = 0;
    long m_lPrefix = 0;
    BOOL m_bChanged = FALSE;
    BOOL m_bCommitted = FALSE;
    BOOL m_bDecommitInProgress = FALSE;

private:
    CMediaSample* takeSpare();
    bool keepAsSpare(CMediaSample* sample);
    void closeSpare();
    HRESULT takeOrQueue(CMediaSample** sample, bool mayWait);
    void takeBack(CMediaSample* sample);
    void dropHold();

    /// A free sample beside the list, taken and given by one atomic instruction: what a stream that delivers one sample
    /// after the other needs for each of them. Null: there is none, and one may be put here. The allocator itself: none
    /// may, every sample goes to the list; so before the first Commit, from Decommit on, while a thread waits for a
    /// sample, and when the last reference is gone.
    std::atomic<void*> m_spare = this;
    /// One for those who hold references, one for each sample that is not on the list. The spare one keeps its own:
    /// whoever puts it here is done with the allocator.
    std::atomic<long> m_holds = 1;
};

/// Samples in one block of memory, aligned, each with its prefix in front.
class CMemAllocator : public CBaseAllocator
{
public:
    static CUnknown* CreateInstance(LPUNKNOWN pUnk, HRESULT* phr);

    CMemAllocator(CObjectName pName, LPUNKNOWN pUnk, HRESULT* phr);
    ~CMemAllocator() override;

    /// Sizes are rounded up so that every sample is aligned: VFW_E_BADALIGN unless the alignment is a power of two up
    /// to the system's allocation granularity.
    STDMETHODIMP SetProperties(ALLOCATOR_PROPERTIES* pRequest, ALLOCATOR_PROPERTIES* pActual) override;

protected:
    void Free() override;
    HRESULT Alloc() override;

    LPBYTE m_pBuffer = nullptr;

private:
    HRESULT makeSamples();
};

/// A CMemAllocator with one reference: S_OK, E_POINTER, E_OUTOFMEMORY.
STDAPI CreateMemoryAllocator(IMemAllocator** ppAllocator);

#endif
