#include "unknown.h"

#include <atomic>
#include <cstring>
#include <cwchar>

namespace {

std::atomic<LONG> activeObjects{0};

}  // namespace

CBaseObject::CBaseObject(CObjectName)
{
    activeObjects.fetch_add(1, std::memory_order_relaxed);
}

CBaseObject::~CBaseObject()
{
    activeObjects.fetch_sub(1, std::memory_order_release);
}

LONG CBaseObject::ObjectsActive()
{
    return activeObjects.load(std::memory_order_acquire);
}

CUnknown::CUnknown(CObjectName pName, LPUNKNOWN pUnk)
    // The own non-delegating interface has the shape of IUnknown (see there).
    : CBaseObject(pName),
      m_pUnknown(pUnk ? pUnk : reinterpret_cast<LPUNKNOWN>(static_cast<INonDelegatingUnknown*>(this)))
{
}

STDMETHODIMP CUnknown::NonDelegatingQueryInterface(REFIID riid, void** ppv)
{
    if (!ppv)
        return E_POINTER;
    if (riid == IID_IUnknown)
        return GetInterface(reinterpret_cast<LPUNKNOWN>(static_cast<INonDelegatingUnknown*>(this)), ppv);
    *ppv = nullptr;
    return E_NOINTERFACE;
}

STDMETHODIMP_(ULONG) CUnknown::NonDelegatingAddRef()
{
    return static_cast<ULONG>(InterlockedIncrement(&m_cRef));
}

STDMETHODIMP_(ULONG) CUnknown::NonDelegatingRelease()
{
    const LONG left = InterlockedDecrement(&m_cRef);
    if (left != 0)
        return static_cast<ULONG>(left);
    // Destructors take and drop references on their own object; they must not bring the count to zero again.
    InterlockedIncrement(&m_cRef);
    delete this;
    return 0;
}

STDAPI GetInterface(LPUNKNOWN pUnk, void** ppv)
{
    if (!ppv)
        return E_POINTER;
    *ppv = pUnk;
    pUnk->AddRef();
    return S_OK;
}

STDAPI AMGetWideString(LPCWSTR pszString, LPWSTR* ppszReturn)
{
    if (!pszString || !ppszReturn)
        return E_POINTER;
    const std::size_t bytes = (std::wcslen(pszString) + 1) * sizeof(WCHAR);
    *ppszReturn = static_cast<LPWSTR>(CoTaskMemAlloc(bytes));
    if (!*ppszReturn)
        return E_OUTOFMEMORY;
    std::memcpy(*ppszReturn, pszString, bytes);
    return S_OK;
}
