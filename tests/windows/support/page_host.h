/// @file
/// What holds a property page: a window and a site.
#pragma once

#include <windows.h>
#include <ocidl.h>
#include <wrl/client.h>

#include <string>

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

    std::string statuses;  ///< D dirty, V valid again
    ULONG references = 1;
};

/// A property frame with one page, in a visible window.
class PageFrame
{
public:
    PageFrame();
    PageFrame(const PageFrame&) = delete;
    PageFrame& operator=(const PageFrame&) = delete;
    ~PageFrame();

    /// Gives the page its site and the object, and shows it. @return the first failure
    HRESULT open(IUnknown* object);
    HRESULT close();

    HWND window() const { return window_; }
    HWND dialog() const { return GetWindow(window_, GW_CHILD); }
    HWND control(int id) const { return GetDlgItem(dialog(), id); }

    /// As the user does it: the list's position, then its notification.
    void choose(int position);
    void command(int id, WORD notification);

    FakeSite site;
    Microsoft::WRL::ComPtr<IPropertyPage> page;

private:
    HWND window_;
};

}  // namespace zarnow::test
