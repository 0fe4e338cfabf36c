#include "tests/windows/page/page_fixture.h"

namespace zarnow::test {

namespace {

/// Property frames and their file dialogs live in single-threaded apartments.
class SingleThreadedApartment final : public ::testing::Environment
{
public:
    void SetUp() override
    {
        CoUninitialize();
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    }
};

const auto* const apartment = ::testing::AddGlobalTestEnvironment(new SingleThreadedApartment);  // GoogleTest owns it

}  // namespace

std::string inAnsi(const std::wstring& wide)
{
    char ansi[MAX_PATH] = "";
    BOOL replaced = FALSE;
    WideCharToMultiByte(CP_ACP, 0, wide.c_str(), -1, ansi, sizeof(ansi), nullptr, &replaced);
    return replaced ? "" : ansi;
}

void PageTest::SetUp()
{
    const ComPtr<IUnknown> object = module.create(CLSID_ZarnowTSProperties);
    ASSERT_NE(nullptr, object);
    page = query<IPropertyPage>(object.Get());
}

void PageTest::TearDown()
{
    if (dialog() != nullptr)
        close();
    EXPECT_EQ(0U, page.Reset());
    EXPECT_EQ(1U, site.references);
    EXPECT_HRESULT(S_OK, module.canUnload());
}

void PageTest::open(IUnknown* object)
{
    ASSERT_HRESULT(S_OK, page->SetPageSite(&site));
    ASSERT_HRESULT(S_OK, page->SetObjects(1, &object));
    const RECT place = {0, 0, 450, 300};
    ASSERT_HRESULT(S_OK, page->Activate(host.handle(), &place, FALSE));
    ASSERT_HRESULT(S_OK, page->Show(SW_SHOW));
}

void PageTest::close()
{
    EXPECT_HRESULT(S_OK, page->Deactivate());
    EXPECT_HRESULT(S_OK, page->SetObjects(0, nullptr));
    EXPECT_HRESULT(S_OK, page->SetPageSite(nullptr));
}

std::string PageTest::text(int id) const
{
    char text[1024] = "";
    GetDlgItemTextA(dialog(), id, text, sizeof(text));
    return text;
}

std::vector<std::string> PageTest::programLines() const
{
    std::vector<std::string> lines;
    const LRESULT count = SendMessageA(control(IDC_PROGRAMS), CB_GETCOUNT, 0, 0);
    for (LRESULT line = 0; line < count; ++line) {
        char text[256] = "";
        SendMessageA(control(IDC_PROGRAMS), CB_GETLBTEXT, static_cast<WPARAM>(line), reinterpret_cast<LPARAM>(text));
        lines.emplace_back(text);
    }
    return lines;
}

std::vector<std::string> PageTest::streamLines() const
{
    std::vector<std::string> lines;
    bool hidden = false;
    for (int id = IDC_STREAM_1; id <= IDC_STREAM_4; ++id) {
        const bool visible = IsWindowVisible(control(id)) != FALSE;
        EXPECT_FALSE(hidden && visible) << "a line is left out before control " << id;
        hidden = !visible;
        if (visible)
            lines.push_back(text(id));
    }
    return lines;
}

void PageTest::choose(int position)
{
    SendMessageA(control(IDC_PROGRAMS), CB_SETCURSEL, static_cast<WPARAM>(position), 0);
    command(IDC_PROGRAMS, CBN_SELCHANGE);
}

void PageTest::command(int id, WORD notification)
{
    SendMessageA(dialog(), WM_COMMAND, MAKEWPARAM(id, notification), reinterpret_cast<LPARAM>(control(id)));
}

}  // namespace zarnow::test
