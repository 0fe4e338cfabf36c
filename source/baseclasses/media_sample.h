/// @file
/// One buffer on its way downstream.
#pragma once

#include <dshow.h>

#include "media_type.h"
#include "unknown.h"

class CBaseAllocator;

/// Belongs to its allocator and goes back to the free list, not away, when its last reference is given up.
class CMediaSample : public IMediaSample2
{
public:
    CMediaSample(LPCTSTR pName, CBaseAllocator* pAllocator, HRESULT* phr, LPBYTE pBuffer = nullptr, LONG length = 0);
    CMediaSample(const CMediaSample&) = delete;
    CMediaSample& operator=(const CMediaSample&) = delete;
    virtual ~CMediaSample();

    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;

    HRESULT SetPointer(BYTE* ptr, LONG cBytes);
    STDMETHODIMP GetPointer(BYTE** ppBuffer) override;
    STDMETHODIMP_(LONG) GetSize() override { return m_cbBuffer; }
    STDMETHODIMP GetTime(REFERENCE_TIME* pTimeStart, REFERENCE_TIME* pTimeEnd) override;
    STDMETHODIMP SetTime(REFERENCE_TIME* pTimeStart, REFERENCE_TIME* pTimeEnd) override;
    STDMETHODIMP IsSyncPoint() override { return flag(AM_SAMPLE_SPLICEPOINT); }
    STDMETHODIMP SetSyncPoint(BOOL bIsSyncPoint) override { return setFlag(AM_SAMPLE_SPLICEPOINT, bIsSyncPoint); }
    STDMETHODIMP IsPreroll() override { return flag(AM_SAMPLE_PREROLL); }
    STDMETHODIMP SetPreroll(BOOL bIsPreroll) override { return setFlag(AM_SAMPLE_PREROLL, bIsPreroll); }
    STDMETHODIMP_(LONG) GetActualDataLength() override { return m_lActual; }
    STDMETHODIMP SetActualDataLength(LONG lActual) override;
    STDMETHODIMP GetMediaType(AM_MEDIA_TYPE** ppMediaType) override;
    STDMETHODIMP SetMediaType(AM_MEDIA_TYPE* pMediaType) override;
    STDMETHODIMP IsDiscontinuity() override { return flag(AM_SAMPLE_DATADISCONTINUITY); }
    STDMETHODIMP SetDiscontinuity(BOOL bDiscontinuity) override
    {
        return setFlag(AM_SAMPLE_DATADISCONTINUITY, bDiscontinuity);
    }
    STDMETHODIMP GetMediaTime(LONGLONG* pTimeStart, LONGLONG* pTimeEnd) override;
    STDMETHODIMP SetMediaTime(LONGLONG* pTimeStart, LONGLONG* pTimeEnd) override;
    STDMETHODIMP GetProperties(DWORD cbProperties, BYTE* pbProperties) override;
    STDMETHODIMP SetProperties(DWORD cbProperties, const BYTE* pbProperties) override;

protected:
    friend class CBaseAllocator;
    friend class CMemAllocator;

    HRESULT flag(DWORD bit) const { return (m_dwFlags & bit) != 0 ? S_OK : S_FALSE; }
    HRESULT setFlag(DWORD bit, BOOL value);
    HRESULT setMediaType(const AM_MEDIA_TYPE* type);
    void reset();

    DWORD m_dwFlags = 0;  ///< AM_SAMPLE_PROPERTY_FLAGS
    DWORD m_dwTypeSpecificFlags = 0;
    LPBYTE m_pBuffer;
    LONG m_lActual;
    LONG m_cbBuffer;
    CBaseAllocator* m_pAllocator;
    CMediaSample* m_pNext = nullptr;  ///< in the allocator's free list
    REFERENCE_TIME m_Start = 0;
    REFERENCE_TIME m_End = 0;
    LONGLONG m_MediaStart = 0;
    LONG m_MediaEnd = 0;  ///< from m_MediaStart
    AM_MEDIA_TYPE* m_pMediaType = nullptr;
    DWORD m_dwStreamId = AM_STREAM_MEDIA;
    volatile LONG m_cRef = 0;
};
