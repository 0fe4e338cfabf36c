/// @file
/// Lists of a filter's pins and of a pin's preferred media types. A change of the owner's version makes them void.
#pragma once

#include <dshow.h>

#include "unknown.h"

class CBaseFilter;
class CBasePin;

class CEnumPins : public IEnumPins, private CBaseObject
{
public:
    /// @param pEnumPins  an enumerator whose position is taken over, or null
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
    bool outOfSync() const;

    int m_Position = 0;
    int m_PinCount = 0;
    CBaseFilter* m_pFilter;
    LONG m_Version = 0;
    volatile LONG m_cRef = 1;
};

class CEnumMediaTypes : public IEnumMediaTypes, private CBaseObject
{
public:
    CEnumMediaTypes(CBasePin* pPin, CEnumMediaTypes* pEnumMediaTypes);
    virtual ~CEnumMediaTypes();

    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;

    STDMETHODIMP Next(ULONG cMediaTypes, AM_MEDIA_TYPE** ppMediaTypes, ULONG* pcFetched) override;
    STDMETHODIMP Skip(ULONG cMediaTypes) override;
    STDMETHODIMP Reset() override;
    STDMETHODIMP Clone(IEnumMediaTypes** ppEnum) override;

private:
    bool outOfSync() const;
    AM_MEDIA_TYPE* typeAt(int position);

    int m_Position = 0;
    CBasePin* m_pPin;
    LONG m_Version = 0;
    volatile LONG m_cRef = 1;
};
