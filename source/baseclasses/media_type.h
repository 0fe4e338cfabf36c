/// @file
/// AM_MEDIA_TYPE with an owner, and the functions that copy and free one.
#pragma once

#include <dshow.h>

/// Copies the format block and takes a reference to pUnk. @return E_OUTOFMEMORY with an empty format block
STDAPI CopyMediaType(AM_MEDIA_TYPE* pmtTarget, const AM_MEDIA_TYPE* pmtSource);
STDAPI_(void) FreeMediaType(AM_MEDIA_TYPE& mt);

/// Both the structure and its format block are CoTaskMemAlloc's. @return null without memory
STDAPI_(AM_MEDIA_TYPE*) CreateMediaType(const AM_MEDIA_TYPE* pSrc);
STDAPI_(void) DeleteMediaType(AM_MEDIA_TYPE* pmt);

/// MEDIATYPE_Audio with a subtype made from wFormatTag. @param bSetFormat  also copies the format
STDAPI CreateAudioMediaType(const WAVEFORMATEX* pwfx, AM_MEDIA_TYPE* pmt, BOOL bSetFormat);

/// A subtype whose first member is a FourCC or a wave format tag.
class FOURCCMap : public GUID
{
public:
    FOURCCMap() : FOURCCMap(DWORD{0}) {}
    explicit FOURCCMap(DWORD Fourcc) : GUID{Fourcc, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}} {}
    DWORD GetFOURCC() const { return Data1; }
    void SetFOURCC(DWORD fourcc) { Data1 = fourcc; }
};

class CMediaType : public AM_MEDIA_TYPE
{
public:
    CMediaType() { InitMediaType(); }
    explicit CMediaType(const GUID* majortype);
    /// @param phr  E_OUTOFMEMORY when the format block could not be copied; may be null
    CMediaType(const AM_MEDIA_TYPE& rtype, HRESULT* phr = nullptr);
    CMediaType(const CMediaType& rtype, HRESULT* phr = nullptr);
    ~CMediaType() { FreeMediaType(*this); }

    CMediaType& operator=(const CMediaType& rtype);
    CMediaType& operator=(const AM_MEDIA_TYPE& rtype);
    BOOL operator==(const CMediaType& rtype) const;
    BOOL operator!=(const CMediaType& rtype) const { return !(*this == rtype); }

    HRESULT Set(const CMediaType& rtype) { return Set(static_cast<const AM_MEDIA_TYPE&>(rtype)); }
    HRESULT Set(const AM_MEDIA_TYPE& rtype);

    /// Everything zero, fixed-size samples of one byte. Does not free what was there.
    void InitMediaType();

    BOOL IsValid() const { return majortype != GUID_NULL; }
    const GUID* Type() const { return &majortype; }
    void SetType(const GUID* ptype) { majortype = *ptype; }
    const GUID* Subtype() const { return &subtype; }
    void SetSubtype(const GUID* ptype) { subtype = *ptype; }

    BOOL IsFixedSize() const { return bFixedSizeSamples; }
    BOOL IsTemporalCompressed() const { return bTemporalCompression; }
    ULONG GetSampleSize() const { return IsFixedSize() ? lSampleSize : 0; }
    /// 0 stands for a variable size
    void SetSampleSize(ULONG sz);
    void SetVariableSize() { bFixedSizeSamples = FALSE; }
    void SetTemporalCompression(BOOL bCompressed) { bTemporalCompression = bCompressed; }

    BYTE* Format() const { return pbFormat; }
    ULONG FormatLength() const { return cbFormat; }
    void SetFormatType(const GUID* pformattype) { formattype = *pformattype; }
    const GUID* FormatType() const { return &formattype; }
    BOOL SetFormat(BYTE* pFormat, ULONG length);
    void ResetFormatBuffer();
    /// The new block's bytes are not set. @return null, and the old block kept, without memory
    BYTE* AllocFormatBuffer(ULONG length);
    /// Keeps the bytes that fit.
    BYTE* ReallocFormatBuffer(ULONG length);

    /// Whether something is left open that a connection has to settle.
    BOOL IsPartiallySpecified() const;
    /// Whether this type fits what the other one says; its open members fit anything.
    BOOL MatchesPartial(const CMediaType* ppartial) const;
};
