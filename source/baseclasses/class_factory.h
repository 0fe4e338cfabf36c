/// @file
/// The module's classes and the entry points that COM asks for them.
#pragma once

#include "registration.h"
#include "unknown.h"

using LPFNNewCOMObject = CUnknown*(CALLBACK*)(LPUNKNOWN pUnkOuter, HRESULT* phr);
using LPFNInitRoutine = void(CALLBACK*)(BOOL bLoading, const CLSID* rclsid);

/// One class of the module; the module's table is g_Templates.
class CFactoryTemplate
{
public:
    const WCHAR* m_Name;
    const CLSID* m_ClsID;
    LPFNNewCOMObject m_lpfnNew;
    LPFNInitRoutine m_lpfnInit;                       ///< called when the module is loaded and unloaded; may be null
    const AMOVIESETUP_FILTER* m_pAMovieSetup_Filter;  ///< null for a class that is no filter

    BOOL IsClassID(REFCLSID rclsid) const { return *m_ClsID == rclsid; }
    CUnknown* CreateInstance(LPUNKNOWN pUnk, HRESULT* phr) const { return m_lpfnNew(pUnk, phr); }
};

/// Defined by the module.
extern CFactoryTemplate g_Templates[];
extern int g_cTemplates;

/// The module's handle; resources are loaded from it.
extern HINSTANCE g_hInst;

class CClassFactory : public IClassFactory, public CBaseObject
{
public:
    explicit CClassFactory(const CFactoryTemplate* pTemplate) : CBaseObject(nullptr), m_pTemplate(pTemplate) {}
    virtual ~CClassFactory() = default;

    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;

    /// Into an aggregate only as IUnknown.
    STDMETHODIMP CreateInstance(LPUNKNOWN pUnkOuter, REFIID riid, void** ppv) override;
    STDMETHODIMP LockServer(BOOL fLock) override;

    static BOOL IsLocked();

private:
    const CFactoryTemplate* const m_pTemplate;
    volatile LONG m_cRef = 0;
};
