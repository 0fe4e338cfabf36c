/// @file
/// The property page of the real DLL in a window, as a property frame would hold it.
#pragma once

#include <gtest/gtest.h>

#include <windows.h>
#include <ocidl.h>

#include <string>
#include <vector>

#include "filter/itarnwell.h"
#include "tests/windows/support/filter_module.h"
#include "ui/resource_ids.h"

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

/// Empty where the code page does not have the characters.
std::string inAnsi(const std::wstring& wide);

/// Every test ends with nothing of the module left.
class PageTest : public ::testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    /// Gives the page its site and the object, and shows it.
    void open(IUnknown* object);
    void close();

    HWND dialog() const { return GetWindow(host.handle(), GW_CHILD); }
    HWND control(int id) const { return GetDlgItem(dialog(), id); }
    std::string text(int id) const;
    std::vector<std::string> programLines() const;
    LRESULT selection() const { return SendMessageA(control(IDC_PROGRAMS), CB_GETCURSEL, 0, 0); }
    /// The stream lines to be seen, from the first; a test failure when one is seen behind a hidden one.
    std::vector<std::string> streamLines() const;

    /// As the user does it: the list's position, then its notification.
    void choose(int position);
    void command(int id, WORD notification);

    Module module;
    HostWindow host;
    FakeSite site;
    ComPtr<IPropertyPage> page;
};

}  // namespace zarnow::test
