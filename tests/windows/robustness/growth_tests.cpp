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

const HANDLE kProcess = GetCurrentProcess();

/// Where the system's own counter is empty (Wine 8), objects are counted by asking for each possible handle.
template <class Handle, class Exists>
std::size_t countObjects(DWORD counted, Exists exists, std::uintptr_t step = 1)
{
    std::size_t count = counted;
    for (std::uintptr_t value = step; counted == 0 && value < 0x10000; value += step)
        count += exists(reinterpret_cast<Handle>(value)) ? 1 : 0;
    return count;
}

std::size_t kernelHandles()
{
    DWORD count = 0;
    GetProcessHandleCount(kProcess, &count);
    const auto exists = [](HANDLE handle) {
        DWORD flags = 0;
        return GetHandleInformation(handle, &flags);
    };
    return countObjects<HANDLE>(count, exists, sizeof(DWORD));
}

std::size_t threads()
{
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry = {};
    entry.dwSize = sizeof(entry);
    std::size_t count = 0;
    for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry))
        count += entry.th32OwnerProcessID == GetCurrentProcessId() ? 1 : 0;
    CloseHandle(snapshot);
    return count;
}

/// Bytes, not shared. Asked for page by page: Wine 8 leaves PROCESS_MEMORY_COUNTERS_EX::PrivateUsage at 0.
std::size_t committedMemory()
{
    std::size_t sum = 0;
    MEMORY_BASIC_INFORMATION region = {};
    for (BYTE* next = nullptr; VirtualQuery(next, &region, sizeof(region)) != 0;) {
        sum += region.State == MEM_COMMIT && region.Type == MEM_PRIVATE ? region.RegionSize : 0;
        next = static_cast<BYTE*>(region.BaseAddress) + region.RegionSize;
    }
    return sum;
}

const struct
{
    const char* what;
    std::size_t (*inUse)();
    std::size_t slack;  // the system opens some of its own now and then
} kResources[] = {
    {"blocks", blocksInUse, 0},
    {"threads", threads, 0},
    {"kernel handles", kernelHandles, 5},
    {"GDI objects", [] { return countObjects<HGDIOBJ>(GetGuiResources(kProcess, GR_GDIOBJECTS), GetObjectType); }, 5},
    {"USER objects", [] { return countObjects<HWND>(GetGuiResources(kProcess, GR_USEROBJECTS), IsWindow); }, 5},
    {"bytes", committedMemory, 256 * 1024},  // 140 for each round
};

std::vector<std::size_t> resourcesInUse()
{
    std::vector<std::size_t> counts;
    for (const auto& resource : kResources)
        counts.push_back(resource.inUse());
    return counts;
}

}  // namespace

class GrowthTest : public FilterTest
{
protected:
    void SetUp() override { watchRequests(module.handle()); }
    void TearDown() override {}

    void round(const std::wstring& path, bool page)
    {
        FilterTest::SetUp();
        ASSERT_HRESULT(S_OK, load(path));
        SinkFilter sink;
        sink.onAllocator = [](IMemAllocator&) { return E_FAIL; };
        EXPECT_HRESULT(VFW_E_NO_ACCEPTABLE_TYPES, connect(sink));
        sink.onAllocator = nullptr;
        ASSERT_HRESULT(S_OK, connect(sink));
        play(sink);
        EXPECT_EQ(42U, sink.samples.size());
        disconnect(sink);
        if (page) {
            ASSERT_HRESULT(S_OK, frame.create(module));
            EXPECT_HRESULT(S_OK, frame.open(filter.Get()));
            frame.choose(0);
            EXPECT_HRESULT(S_OK, frame.close());
            EXPECT_EQ(nullptr, frame.dialog());
            EXPECT_EQ(0U, frame.page.Reset());
        }
        FilterTest::TearDown();
    }

    PageFrame frame;
};

TEST_F(GrowthTest, TwoThousandRoundsLeaveNothing)
{
    const TemporaryFile file(smallStream());
    std::vector<std::size_t> before;
    for (int number = 1; number <= kRounds && !HasFailure(); ++number) {
        round(file.path().wstring(), number % kPageRounds == 0);
        if (number == kWarmUp)
            before = resourcesInUse();
    }
    const std::vector<std::size_t> after = resourcesInUse();
    for (std::size_t i = 0; i < before.size(); ++i) {
        const auto& [what, inUse, slack] = kResources[i];
        EXPECT_TRUE(before[i] != 0 || inUse == blocksInUse) << what << " are not counted";
        EXPECT_GE(before[i] + slack, after[i]) << what;
    }
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
