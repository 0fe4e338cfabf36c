// The dialog template and the page's title as a property frame sees them.

#include <tuple>

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
    wchar_t windowClass[64] = L"";
    wchar_t text[64] = L"";
    GetClassNameW(control, windowClass, std::size(windowClass));
    GetWindowTextW(control, text, std::size(text));
    const DWORD ofTheSystem = WS_CHILD | WS_CLIPSIBLINGS | WS_BORDER | WS_VSCROLL;
    const DWORD style = static_cast<DWORD>(GetWindowLongW(control, GWL_STYLE)) & ~ofTheSystem;
    const RECT place = placeIn(dialog, control);
    RECT wanted = expected.place;
    MapDialogRect(dialog, &wanted);
    // Which is as high as its list only while that is open.
    const LONG height = expected.id == IDC_PROGRAMS ? wanted.bottom : place.bottom - place.top;
    EXPECT_EQ(std::tuple(expected.id, std::wstring(expected.windowClass), std::wstring(expected.text), expected.style),
              std::tuple(GetDlgCtrlID(control), std::wstring(windowClass), std::wstring(text), style));
    EXPECT_EQ(std::tuple(wanted.left, wanted.top, wanted.right, wanted.bottom),
              std::tuple(place.left, place.top, place.right - place.left, height));
}

}  // namespace

TEST_F(PageTest, TheDialogTemplate)
{
    const HWND dialog =
        CreateDialogParamW(module.handle(), MAKEINTRESOURCEW(102), frame.window(), ignoreMessage, LPARAM{0});
    HWND control = GetWindow(dialog, GW_CHILD);
    for (const Control& expected : kControls) {
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

}  // namespace zarnow::test
