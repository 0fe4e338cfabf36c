#include "tests/windows/support/page_host.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "ui/resource_ids.h"

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
    statuses += status == PROPPAGESTATUS_DIRTY ? 'D' : status == PROPPAGESTATUS_VALIDATE ? 'V' : '?';
    return S_OK;
}

STDMETHODIMP FakeSite::GetLocaleID(LCID* locale)
{
    *locale = GetUserDefaultLCID();
    return S_OK;
}

PageFrame::PageFrame()
    // Neither captioned nor activated: where there is no window manager, Wine waits seconds for one to let such a
    // window go.
    : window_(CreateWindowExW(WS_EX_NOACTIVATE, L"STATIC", nullptr, WS_POPUP, 0, 0, 450, 300, nullptr, nullptr, nullptr,
                              nullptr))
{
    EXPECT_NE(nullptr, window_) << "a display is needed (xvfb-run)";
    ShowWindow(window_, SW_SHOWNOACTIVATE);
}

PageFrame::~PageFrame()
{
    page.Reset();
    DestroyWindow(window_);
}

HRESULT PageFrame::open(IUnknown* object)
{
    const RECT place = {0, 0, 450, 300};
    HRESULT result = page->SetPageSite(&site);
    if (SUCCEEDED(result))
        result = page->SetObjects(1, &object);
    return SUCCEEDED(result) ? page->Activate(window_, &place, FALSE) : result;
}

HRESULT PageFrame::close()
{
    const HRESULT results[] = {page->Deactivate(), page->SetObjects(0, nullptr), page->SetPageSite(nullptr)};
    const auto* failed = std::ranges::find_if(results, [](HRESULT result) { return result != S_OK; });
    return failed != std::end(results) ? *failed : S_OK;
}

void PageFrame::choose(int position)
{
    SendMessageA(control(IDC_PROGRAMS), CB_SETCURSEL, static_cast<WPARAM>(position), 0);
    command(IDC_PROGRAMS, CBN_SELCHANGE);
}

void PageFrame::command(int id, WORD notification)
{
    SendMessageA(dialog(), WM_COMMAND, MAKEWPARAM(id, notification), reinterpret_cast<LPARAM>(control(id)));
}

}  // namespace zarnow::test
