#include "class_factory.h"

#include <algorithm>
#include <new>

CClassFactory::CClassFactory(const CFactoryTemplate* pTemplate) : CBaseObject(nullptr), m_pTemplate(pTemplate) {}

STDMETHODIMP CClassFactory::QueryInterface(REFIID riid, void** ppv)
{
    if (!ppv)
        return E_POINTER;
    if (riid == IID_IClassFactory || riid == IID_IUnknown)
        return GetInterface(this, ppv);
    *ppv = nullptr;
    return E_NOINTERFACE;
}

STDMETHODIMP_(ULONG) CClassFactory::AddRef()
{
    return static_cast<ULONG>(InterlockedIncrement(&m_cRef));
}

STDMETHODIMP_(ULONG) CClassFactory::Release()
{
    const LONG left = InterlockedDecrement(&m_cRef);
    if (left == 0)
        delete this;
    return static_cast<ULONG>(left);
}

namespace {

/// The creation function is the derived class's: what it throws must not reach the client.
CUnknown* create(const CFactoryTemplate& creator, LPUNKNOWN outer, HRESULT& hr)
{
    try {
        CUnknown* const object = creator.CreateInstance(outer, &hr);
        if (!object && SUCCEEDED(hr))
            hr = E_OUTOFMEMORY;
        return object;
    } catch (const std::bad_alloc&) {
        hr = E_OUTOFMEMORY;
    } catch (...) {
        hr = E_UNEXPECTED;
    }
    return nullptr;
}

}  // namespace

STDMETHODIMP CClassFactory::CreateInstance(LPUNKNOWN pUnkOuter, REFIID riid, void** pv)
{
    if (!pv)
        return E_POINTER;
    *pv = nullptr;
    if (pUnkOuter && riid != IID_IUnknown)
        return E_NOINTERFACE;
    HRESULT hr = S_OK;
    CUnknown* const object = create(*m_pTemplate, pUnkOuter, hr);
    if (!object)
        return hr;
    // Holds the object while it is asked; without a result it goes with this reference.
    object->NonDelegatingAddRef();
    if (SUCCEEDED(hr))
        hr = object->NonDelegatingQueryInterface(riid, pv);
    object->NonDelegatingRelease();
    return hr;
}

STDMETHODIMP CClassFactory::LockServer(BOOL fLock)
{
    // An unlock without its lock must not use up the next one's: the module would go while a client relies on it.
    LONG locks = m_cLocked;
    while ((fLock || locks > 0) && !m_cLocked.compare_exchange_weak(locks, fLock ? locks + 1 : locks - 1)) {
    }
    return S_OK;
}

STDAPI DllGetClassObject(REFCLSID rClsID, REFIID riid, LPVOID* ppv)
{
    if (!ppv)
        return E_POINTER;
    *ppv = nullptr;
    if (riid != IID_IUnknown && riid != IID_IClassFactory)
        return E_NOINTERFACE;
    const CFactoryTemplate* const end = g_Templates + g_cTemplates;
    const auto* const found =
        std::find_if(g_Templates, g_Templates + g_cTemplates, [&](const auto& t) { return t.IsClassID(rClsID); });
    if (found == end)
        return CLASS_E_CLASSNOTAVAILABLE;
    auto* const factory = new (std::nothrow) CClassFactory(found);
    if (!factory)
        return E_OUTOFMEMORY;
    return GetInterface(factory, ppv);
}

STDAPI DllCanUnloadNow()
{
    return CClassFactory::IsLocked() || CBaseObject::ObjectsActive() != 0 ? S_FALSE : S_OK;
}
