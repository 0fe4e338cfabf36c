#include "streams.h"

#include <array>

namespace {

constexpr SIZE kUnmeasuredSize = {340, 150};

INT_PTR CALLBACK ignoreMessages(HWND, UINT, WPARAM, LPARAM)
{
    return FALSE;
}

/// In pixels, as the dialog's font makes it.
SIZE dialogSize(int dialogId)
{
    HWND dialog = CreateDialogParamW(g_hInst, MAKEINTRESOURCEW(dialogId), GetDesktopWindow(), ignoreMessages, 0);
    if (dialog == nullptr)
        return kUnmeasuredSize;
    RECT place = {};
    GetWindowRect(dialog, &place);
    DestroyWindow(dialog);
    return {place.right - place.left, place.bottom - place.top};
}

/// Lets the TAB key go through the page's controls while the page is in a frame.
void setControlParent(HWND window, bool on)
{
    if (window == nullptr)
        return;
    const LONG_PTR style = GetWindowLongPtrW(window, GWL_EXSTYLE);
    const LONG_PTR bit = WS_EX_CONTROLPARENT;
    SetWindowLongPtrW(window, GWL_EXSTYLE, on ? style | bit : style & ~bit);
}

}  // namespace

CBasePropertyPage::CBasePropertyPage(LPCTSTR pName, LPUNKNOWN pUnk, int DialogId, int TitleId)
    : CUnknown(pName, pUnk), m_DialogId(DialogId), m_TitleId(TitleId)
{
}

CBasePropertyPage::~CBasePropertyPage()
{
    if (m_hwnd != nullptr)
        DestroyWindow(m_hwnd);
    if (m_pPageSite != nullptr)
        m_pPageSite->Release();
}

STDMETHODIMP CBasePropertyPage::NonDelegatingQueryInterface(REFIID riid, void** ppv)
{
    if (riid == IID_IPropertyPage)
        return GetInterface(static_cast<IPropertyPage*>(this), ppv);
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

STDMETHODIMP CBasePropertyPage::SetPageSite(LPPROPERTYPAGESITE pPageSite)
{
    if (pPageSite == nullptr) {
        if (m_pPageSite != nullptr)
            m_pPageSite->Release();
        m_pPageSite = nullptr;
        return S_OK;
    }
    if (m_pPageSite != nullptr)
        return E_UNEXPECTED;
    m_pPageSite = pPageSite;
    m_pPageSite->AddRef();
    return S_OK;
}

STDMETHODIMP CBasePropertyPage::GetPageInfo(LPPROPPAGEINFO pPageInfo)
{
    CheckPointer(pPageInfo, E_POINTER);
    std::array<wchar_t, 256> title{};
    LoadStringW(g_hInst, static_cast<UINT>(m_TitleId), title.data(), static_cast<int>(title.size()));
    LPWSTR copy = nullptr;
    if (const HRESULT result = AMGetWideString(title.data(), &copy); FAILED(result))
        return result;
    *pPageInfo = {};
    pPageInfo->cb = sizeof(PROPPAGEINFO);
    pPageInfo->pszTitle = copy;
    pPageInfo->size = dialogSize(m_DialogId);
    return S_OK;
}

STDMETHODIMP CBasePropertyPage::SetObjects(ULONG cObjects, LPUNKNOWN* ppUnk)
{
    if (cObjects == 0) {
        m_bObjectSet = FALSE;
        return OnDisconnect();
    }
    if (cObjects != 1)
        return E_UNEXPECTED;
    CheckPointer(ppUnk, E_POINTER);
    CheckPointer(*ppUnk, E_POINTER);
    const HRESULT result = OnConnect(*ppUnk);
    m_bObjectSet = SUCCEEDED(result);
    return result;
}

STDMETHODIMP CBasePropertyPage::Activate(HWND hwndParent, LPCRECT pRect, BOOL)
{
    CheckPointer(pRect, E_POINTER);
    if (!m_bObjectSet || m_hwnd != nullptr)
        return E_UNEXPECTED;
    m_Dlg = CreateDialogParamW(g_hInst, MAKEINTRESOURCEW(m_DialogId), hwndParent, DialogProc,
                               reinterpret_cast<LPARAM>(this));
    CheckPointer(m_Dlg, E_OUTOFMEMORY);
    m_hwnd = m_Dlg;
    setControlParent(hwndParent, true);
    OnActivate();
    Move(pRect);
    return Show(SW_SHOWNORMAL);
}

STDMETHODIMP CBasePropertyPage::Deactivate()
{
    CheckPointer(m_hwnd, E_UNEXPECTED);
    setControlParent(GetParent(m_hwnd), false);
    OnDeactivate();
    DestroyWindow(m_hwnd);
    m_hwnd = nullptr;
    m_Dlg = nullptr;
    return S_OK;
}

STDMETHODIMP CBasePropertyPage::Show(UINT nCmdShow)
{
    CheckPointer(m_hwnd, E_UNEXPECTED);
    if (nCmdShow != SW_SHOW && nCmdShow != SW_SHOWNORMAL && nCmdShow != SW_HIDE)
        return E_INVALIDARG;
    ShowWindow(m_hwnd, static_cast<int>(nCmdShow));
    InvalidateRect(m_hwnd, nullptr, TRUE);
    return S_OK;
}

STDMETHODIMP CBasePropertyPage::Move(LPCRECT pRect)
{
    CheckPointer(pRect, E_POINTER);
    CheckPointer(m_hwnd, E_UNEXPECTED);
    MoveWindow(m_hwnd, pRect->left, pRect->top, pRect->right - pRect->left, pRect->bottom - pRect->top, TRUE);
    return S_OK;
}

STDMETHODIMP CBasePropertyPage::Apply()
{
    if (!m_bObjectSet || m_pPageSite == nullptr)
        return E_UNEXPECTED;
    if (!m_bDirty)
        return S_OK;
    const HRESULT result = OnApplyChanges();
    if (SUCCEEDED(result))
        m_bDirty = FALSE;
    return result;
}

STDMETHODIMP CBasePropertyPage::TranslateAccelerator(LPMSG pMsg)
{
    CheckPointer(pMsg, E_POINTER);
    CheckPointer(m_hwnd, E_UNEXPECTED);
    return IsDialogMessageW(m_hwnd, pMsg) ? S_OK : S_FALSE;
}

INT_PTR CBasePropertyPage::OnReceiveMessage(HWND, UINT, WPARAM, LPARAM)
{
    return FALSE;
}

INT_PTR CALLBACK CBasePropertyPage::DialogProc(HWND hwnd, UINT uMsg, WPARAM wParam, LPARAM lParam)
{
    if (uMsg == WM_INITDIALOG) {
        reinterpret_cast<CBasePropertyPage*>(lParam)->m_hwnd = hwnd;
        SetWindowLongPtrW(hwnd, DWLP_USER, lParam);
    }
    auto* page = reinterpret_cast<CBasePropertyPage*>(GetWindowLongPtrW(hwnd, DWLP_USER));
    return page != nullptr ? page->OnReceiveMessage(hwnd, uMsg, wParam, lParam) : FALSE;
}
