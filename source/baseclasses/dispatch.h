/// @file
/// IDispatch of the dual interfaces of the quartz type library.

#ifndef ZARNOW_BASECLASSES_DISPATCH_H
#define ZARNOW_BASECLASSES_DISPATCH_H

#include "platform.h"
#include "sync.h"

/// Type information of an interface of the platform's quartz type library, for objects that implement such an
/// interface and its IDispatch half. Loads it once, with its first use.
class CBaseDispatch
{
public:
    CBaseDispatch() = default;
    ~CBaseDispatch();
    CBaseDispatch(const CBaseDispatch&) = delete;
    CBaseDispatch& operator=(const CBaseDispatch&) = delete;

    /// There is one: S_OK or E_POINTER.
    STDMETHODIMP GetTypeInfoCount(UINT* pctinfo);
    /// @param riid     the dual interface, the same one with every call
    /// @param itinfo   0, else TYPE_E_ELEMENTNOTFOUND
    /// @param pptinfo  gets the type information, counted; null after a failure
    STDMETHODIMP GetTypeInfo(REFIID riid, UINT itinfo, LCID lcid, ITypeInfo** pptinfo);
    STDMETHODIMP GetIDsOfNames(REFIID riid, OLECHAR** rgszNames, UINT cNames, LCID lcid, DISPID* rgdispid);

private:
    HRESULT load(REFIID riid, LCID lcid);

    CCritSec m_lock;
    ITypeInfo* m_pti = nullptr;
};

#endif
