#include "media_type.h"

#include <cstring>

namespace {

bool sameFormat(const AM_MEDIA_TYPE& left, const AM_MEDIA_TYPE& right)
{
    if (left.formattype != right.formattype || left.cbFormat != right.cbFormat)
        return false;
    if (left.cbFormat == 0)
        return true;
    return left.pbFormat && right.pbFormat && std::memcmp(left.pbFormat, right.pbFormat, left.cbFormat) == 0;
}

void noteFailure(HRESULT* phr, HRESULT hr)
{
    if (phr && FAILED(hr))
        *phr = hr;
}

}  // namespace

CMediaType::CMediaType()
{
    InitMediaType();
}

CMediaType::CMediaType(const GUID* type)
{
    InitMediaType();
    majortype = *type;
}

CMediaType::CMediaType(const AM_MEDIA_TYPE& mtype, HRESULT* phr)
{
    noteFailure(phr, CopyMediaType(this, &mtype));
}

CMediaType::CMediaType(const CMediaType& cmtype, HRESULT* phr)
    : CMediaType(static_cast<const AM_MEDIA_TYPE&>(cmtype), phr)
{
}

CMediaType::~CMediaType()
{
    FreeMediaType(*this);
}

CMediaType& CMediaType::operator=(const CMediaType& cmtype)
{
    if (this != &cmtype)
        Set(cmtype);
    return *this;
}

CMediaType& CMediaType::operator=(const AM_MEDIA_TYPE& mtype)
{
    Set(mtype);
    return *this;
}

BOOL CMediaType::operator==(const CMediaType& rt) const
{
    return majortype == rt.majortype && subtype == rt.subtype && sameFormat(*this, rt);
}

BOOL CMediaType::operator!=(const CMediaType& rt) const
{
    return !(*this == rt);
}

HRESULT CMediaType::Set(const CMediaType& rt)
{
    return Set(static_cast<const AM_MEDIA_TYPE&>(rt));
}

HRESULT CMediaType::Set(const AM_MEDIA_TYPE& rt)
{
    if (&rt == this)
        return S_OK;
    FreeMediaType(*this);
    return CopyMediaType(this, &rt);
}

void CMediaType::InitMediaType()
{
    static_cast<AM_MEDIA_TYPE&>(*this) = AM_MEDIA_TYPE{};
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

void CMediaType::SetVariableSize()
{
    bFixedSizeSamples = FALSE;
}

void CMediaType::SetTemporalCompression(BOOL bCompressed)
{
    bTemporalCompression = bCompressed;
}

void CMediaType::ResetFormatBuffer()
{
    CoTaskMemFree(pbFormat);
    pbFormat = nullptr;
    cbFormat = 0;
}

BYTE* CMediaType::AllocFormatBuffer(ULONG length)
{
    if (length != 0 && length == cbFormat)
        return pbFormat;
    auto* block = static_cast<BYTE*>(CoTaskMemAlloc(length));
    if (!block)
        return nullptr;
    ResetFormatBuffer();
    pbFormat = block;
    cbFormat = length;
    return pbFormat;
}

BOOL CMediaType::MatchesPartial(const CMediaType* ppartial) const
{
    if (ppartial->majortype != GUID_NULL && majortype != ppartial->majortype)
        return FALSE;
    if (ppartial->subtype != GUID_NULL && subtype != ppartial->subtype)
        return FALSE;
    return ppartial->formattype == GUID_NULL || sameFormat(*this, *ppartial);
}

BOOL CMediaType::IsPartiallySpecified() const
{
    return majortype == GUID_NULL || formattype == GUID_NULL;
}

AM_MEDIA_TYPE* WINAPI CreateMediaType(const AM_MEDIA_TYPE* pSrc)
{
    auto* type = static_cast<AM_MEDIA_TYPE*>(CoTaskMemAlloc(sizeof(AM_MEDIA_TYPE)));
    if (!type)
        return nullptr;
    if (FAILED(CopyMediaType(type, pSrc))) {
        CoTaskMemFree(type);
        return nullptr;
    }
    return type;
}

HRESULT WINAPI CopyMediaType(AM_MEDIA_TYPE* pmtTarget, const AM_MEDIA_TYPE* pmtSource)
{
    *pmtTarget = *pmtSource;
    pmtTarget->pbFormat = nullptr;
    pmtTarget->cbFormat = 0;
    pmtTarget->pUnk = nullptr;
    // A length without a block is no format.
    if (pmtSource->cbFormat != 0 && pmtSource->pbFormat) {
        pmtTarget->pbFormat = static_cast<BYTE*>(CoTaskMemAlloc(pmtSource->cbFormat));
        if (!pmtTarget->pbFormat)
            return E_OUTOFMEMORY;
        std::memcpy(pmtTarget->pbFormat, pmtSource->pbFormat, pmtSource->cbFormat);
        pmtTarget->cbFormat = pmtSource->cbFormat;
    }
    pmtTarget->pUnk = pmtSource->pUnk;
    if (pmtTarget->pUnk)
        pmtTarget->pUnk->AddRef();
    return S_OK;
}

void WINAPI FreeMediaType(AM_MEDIA_TYPE& mt)
{
    CoTaskMemFree(mt.pbFormat);
    mt.pbFormat = nullptr;
    mt.cbFormat = 0;
    if (mt.pUnk)
        mt.pUnk->Release();
    mt.pUnk = nullptr;
}

void WINAPI DeleteMediaType(AM_MEDIA_TYPE* pmt)
{
    if (!pmt)
        return;
    FreeMediaType(*pmt);
    CoTaskMemFree(pmt);
}

STDAPI CreateAudioMediaType(const WAVEFORMATEX* pwfx, AM_MEDIA_TYPE* pmt, BOOL bSetFormat)
{
    if (!pwfx || !pmt)
        return E_POINTER;
    *pmt = AM_MEDIA_TYPE{};
    pmt->majortype = MEDIATYPE_Audio;
    pmt->subtype = MEDIASUBTYPE_PCM;  // differs from those of other tags in the tag only
    pmt->subtype.Data1 = pwfx->wFormatTag;
    pmt->formattype = FORMAT_WaveFormatEx;
    pmt->bFixedSizeSamples = TRUE;
    pmt->lSampleSize = pwfx->nBlockAlign;
    if (!bSetFormat)
        return S_OK;
    // The extra bytes of a PCM format are not filled in by everybody.
    const ULONG extra = pwfx->wFormatTag == WAVE_FORMAT_PCM ? 0 : pwfx->cbSize;
    pmt->pbFormat = static_cast<BYTE*>(CoTaskMemAlloc(sizeof(WAVEFORMATEX) + extra));
    if (!pmt->pbFormat)
        return E_OUTOFMEMORY;
    pmt->cbFormat = sizeof(WAVEFORMATEX) + extra;
    std::memcpy(pmt->pbFormat, pwfx, pmt->cbFormat);
    if (extra == 0)
        reinterpret_cast<WAVEFORMATEX*>(pmt->pbFormat)->cbSize = 0;
    return S_OK;
}
