/// @file
/// Reference counting and aggregation.
#pragma once

#include <windows.h>
#include <objbase.h>

/// Object names serve debugging only.
#define NAME(x) nullptr

#define CheckPointer(p, ret) \
    {                        \
        if ((p) == nullptr)  \
            return (ret);    \
    }

/// The object's own IUnknown, under other names: the one that does not delegate to an aggregating object. Its slots
/// lie like IUnknown's.
struct INonDelegatingUnknown
{
    virtual HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) = 0;
    virtual ULONG STDMETHODCALLTYPE NonDelegatingAddRef() = 0;
    virtual ULONG STDMETHODCALLTYPE NonDelegatingRelease() = 0;

protected:
    ~INonDelegatingUnknown() = default;
};

/// Counts the module's objects, so that it is not unloaded while one exists.
class CBaseObject
{
public:
    explicit CBaseObject(LPCTSTR pName);
    CBaseObject(const CBaseObject&) = delete;
    CBaseObject& operator=(const CBaseObject&) = delete;
    ~CBaseObject();

    static LONG ObjectsActive();
};

class CUnknown : public INonDelegatingUnknown, public CBaseObject
{
public:
    /// @param pUnk  the aggregating object, or null
    CUnknown(LPCTSTR pName, LPUNKNOWN pUnk);
    CUnknown(LPCTSTR pName, LPUNKNOWN pUnk, HRESULT* phr);
    virtual ~CUnknown() = default;

    /// Where the interfaces' IUnknown methods go: the aggregating object, or this one. Not counted.
    LPUNKNOWN GetOwner() const { return m_pUnknown; }

    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) NonDelegatingAddRef() override;
    STDMETHODIMP_(ULONG) NonDelegatingRelease() override;

protected:
    volatile LONG m_cRef = 0;

private:
    const LPUNKNOWN m_pUnknown;
};

/// Hands out an interface with a reference. @return E_POINTER when ppv is null
STDAPI GetInterface(LPUNKNOWN pUnk, void** ppv);

/// The IUnknown methods of an object's interfaces.
#define DECLARE_IUNKNOWN                                 \
    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) \
    {                                                    \
        return GetOwner()->QueryInterface(riid, ppv);    \
    }                                                    \
    STDMETHODIMP_(ULONG) AddRef()                        \
    {                                                    \
        return GetOwner()->AddRef();                     \
    }                                                    \
    STDMETHODIMP_(ULONG) Release()                       \
    {                                                    \
        return GetOwner()->Release();                    \
    }

/// A copy of a wide string in CoTaskMemAlloc's memory.
STDAPI AMGetWideString(LPCWSTR pszString, LPWSTR* ppszReturn);
