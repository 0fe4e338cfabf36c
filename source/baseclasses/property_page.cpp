#include "property_page.h"

#include <utility>

#include "class_factory.h"

namespace {

INT_PTR CALLBACK ignoreMessage(HWND, UINT, WPARAM, LPARAM)
{
    return FALSE;
}

/// Width and height of a dialog of this module, in pixels; left as they are when it cannot be made.
void measureDialog(int id, SIZE& size)
{
    const HWND dialog = CreateDialogParamW(g_hInst, MAKEINTRESOURCEW(id), GetDesktopWindow(), ignoreMessage, LPARAM{0});
    if (!dialog)
        return;
    RECT rect{};
    if (GetWindowRect(dialog, &rect))
        size = {rect.right - rect.left, rect.bottom - rect.top};
    DestroyWindow(dialog);
}

}  // namespace

CBasePropertyPage::CBasePropertyPage(CObjectName pName, LPUNKNOWN pUnk, int DialogId, int TitleId)
    : CUnknown(pName, pUnk), m_DialogId(DialogId), m_TitleId(TitleId)
{
}

CBasePropertyPage::~CBasePropertyPage()
{
    // The derived class is gone: what the window still says must not reach it.
    if (m_Dlg) {
        SetWindowLongPtrW(m_Dlg, DWLP_USER, 0);
        DestroyWindow(m_Dlg);
    }
    if (m_pPageSite)
        m_pPageSite->Release();
}

STDMETHODIMP CBasePropertyPage::NonDelegatingQueryInterface(REFIID riid, void** ppv)
{
    if (riid == IID_IPropertyPage)
        return GetInterface(static_cast<IPropertyPage*>(this), ppv);
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT CBasePropertyPage::OnConnect(IUnknown*)
{
    return S_OK;
}

HRESULT CBasePropertyPage::OnDisconnect()
{
    return S_OK;
}

HRESULT CBasePropertyPage::OnActivate()
{
    return S_OK;
}

HRESULT CBasePropertyPage::OnDeactivate()
{
    return S_OK;
}

HRESULT CBasePropertyPage::OnApplyChanges()
{
    return S_OK;
}

INT_PTR CBasePropertyPage::OnReceiveMessage(HWND, UINT, WPARAM, LPARAM)
{
    // The dialog manager does the rest.
    return FALSE;
}

STDMETHODIMP CBasePropertyPage::SetPageSite(LPPROPERTYPAGESITE pPageSite)
{
    if ((pPageSite == nullptr) == (m_pPageSite == nullptr))
        return E_UNEXPECTED;
    if (pPageSite)
        pPageSite->AddRef();
    if (const LPPROPERTYPAGESITE old = std::exchange(m_pPageSite, pPageSite))
        old->Release();
    return S_OK;
}

STDMETHODIMP CBasePropertyPage::GetPageInfo(LPPROPPAGEINFO pPageInfo)
{
    if (!pPageInfo)
        return E_POINTER;
    WCHAR title[256] = L"";
    LoadStringW(g_hInst, static_cast<UINT>(m_TitleId), title, static_cast<int>(std::size(title)));
    *pPageInfo = {};
    pPageInfo->cb = sizeof *pPageInfo;
    measureDialog(m_DialogId, pPageInfo->size);
    return AMGetWideString(title, &pPageInfo->pszTitle);
}

STDMETHODIMP CBasePropertyPage::SetObjects(ULONG cObjects, LPUNKNOWN* ppUnk)
{
    if (cObjects > 1)
        return E_UNEXPECTED;
    if (cObjects == 0) {
        m_bObjectSet = FALSE;
        return OnDisconnect();
    }
    if (!ppUnk || !*ppUnk)
        return E_POINTER;
    const HRESULT hr = OnConnect(*ppUnk);
    m_bObjectSet = SUCCEEDED(hr);
    return hr;
}

INT_PTR CALLBACK CBasePropertyPage::DialogProc(HWND hwnd, UINT uMsg, WPARAM wParam, LPARAM lParam)
{
    if (uMsg == WM_INITDIALOG) {
        SetWindowLongPtrW(hwnd, DWLP_USER, lParam);
        reinterpret_cast<CBasePropertyPage*>(lParam)->m_hwnd = hwnd;
    }
    // Messages come before WM_INITDIALOG as well.
    auto* const page = reinterpret_cast<CBasePropertyPage*>(GetWindowLongPtrW(hwnd, DWLP_USER));
    return page ? page->OnReceiveMessage(hwnd, uMsg, wParam, lParam) : FALSE;
}

STDMETHODIMP CBasePropertyPage::Activate(HWND hwndParent, LPCRECT prect, BOOL)
{
    if (!prect)
        return E_POINTER;
    if (!m_bObjectSet || m_Dlg)
        return E_UNEXPECTED;
    m_Dlg = CreateDialogParamW(g_hInst, MAKEINTRESOURCEW(m_DialogId), hwndParent, DialogProc,
                               reinterpret_cast<LPARAM>(this));
    if (!m_Dlg) {
        m_hwnd = nullptr;
        return E_OUTOFMEMORY;
    }
    const HRESULT hr = OnActivate();
    if (FAILED(hr)) {
        DestroyWindow(std::exchange(m_Dlg, nullptr));
        m_hwnd = nullptr;
        return hr;
    }
    // Shown where it belongs only: the template makes it hidden.
    Move(prect);
    return Show(SW_SHOWNORMAL);
}

STDMETHODIMP CBasePropertyPage::Deactivate()
{
    if (!m_Dlg)
        return E_UNEXPECTED;
    OnDeactivate();
    DestroyWindow(std::exchange(m_Dlg, nullptr));
    m_hwnd = nullptr;
    return S_OK;
}

STDMETHODIMP CBasePropertyPage::Show(UINT nCmdShow)
{
    if (!m_hwnd)
        return E_UNEXPECTED;
    if (nCmdShow != SW_SHOW && nCmdShow != SW_SHOWNORMAL && nCmdShow != SW_HIDE)
        return E_INVALIDARG;
    ShowWindow(m_hwnd, static_cast<int>(nCmdShow));
    InvalidateRect(m_hwnd, nullptr, TRUE);
    return S_OK;
}

STDMETHODIMP CBasePropertyPage::Move(LPCRECT prect)
{
    if (!prect)
        return E_POINTER;
    if (!m_hwnd)
        return E_UNEXPECTED;
    MoveWindow(m_hwnd, prect->left, prect->top, prect->right - prect->left, prect->bottom - prect->top, TRUE);
    return S_OK;
}

STDMETHODIMP CBasePropertyPage::IsPageDirty()
{
    return m_bDirty ? S_OK : S_FALSE;
}

STDMETHODIMP CBasePropertyPage::Apply()
{
    if (!m_bObjectSet || !m_pPageSite)
        return E_UNEXPECTED;
    if (!m_bDirty)
        return S_OK;
    const HRESULT hr = OnApplyChanges();
    if (SUCCEEDED(hr))
        m_bDirty = FALSE;
    return hr;
}

STDMETHODIMP CBasePropertyPage::Help(LPCWSTR)
{
    return E_NOTIMPL;
}

STDMETHODIMP CBasePropertyPage::TranslateAccelerator(LPMSG)
{
    return E_NOTIMPL;
}
