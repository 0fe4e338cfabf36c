#include "streams.h"

namespace {

/// Quartz, version 1.0
constexpr GUID kQuartzLibrary = {0x56a868b0, 0x0ad4, 0x11ce, {0xb0, 0x3a, 0x00, 0x20, 0xaf, 0x0b, 0xa7, 0x70}};

HRESULT loadTypeInfo(REFIID riid, LCID lcid, ITypeInfo** information)
{
    ITypeLib* library = nullptr;
    HRESULT result = LoadRegTypeLib(kQuartzLibrary, 1, 0, lcid, &library);
    if (FAILED(result))
        return result;
    result = library->GetTypeInfoOfGuid(riid, information);
    library->Release();
    return result;
}

}  // namespace

CBaseDispatch::~CBaseDispatch()
{
    if (m_pti != nullptr)
        m_pti->Release();
}

STDMETHODIMP CBaseDispatch::GetTypeInfoCount(UINT* pctinfo)
{
    CheckPointer(pctinfo, E_POINTER);
    *pctinfo = 1;
    return S_OK;
}

STDMETHODIMP CBaseDispatch::GetTypeInfo(REFIID riid, UINT itinfo, LCID lcid, ITypeInfo** pptinfo)
{
    CheckPointer(pptinfo, E_POINTER);
    *pptinfo = nullptr;
    if (itinfo != 0)
        return TYPE_E_ELEMENTNOTFOUND;
    if (m_pti == nullptr) {
        ITypeInfo* loaded = nullptr;
        if (const HRESULT result = loadTypeInfo(riid, lcid, &loaded); FAILED(result))
            return result;
        // Whoever comes first keeps his; two threads may ask at once.
        if (InterlockedCompareExchangePointer(reinterpret_cast<void**>(&m_pti), loaded, nullptr) != nullptr)
            loaded->Release();
    }
    *pptinfo = m_pti;
    m_pti->AddRef();
    return S_OK;
}

STDMETHODIMP CBaseDispatch::GetIDsOfNames(REFIID riid, OLECHAR** rgszNames, UINT cNames, LCID lcid, DISPID* rgdispid)
{
    ITypeInfo* information = nullptr;
    HRESULT result = GetTypeInfo(riid, 0, lcid, &information);
    if (FAILED(result))
        return result;
    result = information->GetIDsOfNames(rgszNames, cNames, rgdispid);
    information->Release();
    return result;
}
