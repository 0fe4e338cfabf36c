/// @file
/// Base of every COM object of the framework: object count, reference count and aggregation.

#ifndef ZARNOW_BASECLASSES_UNKNOWN_H
#define ZARNOW_BASECLASSES_UNKNOWN_H

#include <windows.h>
#include <unknwn.h>
#include <cstddef>

/// The debugging name that constructors of the published classes take: accepted in either character width, or null,
/// and not kept.
struct CObjectName
{
    CObjectName(std::nullptr_t) {}
    CObjectName(const char*) {}
    CObjectName(const wchar_t*) {}
};

/// Counts the objects of this module; the module may be unloaded when none is left.
class CBaseObject
{
public:
    explicit CBaseObject(CObjectName pName);
    ~CBaseObject();
    CBaseObject(const CBaseObject&) = delete;
    CBaseObject& operator=(const CBaseObject&) = delete;

    static LONG ObjectsActive();
};

/// IUnknown of the object itself, beside the one that may delegate to an outer object. It has the shape of IUnknown,
/// so that a pointer to it can be handed out as one.
#ifndef INONDELEGATINGUNKNOWN_DEFINED
struct INonDelegatingUnknown
{
    virtual HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) = 0;
    virtual ULONG STDMETHODCALLTYPE NonDelegatingAddRef() = 0;
    virtual ULONG STDMETHODCALLTYPE NonDelegatingRelease() = 0;

protected:
    ~INonDelegatingUnknown() = default;
};
#define INONDELEGATINGUNKNOWN_DEFINED
#endif

/// Base of every object that can be aggregated. It starts with no reference; its creator takes the first one.
class CUnknown : public INonDelegatingUnknown, public CBaseObject
{
public:
    /// @param pUnk  the outer object, not counted; null: the object is its own
    CUnknown(CObjectName pName, LPUNKNOWN pUnk);
    virtual ~CUnknown() = default;

    /// The IUnknown that all the object's interfaces delegate to, not counted.
    LPUNKNOWN GetOwner() const { return m_pUnknown; }

    /// E_NOINTERFACE for everything but IUnknown, E_POINTER for a null ppv.
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) NonDelegatingAddRef() override;
    /// Deletes the object with its last reference.
    STDMETHODIMP_(ULONG) NonDelegatingRelease() override;

private:
    const LPUNKNOWN m_pUnknown;

protected:
    volatile LONG m_cRef = 0;
};

/// Stores a counted interface pointer for a QueryInterface: S_OK, or E_POINTER for a null ppv.
STDAPI GetInterface(LPUNKNOWN pUnk, void** ppv);

/// Copies a string into memory from CoTaskMemAlloc, for the caller to free.
/// @return E_POINTER for a null argument, E_OUTOFMEMORY
STDAPI AMGetWideString(LPCWSTR pszString, LPWSTR* ppszReturn);

/// IUnknown of a class derived from CUnknown, forwarding to its owner.
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

#endif
