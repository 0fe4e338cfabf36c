/// @file
/// Enumerators over a filter's pins and a pin's media types.
///
/// Both notice a change of what they enumerate by its version: Next and Skip then give VFW_E_ENUM_OUT_OF_SYNC until
/// Reset. Next wants a count pointer (E_INVALIDARG) when more than one item is asked for, and gives S_FALSE when it
/// returns fewer than that.

#ifndef ZARNOW_BASECLASSES_ENUMERATORS_H
#define ZARNOW_BASECLASSES_ENUMERATORS_H

#include "platform.h"
#include "unknown.h"

class CBaseFilter;
class CBasePin;

/// Starts with one reference and keeps one on the filter.
class CEnumPins : public IEnumPins, public CBaseObject
{
public:
    /// @param pEnumPins  enumerator whose position is taken over; null: start at the first pin
    CEnumPins(CBaseFilter* pFilter, CEnumPins* pEnumPins);
    virtual ~CEnumPins();

    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;

    STDMETHODIMP Next(ULONG cPins, IPin** ppPins, ULONG* pcFetched) override;
    STDMETHODIMP Skip(ULONG cPins) override;
    STDMETHODIMP Reset() override;
    STDMETHODIMP Clone(IEnumPins** ppEnum) override;

private:
    BOOL AreWeOutOfSync() const;
    ULONG fetch(ULONG count, IPin** pins);

    int m_Position = 0;
    int m_PinCount = 0;
    CBaseFilter* m_pFilter;
    LONG m_Version = 0;
    LONG m_cRef = 1;
};

/// Starts with one reference and keeps one on the pin.
class CEnumMediaTypes : public IEnumMediaTypes, public CBaseObject
{
public:
    /// @param pEnumMediaTypes  enumerator whose position is taken over; null: start at the first type
    CEnumMediaTypes(CBasePin* pPin, CEnumMediaTypes* pEnumMediaTypes);
    virtual ~CEnumMediaTypes();

    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;

    /// The types are freed by the caller with DeleteMediaType.
    STDMETHODIMP Next(ULONG cMediaTypes, AM_MEDIA_TYPE** ppMediaTypes, ULONG* pcFetched) override;
    STDMETHODIMP Skip(ULONG cMediaTypes) override;
    STDMETHODIMP Reset() override;
    STDMETHODIMP Clone(IEnumMediaTypes** ppEnum) override;

private:
    BOOL AreWeOutOfSync() const;
    AM_MEDIA_TYPE* typeAtPosition();

    int m_Position = 0;
    CBasePin* m_pPin;
    LONG m_Version = 0;
    LONG m_cRef = 1;
};

#endif
