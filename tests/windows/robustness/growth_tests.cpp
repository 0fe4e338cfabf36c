// Nothing grows with the number of times the filter is used.

#include <windows.h>
#include <tlhelp32.h>

#include <cstdint>
#include <future>
#include <optional>

#include "tests/windows/robustness/module_requests.h"
#include "tests/windows/support/filter_fixture.h"
#include "tests/windows/support/page_host.h"
#include "tools/common/find_pin.h"

namespace zarnow::test {

namespace {

constexpr int kRounds = 2000;
constexpr int kPageRounds = 10;  // one in so many shows the page as well
constexpr int kWarmUp = 100;
constexpr SIZE_T kMemorySlack = 256 * 1024;  // 140 bytes for each round

/// What this process holds of the system's resources.
struct ResourcesInUse
{
    DWORD gdi;
    DWORD user;
    DWORD handles;
    DWORD threads;
    SIZE_T memory;  ///< bytes committed and not shared
    std::size_t blocks;
};

// Where the system's own counters are empty (Wine 8), objects are counted by asking for each possible handle.
constexpr std::uintptr_t kLastHandle = 0x10000;

template <class Handle, class Exists>
DWORD countBy(Exists exists, std::uintptr_t step = 1)
{
    DWORD count = 0;
    for (std::uintptr_t value = step; value < kLastHandle; value += step)
        count += exists(reinterpret_cast<Handle>(value)) ? 1 : 0;
    return count;
}

DWORD gdiObjects()
{
    const DWORD count = GetGuiResources(GetCurrentProcess(), GR_GDIOBJECTS);
    return count != 0 ? count : countBy<HGDIOBJ>([](HGDIOBJ object) { return GetObjectType(object) != 0; });
}

DWORD userObjects()
{
    const DWORD count = GetGuiResources(GetCurrentProcess(), GR_USEROBJECTS);
    return count != 0 ? count : countBy<HWND>([](HWND window) { return IsWindow(window) != FALSE; });
}

DWORD kernelHandles()
{
    DWORD count = 0;
    GetProcessHandleCount(GetCurrentProcess(), &count);
    const auto exists = [](HANDLE handle) {
        DWORD flags = 0;
        return GetHandleInformation(handle, &flags);
    };
    return count != 0 ? count : countBy<HANDLE>(exists, sizeof(DWORD));
}

DWORD threads()
{
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry = {};
    entry.dwSize = sizeof(entry);
    DWORD count = 0;
    for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry))
        count += entry.th32OwnerProcessID == GetCurrentProcessId() ? 1 : 0;
    CloseHandle(snapshot);
    return count;
}

/// Asked for page by page: Wine 8 leaves PROCESS_MEMORY_COUNTERS_EX::PrivateUsage at 0.
SIZE_T committedMemory()
{
    SIZE_T sum = 0;
    MEMORY_BASIC_INFORMATION region = {};
    for (BYTE* next = nullptr; VirtualQuery(next, &region, sizeof(region)) != 0;) {
        sum += region.State == MEM_COMMIT && region.Type == MEM_PRIVATE ? region.RegionSize : 0;
        next = static_cast<BYTE*>(region.BaseAddress) + region.RegionSize;
    }
    return sum;
}

ResourcesInUse resourcesInUse(const ModuleRequests& requests)
{
    return {gdiObjects(), userObjects(), kernelHandles(), threads(), committedMemory(), requests.blocksInUse()};
}

}  // namespace

class GrowthTest : public FilterTest
{
protected:
    void SetUp() override {}
    void TearDown() override {}

    void round(const std::wstring& path, bool page)
    {
        FilterTest::SetUp();
        ASSERT_HRESULT(S_OK, load(path));
        SinkFilter sink;
        ASSERT_HRESULT(S_OK, connect(sink));
        play(sink);
        EXPECT_EQ(42U, sink.samples.size());
        disconnect(sink);
        if (page)
            showPage();
        FilterTest::TearDown();
    }
    void showPage()
    {
        ASSERT_HRESULT(S_OK, module.create(CLSID_ZarnowTSProperties, IID_PPV_ARGS(&frame.page)));
        EXPECT_HRESULT(S_OK, frame.open(filter.Get()));
        frame.choose(0);
        EXPECT_HRESULT(S_OK, frame.close());
        EXPECT_EQ(nullptr, frame.dialog());
        EXPECT_EQ(0U, frame.page.Reset());
    }

    PageFrame frame;
};

TEST_F(GrowthTest, TwoThousandRoundsLeaveNothing)
{
    const ModuleRequests requests(module.handle());
    const TemporaryFile file(smallStream());
    ResourcesInUse before = {};
    for (int number = 1; number <= kRounds && !HasFailure(); ++number) {
        round(file.path().wstring(), number % kPageRounds == 0);
        if (number == kWarmUp)
            before = resourcesInUse(requests);
    }
    const ResourcesInUse after = resourcesInUse(requests);
    EXPECT_TRUE(before.gdi != 0 && before.user != 0 && before.handles != 0) << "nothing was counted";
    EXPECT_EQ(before.blocks, after.blocks);
    EXPECT_EQ(before.threads, after.threads);
    EXPECT_GE(before.handles + 5, after.handles);  // the system opens some of its own now and then
    EXPECT_GE(before.gdi + 5, after.gdi);
    EXPECT_GE(before.user + 5, after.user);
    EXPECT_GE(before.memory + kMemorySlack, after.memory);
}

/// Nothing of the module is in use then but the code that the worker has still to find its way out of.
TEST(UnloadTest, TheModuleMayBeLetGoWithTheLastReferenceOnTheWorkersThread)
{
    std::optional<Module> module(std::in_place);
    ComPtr<IBaseFilter> filter;
    ASSERT_HRESULT(S_OK, module->create(CLSID_ZarnowTSSource, IID_PPV_ARGS(&filter)));
    ASSERT_HRESULT(S_OK, query<IFileSourceFilter>(filter.Get())->Load(kMpeg2Sample, nullptr));
    EXPECT_HRESULT(S_FALSE, module->canUnload());
    std::promise<void> released;
    std::promise<HANDLE> unloaded;
    SinkFilter sink;
    sink.onEndOfStream = [&] {
        released.get_future().wait();
        sink.Stop();
        sink.input.Disconnect();
        EXPECT_HRESULT(S_OK, module->canUnload());
        module.reset();
        unloaded.set_value(OpenThread(SYNCHRONIZE, FALSE, GetCurrentThreadId()));
    };
    ASSERT_HRESULT(S_OK, findPin(*filter.Get(), PINDIR_OUTPUT)->Connect(&sink.input, nullptr));
    sink.Run(0);
    ASSERT_HRESULT(S_OK, filter->Run(0));
    filter.Reset();
    released.set_value();
    const HANDLE worker = unloaded.get_future().get();
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(worker, 10'000));
    CloseHandle(worker);
    EXPECT_EQ(nullptr, GetModuleHandleW(L"ZarnowTSSource.ax"));
}

}  // namespace zarnow::test
