/// @file
/// The property page of the real DLL over its filter, in a window as a property frame would hold it.
#pragma once

#include <string>

#include "tests/windows/support/filter_fixture.h"
#include "tests/windows/support/page_host.h"
#include "ui/resource_ids.h"

namespace zarnow::test {

// What the page shows of the sample with two programs; a > marks the chosen one.
inline const std::string kFirstProgram =
    "2: >Program 1 (0x1000), Program 2 (0x1001): AVC (H.264) Video (0x0100), MPEG2-ADTS Audio (0x0101)";
inline const std::string kSecondProgram =
    "2: Program 1 (0x1000), >Program 2 (0x1001): MPEG2 Video (0x0102), AC3 (0x0103)";

/// A list's lines with its choice.
inline std::string linesOf(HWND list)
{
    std::string lines;
    const LRESULT chosen = SendMessageA(list, CB_GETCURSEL, 0, 0);
    const LRESULT count = SendMessageA(list, CB_GETCOUNT, 0, 0);
    for (LRESULT line = 0; line < count; ++line) {
        char text[256] = "";
        SendMessageA(list, CB_GETLBTEXT, static_cast<WPARAM>(line), reinterpret_cast<LPARAM>(text));
        lines.append(line == 0 ? "" : ", ").append(line == chosen ? ">" : "").append(text);
    }
    return lines;
}

/// Every test ends with nothing of the module left.
class PageTest : public FilterTest
{
protected:
    /// Property frames and their file dialogs live in single-threaded apartments.
    static void SetUpTestSuite() { enterApartment(COINIT_APARTMENTTHREADED); }
    static void TearDownTestSuite() { enterApartment(COINIT_MULTITHREADED); }

    void SetUp() override
    {
        FilterTest::SetUp();
        ASSERT_HRESULT(S_OK, frame.create(module));
    }
    void TearDown() override
    {
        if (frame.dialog() != nullptr)
            close();
        EXPECT_EQ(0U, page.Reset());
        EXPECT_EQ(1U, site.references);
        FilterTest::TearDown();
    }
    void open() { ASSERT_HRESULT(S_OK, frame.open(filter.Get())); }
    void close() { EXPECT_HRESULT(S_OK, frame.close()); }

    std::string text(int id) const
    {
        char text[256] = "";
        GetDlgItemTextA(frame.dialog(), id, text, sizeof(text));
        return text;
    }
    /// The number of programs, their list, the stream lines to be seen, and whether there is something to apply.
    std::string shown() const
    {
        std::string all = text(IDC_PROGRAM_COUNT) + ": " + linesOf(frame.control(IDC_PROGRAMS));
        int line = IDC_STREAM_1;
        for (int id = IDC_STREAM_1; id <= IDC_STREAM_4; ++id) {
            if (!IsWindowVisible(frame.control(id)))
                continue;
            EXPECT_EQ(line++, id) << "a line is left out";
            all += (id == IDC_STREAM_1 ? ": " : ", ") + text(id);
        }
        return all + (page->IsPageDirty() == S_OK ? " (changed)" : "");
    }

    PageFrame frame;
    ComPtr<IPropertyPage>& page = frame.page;
    FakeSite& site = frame.site;

private:
    static void enterApartment(DWORD kind)
    {
        CoUninitialize();
        CoInitializeEx(nullptr, kind);
    }
};

}  // namespace zarnow::test
