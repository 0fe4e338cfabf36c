/// @file
/// Base of property pages.

#ifndef ZARNOW_BASECLASSES_PROPERTY_PAGE_H
#define ZARNOW_BASECLASSES_PROPERTY_PAGE_H

#include <windows.h>
#include <ocidl.h>

#include "unknown.h"

/// IPropertyPage over a dialog template and a title string of this module's resources.
class CBasePropertyPage : public IPropertyPage, public CUnknown
{
public:
    DECLARE_IUNKNOWN
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    /// @param DialogId  id of the dialog template
    /// @param TitleId   id of the title string
    CBasePropertyPage(CObjectName pName, LPUNKNOWN pUnk, int DialogId, int TitleId);
    ~CBasePropertyPage() override;

    // For the derived class. OnConnect and OnDisconnect come with the object that the page shows.
    virtual HRESULT OnConnect(IUnknown* pUnknown);
    virtual HRESULT OnDisconnect();
    virtual HRESULT OnActivate();
    virtual HRESULT OnDeactivate();
    virtual HRESULT OnApplyChanges();
    /// The dialog's messages.
    virtual INT_PTR OnReceiveMessage(HWND hwnd, UINT uMsg, WPARAM wParam, LPARAM lParam);

    /// A null site takes the last one away (E_UNEXPECTED when there is none); a second one is E_UNEXPECTED.
    STDMETHODIMP SetPageSite(LPPROPERTYPAGESITE pPageSite) override;
    STDMETHODIMP Activate(HWND hwndParent, LPCRECT prect, BOOL fModal) override;
    STDMETHODIMP Deactivate() override;
    STDMETHODIMP GetPageInfo(LPPROPPAGEINFO pPageInfo) override;
    /// One object connects the page, none disconnects it: E_UNEXPECTED for more, E_POINTER for a null one, else what
    /// OnConnect or OnDisconnect returns.
    STDMETHODIMP SetObjects(ULONG cObjects, LPUNKNOWN* ppUnk) override;
    STDMETHODIMP Show(UINT nCmdShow) override;
    STDMETHODIMP Move(LPCRECT prect) override;
    /// S_OK while there are changes to apply, else S_FALSE.
    STDMETHODIMP IsPageDirty() override;
    STDMETHODIMP Apply() override;
    STDMETHODIMP Help(LPCWSTR lpszHelpDir) override;
    STDMETHODIMP TranslateAccelerator(LPMSG lpMsg) override;

protected:
    LPPROPERTYPAGESITE m_pPageSite = nullptr;
    HWND m_hwnd = nullptr;  ///< the dialog's window, for OnReceiveMessage
    HWND m_Dlg = nullptr;   ///< the dialog's window while active
    int m_DialogId;
    int m_TitleId;
    BOOL m_bDirty = FALSE;
    BOOL m_bObjectSet = FALSE;

    static INT_PTR CALLBACK DialogProc(HWND hwnd, UINT uMsg, WPARAM wParam, LPARAM lParam);
};

#endif
