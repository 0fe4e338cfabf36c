// The Browse button with the system's open-file dialog.

#include <filesystem>

#include "tests/windows/page/fake_filter.h"
#include "tests/windows/page/file_dialog.h"

namespace zarnow::test {

namespace {

using Texts = std::vector<std::string>;
using Statuses = std::vector<DWORD>;

constexpr const wchar_t* kFileName = L"Fähre 2.ts";

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
};

TEST_F(BrowseTest, BrowseLoadsTheChosenFileAndFillsThePageAgain)
{
    const std::wstring path = pathOf(kFileName);
    if (inAnsi(path).empty())
        GTEST_SKIP() << "the code page does not have the characters";
    open();
    choose(1);
    site.statuses.clear();
    FileDialogUser user(inAnsi(path));
    command(IDC_BROWSE, BN_CLICKED);
    ASSERT_TRUE(user.done());
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
    site.statuses.clear();
    filter.calls.clear();
    FileDialogUser user("");
    command(IDC_BROWSE, BN_CLICKED);
    ASSERT_TRUE(user.done());
    EXPECT_EQ(Texts{}, filter.calls);
    EXPECT_EQ(Statuses{}, site.statuses);
    EXPECT_HRESULT(S_OK, page->IsPageDirty()) << "the choice before it is still to be applied";
    EXPECT_EQ(1, selection());
    EXPECT_EQ(Texts{"old c"}, streamLines());
}

TEST_F(BrowseTest, AFileThatIsNotAnalysedEmptiesThePage)
{
    filter.programsOfFile.clear();
    filter.loadResult = HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
    open();
    FileDialogUser user(inAnsi(pathOf(L"missing.ts")));
    command(IDC_BROWSE, BN_CLICKED);
    ASSERT_TRUE(user.done());
    EXPECT_EQ("0", text(IDC_PROGRAM_COUNT));
    EXPECT_EQ(Texts{}, programLines());
    EXPECT_EQ(Texts{}, streamLines());
    EXPECT_EQ(Statuses{PROPPAGESTATUS_VALIDATE}, site.statuses);
}

TEST_F(BrowseTest, WithoutAFileSourceTheLoadIsLeftOut)
{
    filter.isSource = false;
    open();
    FileDialogUser user(inAnsi(pathOf(L"other.ts")));
    command(IDC_BROWSE, BN_CLICKED);
    ASSERT_TRUE(user.done());
    EXPECT_EQ(std::vector<std::wstring>{}, filter.loaded);
    EXPECT_EQ(2U, programLines().size());
    EXPECT_EQ(Statuses{PROPPAGESTATUS_VALIDATE}, site.statuses);
}

}  // namespace zarnow::test
