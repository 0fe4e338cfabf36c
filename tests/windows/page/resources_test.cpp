// The module's resources as other programs see them: the dialog, the title, the version.

#include <algorithm>

#include "tests/windows/page/page_fixture.h"

namespace zarnow::test {

namespace {

struct Control
{
    int id;
    const wchar_t* windowClass;
    const wchar_t* text;
    RECT place;   // x, y, width and height in dialog units
    DWORD style;  // without those that the system's own controls add and take away
};

constexpr DWORD kLabel = WS_VISIBLE | WS_GROUP | SS_LEFT;
constexpr DWORD kHiddenLine = WS_GROUP | SS_LEFT | SS_SUNKEN;

const Control kControls[] = {
    {-1, L"Static", L"Number of Programs:", {22, 14, 72, 8}, kLabel},
    {1029, L"Edit", L"", {92, 11, 25, 14}, WS_VISIBLE | WS_TABSTOP | ES_AUTOHSCROLL},
    {-1, L"Static", L"Play Program:", {22, 33, 44, 8}, kLabel},
    {1030, L"ComboBox", L"", {72, 30, 106, 86}, WS_VISIBLE | WS_TABSTOP | CBS_DROPDOWN},
    {-1, L"Button", L"Streams in the Current Program", {23, 53, 204, 81}, WS_VISIBLE | BS_GROUPBOX},
    {1031, L"Static", L"Static", {35, 66, 182, 12}, kLabel | SS_SUNKEN},
    {1032, L"Static", L"Static", {35, 81, 182, 12}, kLabel | SS_SUNKEN},
    {1033, L"Static", L"Static", {35, 96, 182, 12}, kHiddenLine},
    {1034, L"Static", L"Static", {35, 111, 182, 12}, kHiddenLine},
    {1035, L"Button", L"Browse...", {177, 11, 50, 14}, WS_VISIBLE | WS_TABSTOP | BS_PUSHBUTTON},
    {1072, L"Static", L"Static", {36, 142, 168, 20}, kLabel},
};

INT_PTR CALLBACK ignoreMessage(HWND, UINT, WPARAM, LPARAM)
{
    return FALSE;
}

void expectControl(const Control& expected, HWND control, HWND dialog)
{
    wchar_t text[64] = L"";
    EXPECT_EQ(expected.id, GetDlgCtrlID(control));
    GetClassNameW(control, text, std::size(text));
    EXPECT_STREQ(expected.windowClass, text);
    GetWindowTextW(control, text, std::size(text));
    EXPECT_STREQ(expected.text, text);
    const DWORD ofTheSystem = WS_CLIPSIBLINGS | WS_BORDER | WS_VSCROLL;
    EXPECT_EQ(expected.style | WS_CHILD, static_cast<DWORD>(GetWindowLongW(control, GWL_STYLE)) & ~ofTheSystem);
    RECT wanted = expected.place;
    MapDialogRect(dialog, &wanted);
    RECT place = {};
    GetWindowRect(control, &place);
    MapWindowPoints(nullptr, dialog, reinterpret_cast<POINT*>(&place), 2);
    EXPECT_EQ(wanted.left, place.left);
    EXPECT_EQ(wanted.top, place.top);
    EXPECT_EQ(wanted.right, place.right - place.left);
    if (expected.id != IDC_PROGRAMS) {  // which is as high as its list only while that is open
        EXPECT_EQ(wanted.bottom, place.bottom - place.top);
    }
}

}  // namespace

TEST_F(PageTest, TheDialogTemplate)
{
    const HWND dialog =
        CreateDialogParamW(module.handle(), MAKEINTRESOURCEW(102), frame.window(), ignoreMessage, LPARAM{0});
    ASSERT_NE(nullptr, dialog);
    HWND control = GetWindow(dialog, GW_CHILD);
    for (const Control& expected : kControls) {
        SCOPED_TRACE(testing::Message() << "control " << expected.id << " at y " << expected.place.top);
        ASSERT_NE(nullptr, control);
        expectControl(expected, control, dialog);
        control = GetWindow(control, GW_HWNDNEXT);
    }
    EXPECT_EQ(nullptr, control);
    EXPECT_EQ(DWORD{WS_CHILD}, static_cast<DWORD>(GetWindowLongW(dialog, GWL_STYLE)) &
                                   (WS_POPUP | WS_CHILD | WS_VISIBLE | WS_CAPTION | WS_BORDER));
    LOGFONTW font = {};
    GetObjectW(reinterpret_cast<HFONT>(SendMessageW(dialog, WM_GETFONT, 0, 0)), sizeof(font), &font);
    EXPECT_STREQ(L"MS Sans Serif", font.lfFaceName);
    EXPECT_EQ(-11, font.lfHeight);  // 8 points

    RECT size = {0, 0, 249, 169};
    MapDialogRect(dialog, &size);
    DestroyWindow(dialog);
    PROPPAGEINFO info = {};
    ASSERT_HRESULT(S_OK, page->GetPageInfo(&info));
    EXPECT_EQ(size.right, info.size.cx);
    EXPECT_EQ(size.bottom, info.size.cy);
    EXPECT_STREQ(L"Aditional Settings", info.pszTitle);
    EXPECT_TRUE(info.pszDocString == nullptr && info.pszHelpFile == nullptr);
    CoTaskMemFree(info.pszTitle);
}

TEST(Resources, TheVersion)
{
    const Module module;
    wchar_t path[MAX_PATH] = L"";
    GetModuleFileNameW(module.handle(), path, MAX_PATH);
    std::vector<BYTE> block(GetFileVersionInfoSizeW(path, nullptr));
    ASSERT_TRUE(GetFileVersionInfoW(path, 0, static_cast<DWORD>(block.size()), block.data()));
    void* value = nullptr;
    UINT length = 0;
    ASSERT_TRUE(VerQueryValueW(block.data(), L"\\", &value, &length));
    const auto& fixed = *static_cast<const VS_FIXEDFILEINFO*>(value);
    EXPECT_EQ(DWORD{MAKELONG(0, 3)}, fixed.dwFileVersionMS);
    EXPECT_EQ(DWORD{MAKELONG(0, 122)}, fixed.dwFileVersionLS);
    EXPECT_EQ(DWORD{MAKELONG(0, 3)}, fixed.dwProductVersionMS);
    EXPECT_EQ(DWORD{MAKELONG(0, 122)}, fixed.dwProductVersionLS);
    for (const wchar_t* name : {L"FileVersion", L"ProductVersion"}) {
        const std::wstring query = std::wstring(L"\\StringFileInfo\\040904B0\\") + name;
        ASSERT_TRUE(VerQueryValueW(block.data(), query.c_str(), &value, &length));
        EXPECT_STREQ(L"3.0.122.0", static_cast<const wchar_t*>(value));
    }
}

}  // namespace zarnow::test
