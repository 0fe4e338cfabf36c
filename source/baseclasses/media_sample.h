/// @file
/// Media samples.

#ifndef ZARNOW_BASECLASSES_MEDIA_SAMPLE_H
#define ZARNOW_BASECLASSES_MEDIA_SAMPLE_H

#include "platform.h"
#include "unknown.h"

class CBaseAllocator;

/// A buffer with its properties. It belongs to its allocator: with its last reference it goes back to the allocator's
/// list, stripped of its properties.
class CMediaSample : public IMediaSample2, public CBaseObject
{
public:
    CMediaSample(CObjectName pName, CBaseAllocator* pAllocator, HRESULT* phr, LPBYTE pBuffer = nullptr,
                 LONG length = 0);
    virtual ~CMediaSample();

    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;

    STDMETHODIMP GetPointer(BYTE** ppBuffer) override;
    STDMETHODIMP_(LONG) GetSize() override;
    /// VFW_E_SAMPLE_TIME_NOT_SET; VFW_S_NO_STOP_TIME with a stop of start + 1.
    STDMETHODIMP GetTime(REFERENCE_TIME* pTimeStart, REFERENCE_TIME* pTimeEnd) override;
    /// Null start: no time; null end: no stop time.
    STDMETHODIMP SetTime(REFERENCE_TIME* pTimeStart, REFERENCE_TIME* pTimeEnd) override;
    STDMETHODIMP IsSyncPoint() override;
    STDMETHODIMP SetSyncPoint(BOOL bIsSyncPoint) override;
    STDMETHODIMP IsPreroll() override;
    STDMETHODIMP SetPreroll(BOOL bIsPreroll) override;
    STDMETHODIMP_(LONG) GetActualDataLength() override;
    /// VFW_E_BUFFER_OVERFLOW past the buffer's size and below 0.
    STDMETHODIMP SetActualDataLength(LONG lActual) override;
    /// S_FALSE and null when the type does not change with this sample.
    STDMETHODIMP GetMediaType(AM_MEDIA_TYPE** ppMediaType) override;
    STDMETHODIMP SetMediaType(AM_MEDIA_TYPE* pMediaType) override;
    STDMETHODIMP IsDiscontinuity() override;
    STDMETHODIMP SetDiscontinuity(BOOL bDiscontinuity) override;
    STDMETHODIMP GetMediaTime(LONGLONG* pTimeStart, LONGLONG* pTimeEnd) override;
    STDMETHODIMP SetMediaTime(LONGLONG* pTimeStart, LONGLONG* pTimeEnd) override;

    /// As many of the fields as fit in cbProperties bytes, cbData telling how many that are.
    STDMETHODIMP GetProperties(DWORD cbProperties, BYTE* pbProperties) override;
    /// The fields that lie wholly in cbProperties bytes. The buffer itself cannot be exchanged (E_INVALIDARG).
    STDMETHODIMP SetProperties(DWORD cbProperties, const BYTE* pbProperties) override;

protected:
    friend class CBaseAllocator;

    enum {
        Sample_SyncPoint = AM_SAMPLE_SPLICEPOINT,
        Sample_Preroll = AM_SAMPLE_PREROLL,
        Sample_Discontinuity = AM_SAMPLE_DATADISCONTINUITY,
        Sample_TypeChanged = AM_SAMPLE_TYPECHANGED,
        Sample_TimeValid = AM_SAMPLE_TIMEVALID,
        Sample_StopValid = AM_SAMPLE_STOPVALID,
        Sample_MediaTimeValid = 0x20,
        Sample_ValidFlags = 0x1FF
    };

    DWORD m_dwFlags = 0;
    DWORD m_dwTypeSpecificFlags = 0;
    LPBYTE m_pBuffer;
    LONG m_lActual;
    LONG m_cbBuffer;
    CBaseAllocator* m_pAllocator;
    CMediaSample* m_pNext = nullptr;  ///< the next one of the allocator's list
    REFERENCE_TIME m_Start = 0;
    REFERENCE_TIME m_End = 0;
    LONGLONG m_MediaStart = 0;
    LONGLONG m_MediaEnd = 0;
    AM_MEDIA_TYPE* m_pMediaType = nullptr;
    DWORD m_dwStreamId = AM_STREAM_MEDIA;

public:
    LONG m_cRef = 0;

private:
    HRESULT flagState(DWORD flag) const { return (m_dwFlags & flag) ? S_OK : S_FALSE; }
    HRESULT setFlag(DWORD flag, BOOL on);
    void resetProperties();
    HRESULT checkProperties(const AM_SAMPLE2_PROPERTIES& props) const;
    HRESULT applyTypeChange(const AM_SAMPLE2_PROPERTIES& props);
    void applyFields(const AM_SAMPLE2_PROPERTIES& props);
};

#endif
