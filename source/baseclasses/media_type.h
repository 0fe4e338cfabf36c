/// @file
/// Media types: an owning class and the functions that allocate, copy and free them.

#ifndef ZARNOW_BASECLASSES_MEDIA_TYPE_H
#define ZARNOW_BASECLASSES_MEDIA_TYPE_H

#include "platform.h"

/// An AM_MEDIA_TYPE that owns its format block (CoTaskMemAlloc) and a reference on pUnk. A new one has all GUIDs null,
/// fixed-size samples of 1 byte and no format.
class CMediaType : public _AMMediaType
{
public:
    CMediaType();
    explicit CMediaType(const GUID* majortype);
    /// phr (may be null) gets E_OUTOFMEMORY when the format block could not be copied.
    CMediaType(const AM_MEDIA_TYPE& mtype, HRESULT* phr = nullptr);
    CMediaType(const CMediaType& cmtype, HRESULT* phr = nullptr);
    ~CMediaType();

    CMediaType& operator=(const CMediaType& cmtype);
    CMediaType& operator=(const AM_MEDIA_TYPE& mtype);

    /// Equal: the three GUIDs and the format block. Sample size and flags do not count.
    BOOL operator==(const CMediaType& rt) const;
    BOOL operator!=(const CMediaType& rt) const;

    /// Makes this a copy: S_OK or E_OUTOFMEMORY, which leaves it without a format block.
    HRESULT Set(const CMediaType& rt);
    HRESULT Set(const AM_MEDIA_TYPE& rt);

    const GUID* Type() const { return &majortype; }
    void SetType(const GUID* ptype) { majortype = *ptype; }
    const GUID* Subtype() const { return &subtype; }
    void SetSubtype(const GUID* ptype) { subtype = *ptype; }

    /// sz 0: samples of variable size.
    void SetSampleSize(ULONG sz);
    void SetVariableSize();
    void SetTemporalCompression(BOOL bCompressed);

    void SetFormatType(const GUID* pformattype) { formattype = *pformattype; }
    BYTE* Format() const { return pbFormat; }
    ULONG FormatLength() const { return cbFormat; }

    /// Frees the format block.
    void ResetFormatBuffer();
    /// A format block of this length, contents unset; null (nothing changed) when there is no memory.
    BYTE* AllocFormatBuffer(ULONG length);

    void InitMediaType();

    /// Whether this type fits a wanted one of which null GUIDs mean "any".
    BOOL MatchesPartial(const CMediaType* ppartial) const;
    /// Whether major type or format type is missing.
    BOOL IsPartiallySpecified() const;
};

/// Allocates (CoTaskMemAlloc) a copy; null when there is no memory. Freed by DeleteMediaType.
AM_MEDIA_TYPE* WINAPI CreateMediaType(const AM_MEDIA_TYPE* pSrc);
/// Makes *pmtTarget, whose old contents are not freed, a copy: S_OK or E_OUTOFMEMORY.
HRESULT WINAPI CopyMediaType(AM_MEDIA_TYPE* pmtTarget, const AM_MEDIA_TYPE* pmtSource);
/// Frees what the type owns, not the structure itself.
void WINAPI FreeMediaType(AM_MEDIA_TYPE& mt);
/// Frees a type from CoTaskMemAlloc (null: nothing).
void WINAPI DeleteMediaType(AM_MEDIA_TYPE* pmt);

/// Describes a wave format: MEDIATYPE_Audio, the subtype of its format tag, fixed-size samples of a block.
/// @param bSetFormat  whether the format block is filled in as well
/// @return S_OK, E_POINTER, E_OUTOFMEMORY
STDAPI CreateAudioMediaType(const WAVEFORMATEX* pwfx, AM_MEDIA_TYPE* pmt, BOOL bSetFormat);

#endif
