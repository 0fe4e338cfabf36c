/// @file
/// A property page: a dialog of the module's resources in a frame of somebody else's.
#pragma once

#include <ocidl.h>

#include "unknown.h"

class CBasePropertyPage : public IPropertyPage, public CUnknown
{
public:
    DECLARE_IUNKNOWN

    /// @param DialogId, TitleId  resources of g_hInst: the dialog and the tab's text
    CBasePropertyPage(LPCTSTR pName, LPUNKNOWN pUnk, int DialogId, int TitleId);
    ~CBasePropertyPage() override;

    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) NonDelegatingAddRef() override { return CUnknown::NonDelegatingAddRef(); }
    STDMETHODIMP_(ULONG) NonDelegatingRelease() override { return CUnknown::NonDelegatingRelease(); }

    /// null takes the site away. @return E_UNEXPECTED when there is one already
    STDMETHODIMP SetPageSite(LPPROPERTYPAGESITE pPageSite) override;
    STDMETHODIMP Activate(HWND hwndParent, LPCRECT pRect, BOOL fModal) override;
    STDMETHODIMP Deactivate() override;
    STDMETHODIMP GetPageInfo(LPPROPPAGEINFO pPageInfo) override;
    /// One object, or none to take it away.
    STDMETHODIMP SetObjects(ULONG cObjects, LPUNKNOWN* ppUnk) override;
    STDMETHODIMP Show(UINT nCmdShow) override;
    STDMETHODIMP Move(LPCRECT pRect) override;
    STDMETHODIMP IsPageDirty() override { return m_bDirty ? S_OK : S_FALSE; }
    STDMETHODIMP Apply() override;
    STDMETHODIMP Help(LPCWSTR) override { return E_NOTIMPL; }
    STDMETHODIMP TranslateAccelerator(LPMSG pMsg) override;

    virtual HRESULT OnConnect(IUnknown*) { return S_OK; }
    virtual HRESULT OnDisconnect() { return S_OK; }
    virtual HRESULT OnActivate() { return S_OK; }
    virtual HRESULT OnDeactivate() { return S_OK; }
    virtual HRESULT OnApplyChanges() { return S_OK; }
    /// A message of the dialog. @return 0 for those not handled
    virtual INT_PTR OnReceiveMessage(HWND hwnd, UINT uMsg, WPARAM wParam, LPARAM lParam);

protected:
    static INT_PTR CALLBACK DialogProc(HWND hwnd, UINT uMsg, WPARAM wParam, LPARAM lParam);

    LPPROPERTYPAGESITE m_pPageSite = nullptr;  ///< counted
    HWND m_hwnd = nullptr;
    HWND m_Dlg = nullptr;
    int m_DialogId;
    int m_TitleId;
    BOOL m_bDirty = FALSE;

private:
    BOOL m_bObjectSet = FALSE;
};
