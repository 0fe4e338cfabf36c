/// @file
/// The IDispatch half of the platform's dual interfaces.
#pragma once

#include <oaidl.h>

/// Serves from the type information in the platform's quartz type library.
class CBaseDispatch
{
public:
    CBaseDispatch() = default;
    CBaseDispatch(const CBaseDispatch&) = delete;
    CBaseDispatch& operator=(const CBaseDispatch&) = delete;
    ~CBaseDispatch();

    STDMETHODIMP GetTypeInfoCount(UINT* pctinfo);
    /// @param riid  the dual interface
    STDMETHODIMP GetTypeInfo(REFIID riid, UINT itinfo, LCID lcid, ITypeInfo** pptinfo);
    STDMETHODIMP GetIDsOfNames(REFIID riid, OLECHAR** rgszNames, UINT cNames, LCID lcid, DISPID* rgdispid);

private:
    ITypeInfo* m_pti = nullptr;  ///< once it was asked for
};
