// Nothing grows with the number of times the filter is used.

#include <cstdio>

#include "tests/windows/robustness/module_requests.h"
#include "tests/windows/support/filter_fixture.h"
#include "tests/windows/support/resources_in_use.h"

namespace zarnow::test {

namespace {

constexpr int kRounds = 2000;
constexpr int kWarmUp = 100;
constexpr SIZE_T kMemorySlack = 256 * 1024;  // 140 bytes for each round

void show(int round, const ResourcesInUse& use, std::size_t blocks)
{
    std::printf("after %d rounds: %lu handles, %lu threads, %zu KiB, %lu GDI and %lu USER objects, %zu blocks\n", round,
                use.handles, use.threads, static_cast<std::size_t>(use.memory / 1024), use.gdi, use.user, blocks);
}

}  // namespace

class GrowthTest : public FilterTest
{
protected:
    void SetUp() override {}
    void TearDown() override {}

    void round(const std::wstring& path)
    {
        FilterTest::SetUp();
        ASSERT_HRESULT(S_OK, load(path));
        SinkFilter sink;
        ASSERT_HRESULT(S_OK, connect(sink));
        play(sink);
        EXPECT_EQ(42U, sink.samples.size());
        disconnect(sink);
        FilterTest::TearDown();
    }
};

TEST_F(GrowthTest, TwoThousandRoundsLeaveNothing)
{
    const ModuleRequests requests(module.handle());
    const TemporaryFile file(smallStream());
    const std::wstring path = file.path().wstring();
    ResourcesInUse before = {};
    std::size_t blocksBefore = 0;
    for (int number = 1; number <= kRounds && !HasFailure(); ++number) {
        round(path);
        if (number != kWarmUp)
            continue;
        before = resourcesInUse();
        blocksBefore = requests.blocksInUse();
    }
    const ResourcesInUse after = resourcesInUse();
    show(kWarmUp, before, blocksBefore);
    show(kRounds, after, requests.blocksInUse());
    EXPECT_EQ(blocksBefore, requests.blocksInUse());
    EXPECT_EQ(before.threads, after.threads);
    EXPECT_GE(before.handles + 5, after.handles);  // the system opens some of its own now and then
    EXPECT_GE(before.gdi + 5, after.gdi);
    EXPECT_GE(before.user + 5, after.user);
    EXPECT_GE(before.memory + kMemorySlack, after.memory);
}

TEST(UnloadTest, TheModuleIsGoneWhenItsLastUserIs)
{
    {
        const Module module;
        ComPtr<IFileSourceFilter> source;
        ASSERT_HRESULT(S_OK, module.create(CLSID_ZarnowTSSource, IID_PPV_ARGS(&source)));
        EXPECT_HRESULT(S_OK, source->Load(kMpeg2Sample, nullptr));
        EXPECT_HRESULT(S_FALSE, module.canUnload());
    }
    EXPECT_EQ(nullptr, GetModuleHandleW(L"ZarnowTSSource.ax"));
}

}  // namespace zarnow::test
