// The Browse button with the system's open-file dialog.

#include <windows.h>
#include <dlgs.h>

#include <functional>

#include "tests/windows/page/page_fixture.h"

namespace zarnow::test {

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

    /// Enters the name in the dialog and presses OK; Cancel without a name.
    void browse(
        const std::wstring& name, const std::function<void()>& doMeanwhile = [] {})
    {
        fileName = name;
        meanwhile = doMeanwhile;
        kinds.clear();
        const auto directory = std::filesystem::current_path();  // which the dialog changes
        const UINT_PTR timer = SetTimer(nullptr, 0, 20, useDialog);
        frame.command(IDC_BROWSE, BN_CLICKED);
        KillTimer(nullptr, timer);
        EXPECT_EQ(">TP Files *.tp, TS Files *.ts, M2TS Files *.m2ts, M2T Files *.m2t, MPEG File *.mpg, All Files *.*",
                  kinds);
        std::filesystem::current_path(directory);
    }

    static inline std::wstring fileName;
    static inline std::function<void()> meanwhile;
    static inline HWND owner;
    static inline std::string kinds;

private:
    /// Called by the dialog's own message loop.
    static void CALLBACK useDialog(HWND, UINT, UINT_PTR timer, DWORD)
    {
        const HWND dialog = FindWindowA("#32770", "Open transport stream file...");
        if (dialog == nullptr || !IsWindowVisible(dialog))
            return;
        KillTimer(nullptr, timer);
        owner = GetWindow(dialog, GW_OWNER);
        kinds = linesOf(GetDlgItem(dialog, cmb1));
        meanwhile();
        const HWND edit = GetDlgItem(dialog, edt1);
        SetWindowTextW(edit != nullptr ? edit : GetDlgItem(dialog, cmb13), fileName.c_str());
        PostMessageA(dialog, WM_COMMAND, fileName.empty() ? IDCANCEL : IDOK, 0);
    }
};

TEST_F(BrowseTest, ShowsTheFileThatIsLoadedOrThatNoneIs)
{
    browse(L"");
    EXPECT_EQ(GetAncestor(frame.dialog(), GA_ROOT), GetAncestor(owner, GA_ROOT));
    EXPECT_EQ(kTwoProgramsSample, currentFile());
    EXPECT_EQ(kSecondProgram + " (changed)", shown()) << "the choice before it is still to be applied";
    EXPECT_EQ("", site.statuses);

    const auto path = std::filesystem::temp_directory_path() / L"F\u00e4hre 2.ts";
    std::filesystem::copy_file(kMpeg2Sample, path, std::filesystem::copy_options::overwrite_existing);
    browse(path.wstring());
    EXPECT_EQ(path.wstring(), currentFile());
    EXPECT_EQ("1: >Program 1 (0x1000): MPEG2 Video (0x0200), MPEG1 Audio (0x0201)", shown());
    EXPECT_EQ("V", site.statuses);

    browse(path.wstring() + L"missing.ts");
    EXPECT_EQ(L"", currentFile());
    EXPECT_EQ("0: ", shown());
    EXPECT_TRUE(std::filesystem::remove(path)) << "the first file is still open";
}

/// As when the graph goes while its user still looks for a file.
TEST_F(BrowseTest, ThePageMayGoWhileTheDialogIsOpen)
{
    browse(L"", [&] { EXPECT_HRESULT(S_OK, page->Deactivate()); });
    page->SetObjects(0, nullptr);
    page->SetPageSite(nullptr);
    open();
    browse(L"", [&] { close(); });
    open();
    browse(L"", [&] {
        close();
        EXPECT_EQ(1U, page.Reset()) << "nobody holds the page that the dialog comes back to";
    });
    EXPECT_EQ(kTwoProgramsSample, currentFile());
    EXPECT_EQ(1U, currentProgram());
}

}  // namespace zarnow::test
