#include "streams.h"

#include <algorithm>
#include <new>

namespace {

BYTE* newFormat(ULONG length)
{
    return static_cast<BYTE*>(CoTaskMemAlloc(length));
}

}  // namespace

STDAPI CopyMediaType(AM_MEDIA_TYPE* pmtTarget, const AM_MEDIA_TYPE* pmtSource)
{
    *pmtTarget = *pmtSource;
    pmtTarget->pbFormat = nullptr;
    pmtTarget->cbFormat = 0;
    if (pmtTarget->pUnk != nullptr)
        pmtTarget->pUnk->AddRef();
    if (pmtSource->cbFormat == 0 || pmtSource->pbFormat == nullptr)
        return S_OK;
    pmtTarget->pbFormat = newFormat(pmtSource->cbFormat);
    if (pmtTarget->pbFormat == nullptr)
        return E_OUTOFMEMORY;
    pmtTarget->cbFormat = pmtSource->cbFormat;
    std::copy_n(pmtSource->pbFormat, pmtSource->cbFormat, pmtTarget->pbFormat);
    return S_OK;
}

STDAPI_(void) FreeMediaType(AM_MEDIA_TYPE& mt)
{
    CoTaskMemFree(mt.pbFormat);
    mt.pbFormat = nullptr;
    mt.cbFormat = 0;
    if (mt.pUnk != nullptr)
        mt.pUnk->Release();
    mt.pUnk = nullptr;
}

STDAPI_(AM_MEDIA_TYPE*) CreateMediaType(const AM_MEDIA_TYPE* pSrc)
{
    auto* copy = static_cast<AM_MEDIA_TYPE*>(CoTaskMemAlloc(sizeof(AM_MEDIA_TYPE)));
    if (copy == nullptr)
        return nullptr;
    if (SUCCEEDED(CopyMediaType(copy, pSrc)))
        return copy;
    DeleteMediaType(copy);
    return nullptr;
}

STDAPI_(void) DeleteMediaType(AM_MEDIA_TYPE* pmt)
{
    if (pmt == nullptr)
        return;
    FreeMediaType(*pmt);
    CoTaskMemFree(pmt);
}

STDAPI CreateAudioMediaType(const WAVEFORMATEX* pwfx, AM_MEDIA_TYPE* pmt, BOOL bSetFormat)
{
    pmt->majortype = MEDIATYPE_Audio;
    pmt->subtype = FOURCCMap(DWORD{pwfx->wFormatTag});
    pmt->formattype = FORMAT_WaveFormatEx;
    pmt->bFixedSizeSamples = TRUE;
    pmt->bTemporalCompression = FALSE;
    pmt->lSampleSize = pwfx->nBlockAlign;
    pmt->pUnk = nullptr;
    pmt->cbFormat = 0;
    pmt->pbFormat = nullptr;
    if (!bSetFormat)
        return S_OK;
    const ULONG size = sizeof(WAVEFORMATEX) + (pwfx->wFormatTag == WAVE_FORMAT_PCM ? 0U : pwfx->cbSize);
    pmt->pbFormat = newFormat(size);
    if (pmt->pbFormat == nullptr)
        return E_OUTOFMEMORY;
    pmt->cbFormat = size;
    std::copy_n(reinterpret_cast<const BYTE*>(pwfx), size, pmt->pbFormat);
    return S_OK;
}

CMediaType::CMediaType(const GUID* type)
{
    InitMediaType();
    majortype = *type;
}

CMediaType::CMediaType(const AM_MEDIA_TYPE& rtype, HRESULT* phr)
{
    const HRESULT result = CopyMediaType(this, &rtype);
    if (FAILED(result) && phr != nullptr)
        *phr = result;
}

CMediaType::CMediaType(const CMediaType& rtype, HRESULT* phr)
    : CMediaType(static_cast<const AM_MEDIA_TYPE&>(rtype), phr)
{
}

CMediaType& CMediaType::operator=(const CMediaType& rtype)
{
    Set(rtype);
    return *this;
}

CMediaType& CMediaType::operator=(const AM_MEDIA_TYPE& rtype)
{
    Set(rtype);
    return *this;
}

HRESULT CMediaType::Set(const AM_MEDIA_TYPE& rtype)
{
    if (&rtype == this)
        return S_OK;
    FreeMediaType(*this);
    return CopyMediaType(this, &rtype);
}

BOOL CMediaType::operator==(const CMediaType& rtype) const
{
    return majortype == rtype.majortype && subtype == rtype.subtype && formattype == rtype.formattype &&
           cbFormat == rtype.cbFormat && std::equal(pbFormat, pbFormat + cbFormat, rtype.pbFormat);
}

void CMediaType::InitMediaType()
{
    static_cast<AM_MEDIA_TYPE&>(*this) = {};
    lSampleSize = 1;
    bFixedSizeSamples = TRUE;
}

void CMediaType::SetSampleSize(ULONG sz)
{
    if (sz == 0) {
        SetVariableSize();
        return;
    }
    bFixedSizeSamples = TRUE;
    lSampleSize = sz;
}

BOOL CMediaType::SetFormat(BYTE* pFormat, ULONG length)
{
    if (AllocFormatBuffer(length) == nullptr)
        return FALSE;
    std::copy_n(pFormat, length, pbFormat);
    return TRUE;
}

void CMediaType::ResetFormatBuffer()
{
    CoTaskMemFree(pbFormat);
    pbFormat = nullptr;
    cbFormat = 0;
}

BYTE* CMediaType::AllocFormatBuffer(ULONG length)
{
    if (length == cbFormat && pbFormat != nullptr)
        return pbFormat;
    BYTE* block = newFormat(length);
    if (block == nullptr)
        return length <= cbFormat ? pbFormat : nullptr;
    ResetFormatBuffer();
    pbFormat = block;
    cbFormat = length;
    return pbFormat;
}

BYTE* CMediaType::ReallocFormatBuffer(ULONG length)
{
    if (length == cbFormat && pbFormat != nullptr)
        return pbFormat;
    BYTE* block = newFormat(length);
    if (block == nullptr)
        return length <= cbFormat ? pbFormat : nullptr;
    std::copy_n(pbFormat, std::min(length, cbFormat), block);
    ResetFormatBuffer();
    pbFormat = block;
    cbFormat = length;
    return pbFormat;
}

BOOL CMediaType::IsPartiallySpecified() const
{
    return majortype == GUID_NULL || formattype == GUID_NULL;
}

BOOL CMediaType::MatchesPartial(const CMediaType* ppartial) const
{
    if (ppartial->majortype != GUID_NULL && majortype != ppartial->majortype)
        return FALSE;
    if (ppartial->subtype != GUID_NULL && subtype != ppartial->subtype)
        return FALSE;
    if (ppartial->formattype == GUID_NULL)
        return TRUE;
    if (formattype != ppartial->formattype || cbFormat != ppartial->cbFormat)
        return FALSE;
    return cbFormat == 0 || std::equal(pbFormat, pbFormat + cbFormat, ppartial->pbFormat);
}
