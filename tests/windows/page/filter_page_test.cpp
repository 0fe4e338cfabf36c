// The page over the real filter.

#include <streams.h>

#include <filesystem>

#include "tests/windows/page/file_dialog.h"
#include "tests/windows/page/page_fixture.h"
#include "tests/windows/support/resources_in_use.h"

namespace zarnow::test {

class FilterPageTest : public PageTest
{
protected:
    void SetUp() override
    {
        PageTest::SetUp();
        filter = module.create(CLSID_ZarnowTSSource);
        ASSERT_NE(nullptr, filter);
        ASSERT_HRESULT(S_OK, filter->QueryInterface(IID_PPV_ARGS(&tarnwell)));
    }

    void TearDown() override
    {
        if (dialog() != nullptr)
            close();
        tarnwell.Reset();
        EXPECT_EQ(0U, filter.Reset()) << "the page still holds the filter";
        PageTest::TearDown();
    }

    void load(const wchar_t* path)
    {
        const auto source = query<IFileSourceFilter>(filter.Get());
        ASSERT_HRESULT(S_OK, source->Load(path, nullptr));
    }

    DWORD currentProgram()
    {
        DWORD index = 0xFFFF;
        WORD number = 0;
        WORD pmtPid = 0;
        EXPECT_HRESULT(S_OK, tarnwell->GetCurrentProgram(&index, &number, &pmtPid));
        return index;
    }

    ComPtr<IUnknown> filter;
    ComPtr<ITarnwell> tarnwell;
};

TEST_F(FilterPageTest, ShowsAndSwitchesTheFiltersPrograms)
{
    open(filter.Get());
    EXPECT_EQ("0", text(IDC_PROGRAM_COUNT));
    EXPECT_EQ(Texts{}, programLines());
    EXPECT_EQ(Texts{}, streamLines());
    close();
    load(kTwoProgramsSample);
    open(filter.Get());
    EXPECT_EQ("2", text(IDC_PROGRAM_COUNT));
    EXPECT_EQ((Texts{"Program 1 (0x1000)", "Program 2 (0x1001)"}), programLines());
    EXPECT_EQ((Texts{"AVC (H.264) Video (0x0100)", "MPEG2-ADTS Audio (0x0101)"}), streamLines());
    choose(1);
    EXPECT_EQ(1U, currentProgram());
    EXPECT_EQ((Texts{"MPEG2 Video (0x0102)", "AC3 (0x0103)"}), streamLines());
    EXPECT_HRESULT(S_OK, page->Apply());
    close();
    open(filter.Get());
    EXPECT_EQ(1, selection());
    FileDialogUser user(std::filesystem::absolute(kMpeg2Sample).string());
    command(IDC_BROWSE, BN_CLICKED);
    ASSERT_TRUE(user.done());
    EXPECT_EQ(Texts{"Program 1 (0x1000)"}, programLines());
    EXPECT_EQ((Texts{"MPEG2 Video (0x0200)", "MPEG1 Audio (0x0201)"}), streamLines());
    EXPECT_EQ(0U, currentProgram());
}

TEST_F(FilterPageTest, AHundredRoundsLeaveNothing)
{
    constexpr int kRounds = 100;
    load(kTwoProgramsSample);
    const auto round = [this](int number) {
        open(filter.Get());
        choose(number % 2);
        close();
        EXPECT_EQ(nullptr, dialog());
    };
    for (int number = 0; number < 5; ++number)
        round(number);  // what the system keeps for good
    const ResourcesInUse before = resourcesInUse();
    for (int number = 0; number < kRounds; ++number)
        round(number);
    const ResourcesInUse after = resourcesInUse();
    EXPECT_NE(0U, before.gdi);
    EXPECT_NE(0U, before.user);
    EXPECT_NE(0U, before.handles);
    EXPECT_GT(before.gdi + kRounds / 10, after.gdi);
    EXPECT_GT(before.user + kRounds / 10, after.user);
    EXPECT_GT(before.handles + kRounds / 10, after.handles);
}

}  // namespace zarnow::test
