#include "tests/windows/support/page_host.h"

#include <gtest/gtest.h>

namespace zarnow::test {

STDMETHODIMP FakeSite::QueryInterface(REFIID riid, void** object)
{
    const bool known = IsEqualIID(riid, IID_IPropertyPageSite) || IsEqualIID(riid, IID_IUnknown);
    *object = known ? this : nullptr;
    if (!known)
        return E_NOINTERFACE;
    AddRef();
    return S_OK;
}

STDMETHODIMP FakeSite::OnStatusChange(DWORD status)
{
    statuses.push_back(status);
    return S_OK;
}

STDMETHODIMP FakeSite::GetLocaleID(LCID* locale)
{
    *locale = GetUserDefaultLCID();
    return S_OK;
}

HostWindow::HostWindow()
{
    // Neither captioned nor activated: where there is no window manager, Wine waits seconds for one to let such a
    // window go.
    window_ = CreateWindowExW(WS_EX_NOACTIVATE, L"STATIC", nullptr, WS_POPUP, 0, 0, 450, 300, nullptr, nullptr, nullptr,
                              nullptr);
    EXPECT_NE(nullptr, window_) << "a display is needed (xvfb-run)";
    ShowWindow(window_, SW_SHOWNOACTIVATE);
}

HostWindow::~HostWindow()
{
    DestroyWindow(window_);
}

}  // namespace zarnow::test
