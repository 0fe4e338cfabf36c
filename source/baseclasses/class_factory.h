/// @file
/// Class factory over a table of templates, and the entry points of a COM in-process server.
///
/// A DLL that links this library defines g_Templates and g_cTemplates and exports DllGetClassObject and
/// DllCanUnloadNow. A program that does not refer to these needs no table.

#ifndef ZARNOW_BASECLASSES_CLASS_FACTORY_H
#define ZARNOW_BASECLASSES_CLASS_FACTORY_H

#include <windows.h>
#include <atomic>

#include "setup_data.h"
#include "unknown.h"

/// Makes an object; the outer object (may be null) is not counted. A failure goes to *phr.
using LPFNNewCOMObject = CUnknown*(CALLBACK*)(LPUNKNOWN pUnkOuter, HRESULT* phr);
/// Of the published layout; no class here needs one, and none is called.
using LPFNInitRoutine = void(CALLBACK*)(BOOL bLoading, const CLSID* rclsid);

/// One class of the module. Aggregate-initialised in this order.
class CFactoryTemplate
{
public:
    const WCHAR* m_Name;
    const CLSID* m_ClsID;
    LPFNNewCOMObject m_lpfnNew;
    LPFNInitRoutine m_lpfnInit;
    const AMOVIESETUP_FILTER* m_pAMovieSetup_Filter;

    BOOL IsClassID(REFCLSID rclsid) const { return IsEqualCLSID(*m_ClsID, rclsid); }
    CUnknown* CreateInstance(LPUNKNOWN pUnk, HRESULT* phr) const { return m_lpfnNew(pUnk, phr); }
};

extern CFactoryTemplate g_Templates[];
extern int g_cTemplates;

/// The module: set by DllEntryPoint; null in a program, which stands for the program itself.
extern HINSTANCE g_hInst;

/// Makes objects of one template. An aggregated one is asked for by IID_IUnknown: E_NOINTERFACE else.
class CClassFactory : public IClassFactory, public CBaseObject
{
public:
    explicit CClassFactory(const CFactoryTemplate* pTemplate);
    virtual ~CClassFactory() = default;

    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;

    STDMETHODIMP CreateInstance(LPUNKNOWN pUnkOuter, REFIID riid, void** pv) override;
    STDMETHODIMP LockServer(BOOL fLock) override;

    /// Whether a lock keeps the module loaded.
    static BOOL IsLocked() { return m_cLocked != 0; }

private:
    const CFactoryTemplate* const m_pTemplate;
    LONG m_cRef = 0;
    static inline std::atomic<LONG> m_cLocked{0};
};

/// Entry point of the module, which DllMain calls: notes the module.
extern "C" BOOL WINAPI DllEntryPoint(HINSTANCE hInstance, ULONG ulReason, LPVOID pv);

#endif
