/// @file
/// What holds a property page: a window and a site.
#pragma once

#include <gtest/gtest.h>

#include <windows.h>
#include <ocidl.h>
#include <wrl/client.h>

#include <string>

#include "filter/itarnwell.h"
#include "tests/windows/support/filter_module.h"
#include "ui/resource_ids.h"

namespace zarnow::test {

/// Writes down what the page reports. Lives on the test's stack.
class FakeSite final : public IPropertyPageSite
{
public:
    STDMETHODIMP QueryInterface(REFIID riid, void** object) override
    {
        const bool known = IsEqualIID(riid, IID_IPropertyPageSite) || IsEqualIID(riid, IID_IUnknown);
        *object = known ? this : nullptr;
        references += known ? 1 : 0;
        return known ? S_OK : E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
    STDMETHODIMP_(ULONG) Release() override { return --references; }
    STDMETHODIMP OnStatusChange(DWORD status) override
    {
        statuses += status == PROPPAGESTATUS_DIRTY ? 'D' : status == PROPPAGESTATUS_VALIDATE ? 'V' : '?';
        return S_OK;
    }
    STDMETHODIMP GetLocaleID(LCID*) override { return E_NOTIMPL; }
    STDMETHODIMP GetPageContainer(IUnknown**) override { return E_NOTIMPL; }
    STDMETHODIMP TranslateAccelerator(MSG*) override { return S_FALSE; }

    std::string statuses;  ///< D dirty, V valid again
    ULONG references = 1;
};

/// A property frame with one page, in a visible window.
class PageFrame
{
public:
    PageFrame()
        // Neither captioned nor activated: where there is no window manager, Wine waits seconds for one to let such a
        // window go.
        : window_(CreateWindowExW(WS_EX_NOACTIVATE, L"STATIC", nullptr, WS_POPUP, 0, 0, 450, 300, nullptr, nullptr,
                                  nullptr, nullptr))
    {
        EXPECT_NE(nullptr, window_) << "a display is needed (xvfb-run)";
        ShowWindow(window_, SW_SHOWNOACTIVATE);
    }
    PageFrame(const PageFrame&) = delete;
    PageFrame& operator=(const PageFrame&) = delete;
    ~PageFrame()
    {
        page.Reset();
        DestroyWindow(window_);
    }

    HRESULT create(const Module& module) { return module.create(CLSID_ZarnowTSProperties, IID_PPV_ARGS(&page)); }
    /// Gives the page its site and the object, and shows it. @return the first failure
    HRESULT open(IUnknown* object)
    {
        const RECT place = {0, 0, 450, 300};
        HRESULT result = page->SetPageSite(&site);
        if (SUCCEEDED(result))
            result = page->SetObjects(1, &object);
        return SUCCEEDED(result) ? page->Activate(window_, &place, FALSE) : result;
    }
    /// @return the first failure
    HRESULT close()
    {
        HRESULT failed = S_OK;
        for (const HRESULT result : {page->Deactivate(), page->SetObjects(0, nullptr), page->SetPageSite(nullptr)})
            failed = failed != S_OK ? failed : result;
        return failed;
    }

    HWND window() const { return window_; }
    HWND dialog() const { return GetWindow(window_, GW_CHILD); }
    HWND control(int id) const { return GetDlgItem(dialog(), id); }

    /// As the user does it: the list's position, then its notification.
    void choose(int position)
    {
        SendMessageA(control(IDC_PROGRAMS), CB_SETCURSEL, static_cast<WPARAM>(position), 0);
        command(IDC_PROGRAMS, CBN_SELCHANGE);
    }
    void command(int id, WORD notification)
    {
        SendMessageA(dialog(), WM_COMMAND, MAKEWPARAM(id, notification), reinterpret_cast<LPARAM>(control(id)));
    }

    FakeSite site;
    Microsoft::WRL::ComPtr<IPropertyPage> page;

private:
    HWND window_;
};

}  // namespace zarnow::test
