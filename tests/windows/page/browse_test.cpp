// The Browse button with the system's open-file dialog.

#include <filesystem>

#include "tests/windows/page/fake_filter.h"
#include "tests/windows/page/file_dialog.h"

namespace zarnow::test {

namespace {

/// The file need not be there; its directory must.
std::wstring pathOf(const wchar_t* name)
{
    return (std::filesystem::temp_directory_path() / name).wstring();
}

}  // namespace

/// Two programs are loaded; the next file has one.
class BrowseTest : public FakePageTest
{
protected:
    BrowseTest()
    {
        filter.programs = {{0x100, 1, L"Program 1", {{1, L"old a"}, {2, L"old b"}}},
                           {0x200, 2, L"Program 2", {{3, L"old c"}}}};
        filter.programsOfFile = {{0x300, 7, L"Program 7", {{4, L"new"}}}};
    }

    void browse(FileDialogUser& user)
    {
        site.statuses.clear();
        filter.calls.clear();
        command(IDC_BROWSE, BN_CLICKED);
        ASSERT_TRUE(user.done());
    }
};

TEST_F(BrowseTest, LoadsTheChosenFileAndFillsThePageAgain)
{
    const std::wstring path = pathOf(L"Fähre 2.ts");
    if (inAnsi(path).empty())
        GTEST_SKIP() << "the code page does not have the characters";
    open();
    choose(1);
    FileDialogUser user(inAnsi(path));
    browse(user);
    EXPECT_EQ((Texts{"TP Files *.tp", "TS Files *.ts", "M2TS Files *.m2ts", "M2T Files *.m2t", "MPEG File *.mpg",
                     "All Files *.*"}),
              user.kinds);
    EXPECT_EQ(0, user.chosenKind);
    EXPECT_EQ(GetAncestor(dialog(), GA_ROOT), GetAncestor(user.owner, GA_ROOT));
    EXPECT_EQ(std::vector{path}, filter.loaded);
    EXPECT_EQ("1", text(IDC_PROGRAM_COUNT));
    EXPECT_EQ(Texts{"Program 7 (0x0300)"}, programLines());
    EXPECT_EQ(0, selection());
    EXPECT_EQ(Texts{"new"}, streamLines());
    EXPECT_EQ(Statuses{PROPPAGESTATUS_VALIDATE}, site.statuses);
    EXPECT_HRESULT(S_FALSE, page->IsPageDirty());
    EXPECT_EQ(2U, filter.references);
}

TEST_F(BrowseTest, ACancelledBrowseChangesNothing)
{
    open();
    choose(1);
    FileDialogUser user("");
    browse(user);
    EXPECT_EQ(Texts{}, filter.calls);
    EXPECT_EQ(Statuses{}, site.statuses);
    EXPECT_HRESULT(S_OK, page->IsPageDirty()) << "the choice before it is still to be applied";
    EXPECT_EQ(1, selection());
    EXPECT_EQ(Texts{"old c"}, streamLines());
}

TEST_F(BrowseTest, AFileThatIsNotAnalysedEmptiesThePageAndOneThatIsNotLoadedDoesNot)
{
    filter.programsOfFile.clear();
    filter.loadResult = HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
    for (const bool isSource : {false, true}) {
        filter.isSource = isSource;
        open();
        FileDialogUser user(inAnsi(pathOf(L"missing.ts")));
        browse(user);
        EXPECT_EQ(isSource ? 1U : 0U, filter.loaded.size());
        EXPECT_EQ(isSource ? "0" : "2", text(IDC_PROGRAM_COUNT));
        EXPECT_EQ(isSource ? 0U : 2U, programLines().size());
        EXPECT_EQ(isSource ? 0U : 2U, streamLines().size());
        EXPECT_EQ(Statuses{PROPPAGESTATUS_VALIDATE}, site.statuses);
        close();
    }
}

}  // namespace zarnow::test
