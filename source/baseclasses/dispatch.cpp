#include "dispatch.h"

#include "com_ptr.h"

CBaseDispatch::~CBaseDispatch()
{
    if (m_pti)
        m_pti->Release();
}

STDMETHODIMP CBaseDispatch::GetTypeInfoCount(UINT* pctinfo)
{
    if (!pctinfo)
        return E_POINTER;
    *pctinfo = 1;
    return S_OK;
}

STDMETHODIMP CBaseDispatch::GetTypeInfo(REFIID riid, UINT itinfo, LCID lcid, ITypeInfo** pptinfo)
{
    if (!pptinfo)
        return E_POINTER;
    *pptinfo = nullptr;
    if (itinfo != 0)
        return TYPE_E_ELEMENTNOTFOUND;
    const HRESULT hr = load(riid, lcid);
    if (FAILED(hr))
        return hr;
    *pptinfo = m_pti;
    m_pti->AddRef();
    return S_OK;
}

HRESULT CBaseDispatch::load(REFIID riid, LCID lcid)
{
    CAutoLock lock(&m_lock);
    if (m_pti)
        return S_OK;
    ComPtr<ITypeLib> library;
    const HRESULT hr = LoadRegTypeLib(LIBID_QuartzTypeLib, 1, 0, lcid, library.put());
    return FAILED(hr) ? hr : library->GetTypeInfoOfGuid(riid, &m_pti);
}

STDMETHODIMP CBaseDispatch::GetIDsOfNames(REFIID riid, OLECHAR** rgszNames, UINT cNames, LCID lcid, DISPID* rgdispid)
{
    if (!rgszNames || !rgdispid)
        return E_POINTER;
    ComPtr<ITypeInfo> info;
    const HRESULT hr = GetTypeInfo(riid, 0, lcid, info.put());
    return FAILED(hr) ? hr : info->GetIDsOfNames(rgszNames, cNames, rgdispid);
}
