#include "streams.h"

#include <cwchar>

namespace {

volatile LONG g_objects = 0;

}  // namespace

CBaseObject::CBaseObject(LPCTSTR)
{
    InterlockedIncrement(&g_objects);
}

CBaseObject::~CBaseObject()
{
    InterlockedDecrement(&g_objects);
}

LONG CBaseObject::ObjectsActive()
{
    return g_objects;
}

CUnknown::CUnknown(LPCTSTR pName, LPUNKNOWN pUnk)
    : CBaseObject(pName),
      m_pUnknown(pUnk != nullptr ? pUnk : reinterpret_cast<LPUNKNOWN>(static_cast<INonDelegatingUnknown*>(this)))
{
}

CUnknown::CUnknown(LPCTSTR pName, LPUNKNOWN pUnk, HRESULT*) : CUnknown(pName, pUnk) {}

STDMETHODIMP CUnknown::NonDelegatingQueryInterface(REFIID riid, void** ppv)
{
    CheckPointer(ppv, E_POINTER);
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
    const LONG count = InterlockedDecrement(&m_cRef);
    if (count == 0) {
        m_cRef = 1;  // a reference taken and given back by the destructor must not end in here again
        delete this;
    }
    return static_cast<ULONG>(count);
}

STDAPI GetInterface(LPUNKNOWN pUnk, void** ppv)
{
    CheckPointer(ppv, E_POINTER);
    *ppv = pUnk;
    pUnk->AddRef();
    return S_OK;
}

STDAPI AMGetWideString(LPCWSTR pszString, LPWSTR* ppszReturn)
{
    CheckPointer(ppszReturn, E_POINTER);
    *ppszReturn = nullptr;
    CheckPointer(pszString, E_POINTER);
    const size_t size = (wcslen(pszString) + 1) * sizeof(wchar_t);
    *ppszReturn = static_cast<LPWSTR>(CoTaskMemAlloc(size));
    CheckPointer(*ppszReturn, E_OUTOFMEMORY);
    memcpy(*ppszReturn, pszString, size);
    return S_OK;
}
