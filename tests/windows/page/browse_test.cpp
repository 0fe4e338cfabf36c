// The Browse button with the system's open-file dialog.

#include <windows.h>
#include <dlgs.h>

#include <filesystem>
#include <functional>
#include <thread>

#include "tests/windows/page/page_fixture.h"

namespace zarnow::test {

namespace {

constexpr int kAttempts = 500;  // of 20 ms

/// Empty where the code page does not have the characters.
std::string inAnsi(const std::wstring& wide)
{
    char ansi[MAX_PATH] = "";
    BOOL replaced = FALSE;
    WideCharToMultiByte(CP_ACP, 0, wide.c_str(), -1, ansi, sizeof(ansi), nullptr, &replaced);
    return replaced ? "" : ansi;
}

/// Of this process only, and with all its controls. Null when it does not come.
HWND waitForDialog()
{
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        Sleep(20);
        HWND dialog = nullptr;
        while ((dialog = FindWindowExA(nullptr, dialog, "#32770", "Open transport stream file...")) != nullptr) {
            DWORD process = 0;
            GetWindowThreadProcessId(dialog, &process);
            if (process == GetCurrentProcessId() && IsWindowVisible(dialog))
                return dialog;
        }
    }
    return nullptr;
}

/// What the dialog showed.
struct Dialog
{
    HWND owner = nullptr;
    Texts kinds;  // the file types offered
    LRESULT chosenKind = -1;
};

/// Notes what the dialog shows, enters the name and presses OK; Cancel without a name.
void useDialog(const std::string& fileName, Dialog& noted)
{
    const HWND dialog = waitForDialog();
    ASSERT_NE(nullptr, dialog);
    noted.owner = GetWindow(dialog, GW_OWNER);
    const HWND list = GetDlgItem(dialog, cmb1);
    const auto count = static_cast<WPARAM>(SendMessageA(list, CB_GETCOUNT, 0, 0));
    for (WPARAM kind = 0; kind < count; ++kind) {
        char text[128] = "";
        SendMessageA(list, CB_GETLBTEXT, kind, reinterpret_cast<LPARAM>(text));
        noted.kinds.emplace_back(text);
    }
    noted.chosenKind = SendMessageA(list, CB_GETCURSEL, 0, 0);
    const HWND edit = GetDlgItem(dialog, edt1);
    SendMessageA(edit != nullptr ? edit : GetDlgItem(dialog, cmb13), WM_SETTEXT, 0,
                 reinterpret_cast<LPARAM>(fileName.c_str()));
    PostMessageA(dialog, WM_COMMAND, fileName.empty() ? IDCANCEL : IDOK, 0);
}

std::function<void()> meanwhile;  // done while the dialog is open, on its thread

/// Of the page's frame, for such a time.
LRESULT CALLBACK frameProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (message == WM_APP)
        meanwhile();
    return DefWindowProcW(window, message, wParam, lParam);
}

}  // namespace

/// The second of two programs is chosen.
class BrowseTest : public PageTest
{
protected:
    void SetUp() override
    {
        PageTest::SetUp();
        ASSERT_HRESULT(S_OK, load(kTwoProgramsSample));
        open();
        frame.choose(1);
        site.statuses.clear();
    }

    /// @param fileName  empty: cancelled
    Dialog browse(const std::wstring& fileName)
    {
        const auto directory = std::filesystem::current_path();  // which the dialog changes
        Dialog noted;
        std::thread user([&] {
            if (meanwhile && waitForDialog() != nullptr)
                SendMessageW(frame.window(), WM_APP, 0, 0);
            useDialog(inAnsi(fileName), noted);
        });
        frame.command(IDC_BROWSE, BN_CLICKED);
        user.join();
        std::filesystem::current_path(directory);
        return noted;
    }
};

TEST_F(BrowseTest, LoadsTheChosenFileAndFillsThePageAgain)
{
    const auto path = std::filesystem::temp_directory_path() / L"F\u00e4hre 2.ts";
    if (inAnsi(path.wstring()).empty())
        GTEST_SKIP() << "the code page does not have the characters";
    std::filesystem::copy_file(kMpeg2Sample, path, std::filesystem::copy_options::overwrite_existing);
    const Dialog dialog = browse(path.wstring());
    EXPECT_EQ((Texts{"TP Files *.tp", "TS Files *.ts", "M2TS Files *.m2ts", "M2T Files *.m2t", "MPEG File *.mpg",
                     "All Files *.*"}),
              dialog.kinds);
    EXPECT_EQ(0, dialog.chosenKind);
    EXPECT_EQ(GetAncestor(frame.dialog(), GA_ROOT), GetAncestor(dialog.owner, GA_ROOT));
    EXPECT_EQ(path.wstring(), currentFile());
    EXPECT_EQ("1", text(IDC_PROGRAM_COUNT));
    EXPECT_EQ(Texts{"Program 1 (0x1000)"}, programLines());
    EXPECT_EQ(0, selection());
    EXPECT_EQ((Texts{"MPEG2 Video (0x0200)", "MPEG1 Audio (0x0201)"}), streamLines());
    EXPECT_EQ(Statuses{PROPPAGESTATUS_VALIDATE}, site.statuses);
    EXPECT_HRESULT(S_FALSE, page->IsPageDirty());
    load(kMpeg2Sample);
    EXPECT_TRUE(std::filesystem::remove(path));
}

TEST_F(BrowseTest, ACancelledBrowseChangesNothing)
{
    browse(L"");
    EXPECT_EQ(kTwoProgramsSample, currentFile());
    EXPECT_EQ(1U, currentProgram());
    EXPECT_EQ(Statuses{}, site.statuses);
    EXPECT_HRESULT(S_OK, page->IsPageDirty()) << "the choice before it is still to be applied";
    EXPECT_EQ(1, selection());
    EXPECT_EQ((Texts{"MPEG2 Video (0x0102)", "AC3 (0x0103)"}), streamLines());
}

TEST_F(BrowseTest, AFileThatIsNotAnalysedEmptiesThePage)
{
    browse((std::filesystem::temp_directory_path() / L"missing.ts").wstring());
    EXPECT_EQ(L"", currentFile());
    EXPECT_EQ("0", text(IDC_PROGRAM_COUNT));
    EXPECT_EQ(Texts{}, programLines());
    EXPECT_EQ(Texts{}, streamLines());
    EXPECT_EQ(Statuses{PROPPAGESTATUS_VALIDATE}, site.statuses);
}

/// As when the graph goes while its user still looks for a file.
TEST_F(BrowseTest, ThePageMayGoWhileTheDialogIsOpen)
{
    SetWindowLongPtrW(frame.window(), GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(frameProcedure));
    const std::pair<const char*, std::function<void()>> ways[] = {
        {"deactivated", [&] { EXPECT_HRESULT(S_OK, page->Deactivate()); }},
        {"without an object", [&] { close(); }},
        {"released",
         [&] {
             close();
             EXPECT_EQ(1U, page.Reset()) << "nobody holds the page that the dialog comes back to";
         }},
    };
    for (const auto& [name, leave] : ways) {
        SCOPED_TRACE(name);
        if (frame.dialog() == nullptr) {
            page->SetObjects(0, nullptr);
            page->SetPageSite(nullptr);
            open();
        }
        meanwhile = leave;
        browse(L"");
        EXPECT_EQ(kTwoProgramsSample, currentFile());
        EXPECT_EQ(1U, currentProgram());
    }
    meanwhile = nullptr;
}

}  // namespace zarnow::test
