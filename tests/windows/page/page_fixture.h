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
#include "tests/windows/support/page_host.h"
#include "ui/resource_ids.h"

namespace zarnow::test {

using Texts = std::vector<std::string>;
using Statuses = std::vector<DWORD>;

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
    Texts programLines() const;
    LRESULT selection() const { return SendMessageA(control(IDC_PROGRAMS), CB_GETCURSEL, 0, 0); }
    /// The stream lines to be seen, from the first; a test failure when one is seen behind a hidden one.
    Texts streamLines() const;

    /// As the user does it: the list's position, then its notification.
    void choose(int position);
    void command(int id, WORD notification);

    Module module;
    HostWindow host;
    FakeSite site;
    ComPtr<IPropertyPage> page;
};

}  // namespace zarnow::test
