#include "tests/windows/page/page_fixture.h"

namespace zarnow::test {

void PageTest::enterApartment(DWORD kind)
{
    CoUninitialize();
    CoInitializeEx(nullptr, kind);
}

void PageTest::SetUp()
{
    FilterTest::SetUp();
    ASSERT_HRESULT(S_OK, module.create(CLSID_ZarnowTSProperties, IID_PPV_ARGS(&page)));
}

void PageTest::TearDown()
{
    if (frame.dialog() != nullptr)
        close();
    EXPECT_EQ(0U, page.Reset());
    EXPECT_EQ(1U, site.references);
    FilterTest::TearDown();
}

std::string PageTest::text(int id) const
{
    char text[256] = "";
    GetDlgItemTextA(frame.dialog(), id, text, sizeof(text));
    return text;
}

Texts PageTest::programLines() const
{
    Texts lines;
    const HWND list = frame.control(IDC_PROGRAMS);
    const auto count = static_cast<WPARAM>(SendMessageA(list, CB_GETCOUNT, 0, 0));
    for (WPARAM line = 0; line < count; ++line) {
        char text[256] = "";
        SendMessageA(list, CB_GETLBTEXT, line, reinterpret_cast<LPARAM>(text));
        lines.emplace_back(text);
    }
    return lines;
}

Texts PageTest::streamLines() const
{
    Texts lines;
    bool hidden = false;
    for (int id = IDC_STREAM_1; id <= IDC_STREAM_4; ++id) {
        const bool visible = IsWindowVisible(frame.control(id)) != FALSE;
        EXPECT_FALSE(hidden && visible) << "a line is left out before control " << id;
        hidden = !visible;
        if (visible)
            lines.push_back(text(id));
    }
    return lines;
}

}  // namespace zarnow::test
