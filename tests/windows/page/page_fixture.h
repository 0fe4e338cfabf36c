/// @file
/// The property page of the real DLL over its filter, in a window as a property frame would hold it.
#pragma once

#include <string>
#include <vector>

#include "tests/windows/support/filter_fixture.h"
#include "tests/windows/support/page_host.h"
#include "ui/resource_ids.h"

namespace zarnow::test {

using Texts = std::vector<std::string>;
using Statuses = std::vector<DWORD>;

/// Every test ends with nothing of the module left.
class PageTest : public FilterTest
{
protected:
    /// Property frames and their file dialogs live in single-threaded apartments.
    static void SetUpTestSuite() { enterApartment(COINIT_APARTMENTTHREADED); }
    static void TearDownTestSuite() { enterApartment(COINIT_MULTITHREADED); }
    void SetUp() override;
    void TearDown() override;

    void open() { ASSERT_HRESULT(S_OK, frame.open(filter.Get())); }
    void close() { EXPECT_HRESULT(S_OK, frame.close()); }

    std::string text(int id) const;
    Texts programLines() const;
    LRESULT selection() const { return SendMessageA(frame.control(IDC_PROGRAMS), CB_GETCURSEL, 0, 0); }
    /// The stream lines to be seen, from the first; a test failure when one is seen behind a hidden one.
    Texts streamLines() const;

    PageFrame frame;
    ComPtr<IPropertyPage>& page = frame.page;
    FakeSite& site = frame.site;

private:
    static void enterApartment(DWORD kind);
};

}  // namespace zarnow::test
