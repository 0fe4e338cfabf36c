/// @file
/// What holds a property page: a window and a site.
#pragma once

#include <windows.h>
#include <ocidl.h>

#include <vector>

namespace zarnow::test {

/// Writes down what the page reports. Lives on the test's stack.
class FakeSite final : public IPropertyPageSite
{
public:
    STDMETHODIMP QueryInterface(REFIID riid, void** object) override;
    STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
    STDMETHODIMP_(ULONG) Release() override { return --references; }
    STDMETHODIMP OnStatusChange(DWORD status) override;
    STDMETHODIMP GetLocaleID(LCID* locale) override;
    STDMETHODIMP GetPageContainer(IUnknown**) override { return E_NOTIMPL; }
    STDMETHODIMP TranslateAccelerator(MSG*) override { return S_FALSE; }

    std::vector<DWORD> statuses;
    ULONG references = 1;
};

/// A visible top-level window.
class HostWindow
{
public:
    HostWindow();
    HostWindow(const HostWindow&) = delete;
    HostWindow& operator=(const HostWindow&) = delete;
    ~HostWindow();

    HWND handle() const { return window_; }

private:
    HWND window_;
};

}  // namespace zarnow::test
