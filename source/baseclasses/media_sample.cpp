#include "media_sample.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstring>

#include "allocator.h"
#include "media_type.h"

namespace {

// Whether a structure cut off after `length` bytes still has this field.
#define HAS_FIELD(length, field) \
    ((length) >= offsetof(AM_SAMPLE2_PROPERTIES, field) + sizeof(AM_SAMPLE2_PROPERTIES::field))

}  // namespace

CMediaSample::CMediaSample(CObjectName pName, CBaseAllocator* pAllocator, HRESULT*, LPBYTE pBuffer, LONG length)
    : CBaseObject(pName), m_pBuffer(pBuffer), m_lActual(length), m_cbBuffer(length), m_pAllocator(pAllocator)
{
}

CMediaSample::~CMediaSample()
{
    DeleteMediaType(m_pMediaType);
}

STDMETHODIMP CMediaSample::QueryInterface(REFIID riid, void** ppv)
{
    if (!ppv)
        return E_POINTER;
    if (riid == IID_IMediaSample2 || riid == IID_IMediaSample || riid == IID_IUnknown)
        return GetInterface(static_cast<IMediaSample2*>(this), ppv);
    *ppv = nullptr;
    return E_NOINTERFACE;
}

STDMETHODIMP_(ULONG) CMediaSample::AddRef()
{
    return static_cast<ULONG>(InterlockedIncrement(&m_cRef));
}

STDMETHODIMP_(ULONG) CMediaSample::Release()
{
    // The only reference is the caller's: nobody else can change the count, and no locked instruction is needed. This
    // is done for every packet.
    const bool last = std::atomic_ref(m_cRef).load(std::memory_order_acquire) == 1;
    if (last)
        m_cRef = 0;
    else if (const LONG left = InterlockedDecrement(&m_cRef); left != 0)
        return static_cast<ULONG>(left);
    resetProperties();
    m_pAllocator->ReleaseBuffer(this);
    return 0;
}

void CMediaSample::resetProperties()
{
    m_dwFlags = 0;
    m_dwTypeSpecificFlags = 0;
    m_dwStreamId = AM_STREAM_MEDIA;
    m_lActual = m_cbBuffer;
    if (m_pMediaType) {
        DeleteMediaType(m_pMediaType);
        m_pMediaType = nullptr;
    }
}

STDMETHODIMP CMediaSample::GetPointer(BYTE** ppBuffer)
{
    if (!ppBuffer)
        return E_POINTER;
    *ppBuffer = m_pBuffer;
    return S_OK;
}

STDMETHODIMP_(LONG) CMediaSample::GetSize()
{
    return m_cbBuffer;
}

STDMETHODIMP CMediaSample::GetTime(REFERENCE_TIME* pTimeStart, REFERENCE_TIME* pTimeEnd)
{
    if (!pTimeStart || !pTimeEnd)
        return E_POINTER;
    if (!(m_dwFlags & Sample_TimeValid))
        return VFW_E_SAMPLE_TIME_NOT_SET;
    *pTimeStart = m_Start;
    if (m_dwFlags & Sample_StopValid) {
        *pTimeEnd = m_End;
        return S_OK;
    }
    // Renderers that do not look at the result want an end after the start.
    *pTimeEnd = m_Start + 1;
    return VFW_S_NO_STOP_TIME;
}

STDMETHODIMP CMediaSample::SetTime(REFERENCE_TIME* pTimeStart, REFERENCE_TIME* pTimeEnd)
{
    m_dwFlags &= ~static_cast<DWORD>(Sample_TimeValid | Sample_StopValid);
    if (!pTimeStart)
        return S_OK;
    m_Start = *pTimeStart;
    m_dwFlags |= Sample_TimeValid;
    if (pTimeEnd) {
        m_End = *pTimeEnd;
        m_dwFlags |= Sample_StopValid;
    }
    return S_OK;
}

STDMETHODIMP CMediaSample::GetMediaTime(LONGLONG* pTimeStart, LONGLONG* pTimeEnd)
{
    if (!pTimeStart || !pTimeEnd)
        return E_POINTER;
    if (!(m_dwFlags & Sample_MediaTimeValid))
        return VFW_E_MEDIA_TIME_NOT_SET;
    *pTimeStart = m_MediaStart;
    *pTimeEnd = m_MediaEnd;
    return S_OK;
}

STDMETHODIMP CMediaSample::SetMediaTime(LONGLONG* pTimeStart, LONGLONG* pTimeEnd)
{
    if (pTimeStart && !pTimeEnd)
        return E_POINTER;
    if (pTimeStart) {
        m_MediaStart = *pTimeStart;
        m_MediaEnd = *pTimeEnd;
    }
    return setFlag(Sample_MediaTimeValid, pTimeStart != nullptr);
}

HRESULT CMediaSample::setFlag(DWORD flag, BOOL on)
{
    m_dwFlags = on ? m_dwFlags | flag : m_dwFlags & ~flag;
    return S_OK;
}

STDMETHODIMP CMediaSample::IsSyncPoint()
{
    return flagState(Sample_SyncPoint);
}

STDMETHODIMP CMediaSample::SetSyncPoint(BOOL bIsSyncPoint)
{
    return setFlag(Sample_SyncPoint, bIsSyncPoint);
}

STDMETHODIMP CMediaSample::IsPreroll()
{
    return flagState(Sample_Preroll);
}

STDMETHODIMP CMediaSample::SetPreroll(BOOL bIsPreroll)
{
    return setFlag(Sample_Preroll, bIsPreroll);
}

STDMETHODIMP CMediaSample::IsDiscontinuity()
{
    return flagState(Sample_Discontinuity);
}

STDMETHODIMP CMediaSample::SetDiscontinuity(BOOL bDiscontinuity)
{
    return setFlag(Sample_Discontinuity, bDiscontinuity);
}

STDMETHODIMP_(LONG) CMediaSample::GetActualDataLength()
{
    return m_lActual;
}

STDMETHODIMP CMediaSample::SetActualDataLength(LONG lActual)
{
    if (lActual < 0 || lActual > m_cbBuffer)
        return VFW_E_BUFFER_OVERFLOW;
    m_lActual = lActual;
    return S_OK;
}

STDMETHODIMP CMediaSample::GetMediaType(AM_MEDIA_TYPE** ppMediaType)
{
    if (!ppMediaType)
        return E_POINTER;
    *ppMediaType = nullptr;
    if (!(m_dwFlags & Sample_TypeChanged))
        return S_FALSE;
    *ppMediaType = CreateMediaType(m_pMediaType);
    return *ppMediaType ? S_OK : E_OUTOFMEMORY;
}

STDMETHODIMP CMediaSample::SetMediaType(AM_MEDIA_TYPE* pMediaType)
{
    AM_MEDIA_TYPE* const copy = pMediaType ? CreateMediaType(pMediaType) : nullptr;
    if (pMediaType && !copy)
        return E_OUTOFMEMORY;
    DeleteMediaType(m_pMediaType);
    m_pMediaType = copy;
    return setFlag(Sample_TypeChanged, copy != nullptr);
}

STDMETHODIMP CMediaSample::GetProperties(DWORD cbProperties, BYTE* pbProperties)
{
    if (cbProperties == 0)
        return S_OK;
    if (!pbProperties)
        return E_POINTER;
    AM_SAMPLE2_PROPERTIES props{};
    props.cbData = std::min<DWORD>(cbProperties, sizeof props);
    props.dwTypeSpecificFlags = m_dwTypeSpecificFlags;
    // The media time has no place in the structure, and its flag means nothing to others.
    props.dwSampleFlags = m_dwFlags & Sample_ValidFlags & ~static_cast<DWORD>(Sample_MediaTimeValid);
    props.lActual = m_lActual;
    props.tStart = m_Start;
    props.tStop = m_End;
    props.dwStreamId = m_dwStreamId;
    props.pMediaType = m_pMediaType;
    props.pbBuffer = m_pBuffer;
    props.cbBuffer = m_cbBuffer;
    std::memcpy(pbProperties, &props, props.cbData);
    return S_OK;
}

STDMETHODIMP CMediaSample::SetProperties(DWORD cbProperties, const BYTE* pbProperties)
{
    if (cbProperties == 0)
        return S_OK;
    if (!pbProperties)
        return E_POINTER;
    AM_SAMPLE2_PROPERTIES props{};
    std::memcpy(&props, pbProperties, std::min<std::size_t>(cbProperties, sizeof props));
    props.cbData = cbProperties;
    HRESULT hr = checkProperties(props);
    if (SUCCEEDED(hr))
        hr = applyTypeChange(props);
    if (SUCCEEDED(hr))
        applyFields(props);
    return hr;
}

HRESULT CMediaSample::checkProperties(const AM_SAMPLE2_PROPERTIES& props) const
{
    if (HAS_FIELD(props.cbData, lActual) && (props.lActual < 0 || props.lActual > m_cbBuffer))
        return VFW_E_BUFFER_OVERFLOW;
    if (HAS_FIELD(props.cbData, pbBuffer) && props.pbBuffer && props.pbBuffer != m_pBuffer)
        return E_INVALIDARG;
    if (HAS_FIELD(props.cbData, cbBuffer) && props.cbBuffer != 0 && props.cbBuffer != m_cbBuffer)
        return E_INVALIDARG;
    return S_OK;
}

HRESULT CMediaSample::applyTypeChange(const AM_SAMPLE2_PROPERTIES& props)
{
    if (!HAS_FIELD(props.cbData, pMediaType))  // NOLINT(bugprone-sizeof-expression): the pointer's own size
        return S_OK;
    const bool changed = props.dwSampleFlags & AM_SAMPLE_TYPECHANGED;
    if (changed && props.pMediaType == m_pMediaType)
        return m_pMediaType ? S_OK : E_INVALIDARG;
    return SetMediaType(changed ? props.pMediaType : nullptr);
}

void CMediaSample::applyFields(const AM_SAMPLE2_PROPERTIES& props)
{
    // These two follow from what else was set, not from the flags given.
    constexpr DWORD kOwn = Sample_MediaTimeValid | Sample_TypeChanged;
    if (HAS_FIELD(props.cbData, dwTypeSpecificFlags))
        m_dwTypeSpecificFlags = props.dwTypeSpecificFlags;
    if (HAS_FIELD(props.cbData, dwSampleFlags))
        m_dwFlags = (m_dwFlags & kOwn) | (props.dwSampleFlags & Sample_ValidFlags & ~kOwn);
    if (HAS_FIELD(props.cbData, lActual))
        m_lActual = props.lActual;
    if (HAS_FIELD(props.cbData, tStart))
        m_Start = props.tStart;
    if (HAS_FIELD(props.cbData, tStop))
        m_End = props.tStop;
    if (HAS_FIELD(props.cbData, dwStreamId))
        m_dwStreamId = props.dwStreamId;
}
