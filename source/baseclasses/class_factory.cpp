#include "streams.h"

#include <new>

namespace {

volatile LONG g_locks = 0;

void initClasses(BOOL loading)
{
    for (int i = 0; i < g_cTemplates; ++i) {
        if (g_Templates[i].m_lpfnInit != nullptr)
            g_Templates[i].m_lpfnInit(loading, g_Templates[i].m_ClsID);
    }
}

}  // namespace

STDMETHODIMP CClassFactory::QueryInterface(REFIID riid, void** ppv)
{
    CheckPointer(ppv, E_POINTER);
    if (riid == IID_IUnknown || riid == IID_IClassFactory)
        return GetInterface(static_cast<IClassFactory*>(this), ppv);
    *ppv = nullptr;
    return E_NOINTERFACE;
}

STDMETHODIMP_(ULONG) CClassFactory::AddRef()
{
    return static_cast<ULONG>(InterlockedIncrement(&m_cRef));
}

STDMETHODIMP_(ULONG) CClassFactory::Release()
{
    const LONG count = InterlockedDecrement(&m_cRef);
    if (count == 0)
        delete this;
    return static_cast<ULONG>(count);
}

STDMETHODIMP CClassFactory::CreateInstance(LPUNKNOWN pUnkOuter, REFIID riid, void** ppv)
{
    CheckPointer(ppv, E_POINTER);
    *ppv = nullptr;
    if (pUnkOuter != nullptr && riid != IID_IUnknown)
        return E_NOINTERFACE;
    HRESULT result = S_OK;
    CUnknown* object = m_pTemplate->CreateInstance(pUnkOuter, &result);
    if (object == nullptr)
        return SUCCEEDED(result) ? E_OUTOFMEMORY : result;
    object->NonDelegatingAddRef();
    if (SUCCEEDED(result))
        result = object->NonDelegatingQueryInterface(riid, ppv);
    object->NonDelegatingRelease();
    return result;
}

STDMETHODIMP CClassFactory::LockServer(BOOL fLock)
{
    if (fLock)
        InterlockedIncrement(&g_locks);
    else
        InterlockedDecrement(&g_locks);
    return S_OK;
}

BOOL CClassFactory::IsLocked()
{
    return g_locks > 0;
}

STDAPI DllGetClassObject(REFCLSID rclsid, REFIID riid, void** ppv)
{
    CheckPointer(ppv, E_POINTER);
    *ppv = nullptr;
    if (riid != IID_IUnknown && riid != IID_IClassFactory)
        return E_NOINTERFACE;
    for (int i = 0; i < g_cTemplates; ++i) {
        if (!g_Templates[i].IsClassID(rclsid))
            continue;
        auto* factory = new (std::nothrow) CClassFactory(&g_Templates[i]);
        return factory != nullptr ? GetInterface(factory, ppv) : E_OUTOFMEMORY;
    }
    return CLASS_E_CLASSNOTAVAILABLE;
}

STDAPI DllCanUnloadNow()
{
    return CClassFactory::IsLocked() || CBaseObject::ObjectsActive() > 0 ? S_FALSE : S_OK;
}

extern "C" BOOL WINAPI DllMain(HINSTANCE hInstance, DWORD reason, LPVOID)
{
    if (reason == DLL_PROCESS_ATTACH) {
        g_hInst = hInstance;
        DisableThreadLibraryCalls(hInstance);
        initClasses(TRUE);
    } else if (reason == DLL_PROCESS_DETACH) {
        initClasses(FALSE);
    }
    return TRUE;
}
