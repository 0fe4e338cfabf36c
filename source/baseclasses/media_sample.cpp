#include "streams.h"

#include <algorithm>
#include <cstddef>

namespace {

constexpr DWORD kTimeFlags = AM_SAMPLE_TIMEVALID | AM_SAMPLE_STOPVALID;
constexpr DWORD kMediaTimeValid = 0x8000;  // of our own: AM_SAMPLE_PROPERTY_FLAGS has none for media times

/// Whether a caller's structure of that size has a member whole.
#define ZARNOW_HAS_MEMBER(size, member) \
    ((size) >= offsetof(AM_SAMPLE2_PROPERTIES, member) + sizeof(AM_SAMPLE2_PROPERTIES::member))

}  // namespace

CMediaSample::CMediaSample(LPCTSTR, CBaseAllocator* pAllocator, HRESULT*, LPBYTE pBuffer, LONG length)
    : m_pBuffer(pBuffer), m_lActual(length), m_cbBuffer(length), m_pAllocator(pAllocator)
{
}

CMediaSample::~CMediaSample()
{
    DeleteMediaType(m_pMediaType);
}

STDMETHODIMP CMediaSample::QueryInterface(REFIID riid, void** ppv)
{
    CheckPointer(ppv, E_POINTER);
    if (riid == IID_IMediaSample || riid == IID_IMediaSample2 || riid == IID_IUnknown)
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
    const LONG count = InterlockedDecrement(&m_cRef);
    if (count == 0) {
        reset();
        m_pAllocator->ReleaseBuffer(this);
    }
    return static_cast<ULONG>(count);
}

void CMediaSample::reset()
{
    if (m_pMediaType != nullptr)
        setMediaType(nullptr);
    m_dwFlags = 0;
    m_dwTypeSpecificFlags = 0;
    m_dwStreamId = AM_STREAM_MEDIA;
}

HRESULT CMediaSample::SetPointer(BYTE* ptr, LONG cBytes)
{
    m_pBuffer = ptr;
    m_cbBuffer = cBytes;
    return S_OK;
}

STDMETHODIMP CMediaSample::GetPointer(BYTE** ppBuffer)
{
    CheckPointer(ppBuffer, E_POINTER);
    *ppBuffer = m_pBuffer;
    return S_OK;
}

HRESULT CMediaSample::setFlag(DWORD bit, BOOL value)
{
    m_dwFlags = value ? m_dwFlags | bit : m_dwFlags & ~bit;
    return S_OK;
}

STDMETHODIMP CMediaSample::GetTime(REFERENCE_TIME* pTimeStart, REFERENCE_TIME* pTimeEnd)
{
    CheckPointer(pTimeStart, E_POINTER);
    CheckPointer(pTimeEnd, E_POINTER);
    if ((m_dwFlags & AM_SAMPLE_TIMEVALID) == 0)
        return VFW_E_SAMPLE_TIME_NOT_SET;
    *pTimeStart = m_Start;
    const bool stop = (m_dwFlags & AM_SAMPLE_STOPVALID) != 0;
    *pTimeEnd = stop ? m_End : m_Start + 1;
    return stop ? S_OK : VFW_S_NO_STOP_TIME;
}

STDMETHODIMP CMediaSample::SetTime(REFERENCE_TIME* pTimeStart, REFERENCE_TIME* pTimeEnd)
{
    m_dwFlags &= ~kTimeFlags;
    if (pTimeStart == nullptr)
        return S_OK;
    m_Start = *pTimeStart;
    m_dwFlags |= AM_SAMPLE_TIMEVALID;
    if (pTimeEnd != nullptr) {
        m_End = *pTimeEnd;
        m_dwFlags |= AM_SAMPLE_STOPVALID;
    }
    return S_OK;
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
    CheckPointer(ppMediaType, E_POINTER);
    *ppMediaType = nullptr;
    if ((m_dwFlags & AM_SAMPLE_TYPECHANGED) == 0)
        return S_FALSE;
    *ppMediaType = CreateMediaType(m_pMediaType);
    return *ppMediaType != nullptr ? S_OK : E_OUTOFMEMORY;
}

STDMETHODIMP CMediaSample::SetMediaType(AM_MEDIA_TYPE* pMediaType)
{
    return setMediaType(pMediaType);
}

HRESULT CMediaSample::setMediaType(const AM_MEDIA_TYPE* type)
{
    DeleteMediaType(m_pMediaType);
    m_pMediaType = nullptr;
    setFlag(AM_SAMPLE_TYPECHANGED, FALSE);
    if (type == nullptr)
        return S_OK;
    m_pMediaType = CreateMediaType(type);
    CheckPointer(m_pMediaType, E_OUTOFMEMORY);
    return setFlag(AM_SAMPLE_TYPECHANGED, TRUE);
}

STDMETHODIMP CMediaSample::GetMediaTime(LONGLONG* pTimeStart, LONGLONG* pTimeEnd)
{
    CheckPointer(pTimeStart, E_POINTER);
    CheckPointer(pTimeEnd, E_POINTER);
    if ((m_dwFlags & kMediaTimeValid) == 0)
        return VFW_E_MEDIA_TIME_NOT_SET;
    *pTimeStart = m_MediaStart;
    *pTimeEnd = m_MediaStart + m_MediaEnd;
    return S_OK;
}

STDMETHODIMP CMediaSample::SetMediaTime(LONGLONG* pTimeStart, LONGLONG* pTimeEnd)
{
    if (pTimeStart == nullptr)
        return setFlag(kMediaTimeValid, FALSE);
    CheckPointer(pTimeEnd, E_POINTER);
    m_MediaStart = *pTimeStart;
    m_MediaEnd = static_cast<LONG>(*pTimeEnd - *pTimeStart);
    return setFlag(kMediaTimeValid, TRUE);
}

STDMETHODIMP CMediaSample::GetProperties(DWORD cbProperties, BYTE* pbProperties)
{
    if (cbProperties == 0)
        return S_OK;
    CheckPointer(pbProperties, E_POINTER);
    AM_SAMPLE2_PROPERTIES properties = {};
    properties.cbData = std::min<DWORD>(cbProperties, sizeof(properties));
    properties.dwTypeSpecificFlags = m_dwTypeSpecificFlags;
    properties.dwSampleFlags = m_dwFlags & ~kMediaTimeValid;
    properties.lActual = m_lActual;
    properties.tStart = m_Start;
    properties.tStop = m_End;
    properties.dwStreamId = m_dwStreamId;
    properties.pMediaType = m_pMediaType;
    properties.pbBuffer = m_pBuffer;
    properties.cbBuffer = m_cbBuffer;
    std::copy_n(reinterpret_cast<const BYTE*>(&properties), properties.cbData, pbProperties);
    return S_OK;
}

STDMETHODIMP CMediaSample::SetProperties(DWORD cbProperties, const BYTE* pbProperties)
{
    CheckPointer(pbProperties, E_POINTER);
    AM_SAMPLE2_PROPERTIES properties = {};
    std::copy_n(pbProperties, std::min<DWORD>(cbProperties, sizeof(properties)), reinterpret_cast<BYTE*>(&properties));
    // The buffer is the allocator's and cannot be replaced.
    if ((ZARNOW_HAS_MEMBER(cbProperties, pbBuffer) && properties.pbBuffer != nullptr &&
         properties.pbBuffer != m_pBuffer) ||
        (ZARNOW_HAS_MEMBER(cbProperties, cbBuffer) && properties.cbBuffer != 0 && properties.cbBuffer != m_cbBuffer))
        return E_INVALIDARG;
    if (ZARNOW_HAS_MEMBER(cbProperties, lActual)) {
        if (const HRESULT result = SetActualDataLength(properties.lActual); FAILED(result))
            return result;
    }
    if (ZARNOW_HAS_MEMBER(cbProperties, pMediaType)) {
        const bool changed = (properties.dwSampleFlags & AM_SAMPLE_TYPECHANGED) != 0;
        if (const HRESULT result = setMediaType(changed ? properties.pMediaType : nullptr); FAILED(result))
            return result;
    }
    if (ZARNOW_HAS_MEMBER(cbProperties, dwTypeSpecificFlags))
        m_dwTypeSpecificFlags = properties.dwTypeSpecificFlags;
    if (ZARNOW_HAS_MEMBER(cbProperties, dwSampleFlags)) {
        const DWORD kept = m_dwFlags & (kMediaTimeValid | AM_SAMPLE_TYPECHANGED);
        m_dwFlags = (properties.dwSampleFlags & ~(kMediaTimeValid | AM_SAMPLE_TYPECHANGED)) | kept;
    }
    if (ZARNOW_HAS_MEMBER(cbProperties, tStart))
        m_Start = properties.tStart;
    if (ZARNOW_HAS_MEMBER(cbProperties, tStop))
        m_End = properties.tStop;
    if (ZARNOW_HAS_MEMBER(cbProperties, dwStreamId))
        m_dwStreamId = properties.dwStreamId;
    return S_OK;
}
